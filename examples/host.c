/* A service host in few lines: brings the drivers to a package's versions and says what came of it.
 *
 *   exampleHost <driverSteward.dll> <package folder>
 *
 * Needs an administrator's rights. Exit code: 0 done, 3010 done after the next restart, 1 failed, 2 misused.
 */
#include <driverSteward.h>

#include <stdio.h>
#include <windows.h>

typedef void (*Function)(void); /* of any type, until it is cast to its own */

static Function Find(HMODULE plugin, const char* name) {
    return (Function)GetProcAddress(plugin, name);
}

static uint32_t ShowDrivers(const DriverStateReport* report, void* context) {
    (void)context;
    printf("drivers: 0x%08X, version %s\n", report->state, report->version);
    return 0;
}

static int Update(HMODULE plugin, const DrvInfo* record) {
    const GetModuleVersionFunction getVersion =
        (GetModuleVersionFunction)Find(plugin, "Plugin_Interface_GetModuleVersion");
    const GetHelperOwnerModuleIDFunction getOwner =
        (GetHelperOwnerModuleIDFunction)Find(plugin, "Plugin_Interface_GetHelperOwnerModuleID");
    const DriversDoActionFunction doAction =
        (DriversDoActionFunction)Find(plugin, "Plugin_Interface_DriversDoAction");
    const EnumerateDriversInfoFunction enumerate =
        (EnumerateDriversInfoFunction)Find(plugin, "Plugin_Interface_EnumerateDriversInfo");
    if (getVersion == NULL || getOwner == NULL || doAction == NULL || enumerate == NULL) {
        fprintf(stderr, "this is no driver steward plug-in\n");
        return 1;
    }
    uint32_t version[3];
    getVersion(version);
    printf("plug-in %u.%u.%u of module %u\n", version[0], version[1], version[2], getOwner());

    const uint32_t result = doAction(record, 1);
    enumerate(ShowDrivers, NULL);
    printf("result: 0x%08X\n", result);
    if (result == DS_SUCCESS_RESTART_REQUIRED) { /* the plug-in never restarts the machine */
        printf("restart the machine: the old drivers run until then\n");
        return ERROR_SUCCESS_REBOOT_REQUIRED;
    }
    return DS_SUCCEEDED(result) ? 0 : 1;
}

int wmain(int argc, wchar_t** argv) {
    if (argc != 3 || wcslen(argv[2]) >= DRV_INFO_PATH_UNITS) {
        fprintf(stderr, "usage: exampleHost <driverSteward.dll> <package folder>\n");
        return 2;
    }
    /* compare_state 2 is the ordinary update, which installs missing drivers, too; 1 goes back. */
    DrvInfo record = {.action = UPDATE, .compare_state = 2};
    wcscpy(record.path, argv[2]);

    /* By its full path, so that it is searched nowhere else; what it needs is searched beside it. */
    wchar_t path[MAX_PATH];
    const DWORD length = GetFullPathNameW(argv[1], MAX_PATH, path, NULL);
    const HMODULE plugin =
        length == 0 || length >= MAX_PATH ? NULL : LoadLibraryExW(path, NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (plugin == NULL) {
        fprintf(stderr, "%ls, or a library that it needs, cannot be loaded: error %lu\n", argv[1],
                GetLastError());
        return 1;
    }
    const int exitCode = Update(plugin, &record);
    FreeLibrary(plugin);
    return exitCode;
}
