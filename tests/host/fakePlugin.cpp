// A plug-in that answers what its package folder's name asks for, so that every exit of a host can be seen.
// Appends what it was handed to the file records.txt in the current folder: count, action, compare state.
#include "driverSteward.h"

#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <numeric>

#define EXPORT extern "C" __declspec(dllexport)

EXPORT uint32_t Plugin_Interface_DriversDoAction(const DrvInfo* records, uint32_t count) {
    std::ofstream("records.txt", std::ios::app)
        << count << "/" << records->action << "/" << records->compare_state << " ";
    return static_cast<uint32_t>(std::wcstoul(std::wcsrchr(records->path, L'\\') + 1, nullptr, 16));
}

EXPORT uint32_t Plugin_Interface_EnumerateDriversInfo(DriverStateCallback callback, void* context) {
    const DriverStateReport report{DRIVER_STATE_REPORT_TAG, DS_NOT_ALL_RUNNING, "1.2.3", 1, {}};
    return callback(&report, context);
}

EXPORT uint32_t Plugin_Interface_GetHelperOwnerModuleID() {
    return 7;
}

EXPORT void Plugin_Interface_GetModuleVersion(uint32_t* version) {
    std::iota(version, version + 3, 1U);
}
