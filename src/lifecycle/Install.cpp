#include "lifecycle/Locations.h"
#include "lifecycle/Procedures.h"
#include "lifecycle/ServicePrivilege.h"
#include "plugin/DriverTable.h"
#include "service/drivermanage.h"
#include "util/Log.h"
#include "util/RegKey.h"

#include <cstdint>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

// The activity monitor reports file creations only when its service key says so.
void EnableSmartCreateFileEvent() {
    if (WriteHKLMDword(1, L"SYSTEM\\CurrentControlSet\\Services\\qxactmon\\Parameters", L"SSCFE")) {
        STEWARD_LOG(2, L"Success to enable Smart-Create File Event.");
    } else {
        STEWARD_LOG(5, L"Fail to enable Smart-Create File Event. error: ", GetLastError());
    }
}

// True also for a driver that runs already.
bool StartInstalledDriver(const wchar_t* name) {
    if (StartDriverService(name)) {
        STEWARD_LOG(2, L"Success to start [", name, L"] service.");
        return true;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_SERVICE_ALREADY_RUNNING || error == ERROR_SUCCESS) {
        STEWARD_LOG(2, L"The [", name, L"] service already running");
        return true;
    }
    STEWARD_LOG(5, L"fail to start [", name, L"] service. Windows error code = ", error);
    return false;
}

// A driver that does not start does not keep the others from being installed; one that cannot be installed
// does.
uint32_t InstallAndStartDrivers(const std::wstring& folder) {
    uint32_t asStatus = DS_SUCCESS;
    for (const DriverRow& row : DriverTable) {
        const std::wstring infPath = folder + row.name + L".inf";
        if (!_InstallDriverByInf(infPath.c_str(), row)) {
            STEWARD_LOG(5, L"fail to install ", infPath);
            return DS_FAILED_BATCH_ABORTED;
        }
        if (IsActivityMonitor(row.name)) {
            EnableSmartCreateFileEvent();
        }
        if (!StartInstalledDriver(row.name)) {
            asStatus = DS_FAILED_BATCH_ABORTED;
        }
    }
    return asStatus;
}

// The marks by which the platform and its sibling product recognise the installation.
void WriteOwnershipMarks() {
    const std::wstring sharedDriverKey = DriverServiceKey(kSharedDriver);
    if (!WriteHKLMDword(1, sharedDriverKey, L"PermCount")) {
        STEWARD_LOG(5, L"fail to write registry ", L"PermCount");
    }
    if (!WriteHKLMDword(1, sharedDriverKey, L"InstalledByOrpl")) {
        STEWARD_LOG(5, L"fail to write registry ", L"InstalledByOrpl");
    }
    if (!WriteHKLMDword(2, L"SOFTWARE\\Vexholm\\BRISK\\", L"M9TZ")) {
        STEWARD_LOG(5, L"fail to write registry M9TZ");
    }
}

} // namespace

uint32_t InstallDrvFromDrvInfo(const DrvInfo& record) {
    STEWARD_LOG(2, L"==> InstallDrvFromDrvInfo,");
    const uint32_t asStatus = InstallAndStartDrivers(PackageFolder(record));
    if (asStatus == DS_SUCCESS) {
        WriteOwnershipMarks();
        SetServicePrivilege(true);
    }
    STEWARD_LOG(2, L"<== InstallDrvFromDrvInfo,asStatus = ", asStatus);
    return asStatus;
}

} // namespace steward
