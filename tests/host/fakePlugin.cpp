// A plug-in that answers what its package folder's name asks for, so that every exit of a host can be seen.
// Writes what it was handed to the file that FAKE_PLUGIN_RECORDS names.
#include "driverSteward.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

extern "C" {

__declspec(dllexport) uint32_t Plugin_Interface_DriversDoAction(const DrvInfo* records, uint32_t count) {
    if (std::FILE* const out = _wfopen(_wgetenv(L"FAKE_PLUGIN_RECORDS"), L"ab")) {
        std::fprintf(out, "%u action %u compare %u\n", count, records->action, records->compare_state);
        std::fclose(out);
    }
    const wchar_t* const code = std::wcsrchr(records->path, L'\\');
    return static_cast<uint32_t>(std::wcstoul(code + 1, nullptr, 16));
}

__declspec(dllexport) uint32_t
    Plugin_Interface_EnumerateDriversInfo(DriverStateCallback callback, void* context) {
    DriverStateReport report{};
    report.report_tag = DRIVER_STATE_REPORT_TAG;
    report.state = DS_NOT_ALL_RUNNING;
    std::strcpy(report.version, "1.2.3");
    callback(&report, context);
    return DS_SUCCESS;
}

__declspec(dllexport) uint32_t Plugin_Interface_GetHelperOwnerModuleID() {
    return 7;
}

__declspec(dllexport) void Plugin_Interface_GetModuleVersion(uint32_t* version) {
    version[0] = 1;
    version[1] = 2;
    version[2] = 3;
}
}
