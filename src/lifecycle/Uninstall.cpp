#include "lifecycle/DriverFiles.h"
#include "lifecycle/Locations.h"
#include "lifecycle/Procedures.h"
#include "lifecycle/ResultCode.h"
#include "lifecycle/ServicePrivilege.h"
#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "service/drivermanage.h"
#include "util/Log.h"
#include "util/RegKey.h"

#include <cstdint>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

// Gives up the platform's hold on the shared driver when other products hold it too. True: the driver stays.
bool LeaveToOtherHolders(const wchar_t* name) {
    const std::wstring key = DriverServiceKey(name);
    uint32_t permCount = 0;
    if (!ReadHKLMDword(permCount, key, L"PermCount") || permCount <= 1) {
        return false;
    }
    WriteHKLMDword(permCount - 1, key, L"PermCount");
    WriteHKLMDword(0, key, L"InstalledByOrpl");
    return true;
}

// Success, or the code that ends the walk.
uint32_t RemoveDriver(const std::wstring& folder, const wchar_t* name) {
    SERVICE_STATUS status{};
    if (!QueryDriverServiceStatus(name, &status)) {
        STEWARD_LOG(3, L"fail to query driver[", name, L"] status");
        return DS_FAILED_BATCH_ABORTED;
    }
    if (DriversAreStoppedForChange() && status.dwCurrentState != SERVICE_STOPPED &&
        !StopDriverService(name)) {
        STEWARD_LOG(5, L"fail to stop original driver ", name);
        return DS_DRIVER_NOT_STOPPED;
    }
    const std::wstring infPath = folder + name + L".inf";
    if (!_UnInstallDriverByInf(infPath.c_str())) {
        STEWARD_LOG(5, L"fail to uninstall [", name, L"] by inf.");
        return DS_FAILED_BATCH_ABORTED;
    }
    return DS_SUCCESS;
}

bool IsStillRegistered(const wchar_t* name) {
    SERVICE_STATUS status{};
    return QueryDriverServiceStatus(name, &status);
}

// An unknown catalog folder must not become the host's current folder.
bool DeleteCatalogs() {
    const std::wstring folder = CatalogFolder();
    return !folder.empty() && DeleteDrvFile(folder.c_str(), L".cat");
}

uint32_t Uninstall(const std::wstring& folder) {
    SetServicePrivilege(false);
    uint32_t asStatus = DS_UNSUPPORTED_REQUEST;
    bool restartRequired = false;
    for (const DriverRow& row : DriverTableBackwards()) {
        if (IsSharedDriver(row.name) && LeaveToOtherHolders(row.name)) {
            return DS_SUCCESS; // without the catalogs and without a restart noted before: required behaviour
        }
        if (const uint32_t removed = RemoveDriver(folder, row.name); !IsSuccess(removed)) {
            return removed;
        }
        if (ChangesNeedRestart() && !restartRequired && IsStillRegistered(row.name)) {
            STEWARD_LOG(3, L"Reboot is required to uninstall driver: ", row.name);
            restartRequired = true;
        } else {
            asStatus = DS_SUCCESS;
        }
    }
    if (CatalogsAreKept() && DeleteCatalogs()) {
        asStatus = DS_SUCCESS;
    }
    return IsSuccess(asStatus) && restartRequired ? DS_SUCCESS_RESTART_REQUIRED : asStatus;
}

} // namespace

uint32_t UninstallDrvFromDrvInfo(const DrvInfo& record) {
    STEWARD_LOG(2, L"==> UninstallDrvFromDrvInfo,");
    const uint32_t asStatus = Uninstall(PackageFolder(record));
    STEWARD_LOG(2, L"<== UninstallDrvFromDrvInfo,asStatus = ", asStatus);
    return asStatus;
}

} // namespace steward
