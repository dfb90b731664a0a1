#include "lifecycle/DriverSteps.h"
#include "lifecycle/Locations.h"
#include "lifecycle/Procedures.h"
#include "lifecycle/SharedDriverRegistry.h"
#include "plugin/DriverTable.h"
#include "util/Log.h"

#include <cstdint>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

uint32_t Rollback(const DrvInfo& record) {
    STEWARD_LOG(2, L"Check qxcomm is installed by other Vexholm products?");
    if (IsQxcommInstalledByOthers()) {
        STEWARD_LOG(2, L"qxcomm is installed by other Vexholm products.");
        return MigrateDrvFromDrvInfo(record);
    }
    STEWARD_LOG(2, L"begin rollback old drivers.");
    return UpdateDrvFromDrvInfo(record, true);
}

// A driver that exists is left as it is, whatever its version.
bool InstallMissingDrivers(const std::wstring& folder) {
    for (const DriverRow& row : DriverTable) {
        if (!CheckDriverExists(row.name) && !InstallMissingDriver(folder, row)) {
            return false;
        }
    }
    return true;
}

uint32_t Migrate(const std::wstring& folder) {
    STEWARD_LOG(
        2, L"Qxcomm is installed by other Vexholm products and qxcomm version is newer than our version, "
           L"we should keep latest qxcomm and install the rest.");
    if (!InstallMissingDrivers(folder)) {
        return DS_FAILED_BATCH_ABORTED;
    }
    if (!StartNewDrivers()) {
        return DS_PROCEDURE_FAILED;
    }
    ModifyQxcommRegistry();
    return DS_SUCCESS;
}

} // namespace

uint32_t RollbackDrvFromDrvInfo(const DrvInfo& record) {
    STEWARD_LOG(2, L"==> RollbackDrvFromDrvInfo,");
    const uint32_t asStatus = Rollback(record);
    STEWARD_LOG(2, L"<== RollbackDrvFromDrvInfo,");
    return asStatus;
}

uint32_t MigrateDrvFromDrvInfo(const DrvInfo& record) {
    STEWARD_LOG(2, L"==> MigrateDrvFromDrvInfo,");
    const uint32_t asStatus = Migrate(PackageFolder(record));
    STEWARD_LOG(2, L"<== MigrateDrvFromDrvInfo,asStatus = ", asStatus);
    return asStatus;
}

} // namespace steward
