/* A service host in forty lines: brings the drivers to a package's versions and says what came of it.
 *
 *   exampleHost <driverSteward.dll> <package folder>
 *
 * Needs an administrator's rights. Exit code: 0 done, 3010 done after the next restart, 1 failed, 2 wrong
 * usage.
 */
#include <driverSteward.h>

#include <stdio.h>
#include <windows.h>

static uint32_t ShowDrivers(const DriverStateReport* report, void* context) {
    (void)context;
    printf("drivers: 0x%08lX, version %s\n", (unsigned long)report->state, report->version);
    return 0;
}

static int Update(HMODULE plugin, const wchar_t* package) {
    static DrvInfo record; /* 2 KB, zeroed: more than a stack should carry */
    uint32_t result;
    const DriversDoActionFunction act =
        (DriversDoActionFunction)(void*)GetProcAddress(plugin, "Plugin_Interface_DriversDoAction");
    const EnumerateDriversInfoFunction enumerate =
        (EnumerateDriversInfoFunction)(void*)GetProcAddress(plugin, "Plugin_Interface_EnumerateDriversInfo");
    const GetHelperOwnerModuleIDFunction owner = (GetHelperOwnerModuleIDFunction)(void*)GetProcAddress(
        plugin, "Plugin_Interface_GetHelperOwnerModuleID");
    const GetModuleVersionFunction getVersion =
        (GetModuleVersionFunction)(void*)GetProcAddress(plugin, "Plugin_Interface_GetModuleVersion");
    uint32_t version[3];

    if (act == NULL || enumerate == NULL || owner == NULL || getVersion == NULL) {
        fprintf(stderr, "this is no driver steward plug-in\n");
        return 1;
    }
    getVersion(version);
    printf("plug-in %u.%u.%u of module %u\n", version[0], version[1], version[2], owner());
    if (wcslen(package) >= DRV_INFO_PATH_UNITS) {
        fprintf(stderr, "the package's path is too long\n");
        return 2;
    }
    wcscpy(record.path, package);
    record.action = UPDATE;   /* installs what is missing, too */
    record.compare_state = 2; /* the ordinary update: neither 0, 1 nor 1000 */

    result = act(&record, 1);
    enumerate(ShowDrivers, NULL);
    printf("result: 0x%08lX\n", (unsigned long)result);
    if (result == DS_SUCCESS_RESTART_REQUIRED) {
        printf("restart the machine: the old drivers run until then\n"); /* the plug-in never restarts it */
        return ERROR_SUCCESS_REBOOT_REQUIRED;
    }
    return DS_SUCCEEDED(result) ? 0 : 1;
}

int wmain(int argc, wchar_t** argv) {
    wchar_t path[MAX_PATH];
    DWORD length;
    HMODULE plugin;
    int exitCode;

    if (argc != 3) {
        fprintf(stderr, "usage: exampleHost <driverSteward.dll> <package folder>\n");
        return 2;
    }
    /* A full path, so that no other folder is searched; its own folder first for the libraries that it needs.
     */
    length = GetFullPathNameW(argv[1], MAX_PATH, path, NULL);
    plugin =
        length == 0 || length >= MAX_PATH ? NULL : LoadLibraryExW(path, NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (plugin == NULL) {
        fprintf(stderr,
                "%ls cannot be loaded, or traceSink.dll or setupKit.dll is missing beside it: error %lu\n",
                argv[1], GetLastError());
        return 1;
    }
    exitCode = Update(plugin, argv[2]);
    FreeLibrary(plugin);
    return exitCode;
}
