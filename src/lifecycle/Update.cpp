#include "lifecycle/DriverFiles.h"
#include "lifecycle/DriverSteps.h"
#include "lifecycle/Locations.h"
#include "lifecycle/Procedures.h"
#include "lifecycle/ResultCode.h"
#include "lifecycle/SharedDriverRegistry.h"
#include "lifecycle/VigilRegistryRecovery.h"
#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "service/drivermanage.h"
#include "util/Log.h"

#include <cstdint>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

bool StopForUpdate(const wchar_t* name) {
    if (!RecoverVigilDriverRegistryIfNeeded(name)) {
        STEWARD_LOG(5, L"Fail to recovery Vigil driver registry, ", name);
    }
    STEWARD_LOG(2, L"Try to stop service: ", name);
    if (!StopDriverService(name)) {
        STEWARD_LOG(5, L"Fail to stop service, ", name);
        return false;
    }
    STEWARD_LOG(2, L"Success to stop service: ", name);
    return true;
}

// An equal update goes on past a driver that refuses to stop; its new file is then loaded at the next
// restart.
uint32_t StopDrivers(bool equalUpdate) {
    uint32_t asStatus = DS_SUCCESS;
    for (const DriverRow& row : DriverTableBackwards()) {
        if (!IsDriverExist(row.name) || !DriversAreStoppedForChange() || StopForUpdate(row.name)) {
            continue;
        }
        if (!equalUpdate) {
            return DS_PROCEDURE_FAILED;
        }
        asStatus = DS_SUCCESS_RESTART_REQUIRED;
    }
    return asStatus;
}

// `repairNeeded`: the shared driver was put there by another product.
bool CompleteDriverSet(const std::wstring& folder, bool& repairNeeded) {
    for (const DriverRow& row : DriverTable) {
        if (!CheckDriverExists(row.name)) {
            if (!InstallMissingDriver(folder, row)) {
                return false;
            }
            continue;
        }
        if (!IsSharedDriver(row.name)) {
            continue;
        }
        STEWARD_LOG(2, L"Check qxcomm is installed by other Vexholm products?");
        if (IsQxcommInstalledByOthers()) {
            STEWARD_LOG(2, L"qxcomm is installed by other Vexholm products, we should modify its registry.");
            repairNeeded = true;
        }
    }
    return true;
}

bool ReplaceImages(const std::wstring& folder) {
    const std::wstring driversFolder = DriversFolder();
    STEWARD_LOG(2,
                ImagesAreRenamed() ? L"rename and copy original driver file with: "
                                   : L"replace original driver file with: ",
                folder, L" to ", driversFolder);
    if (!ReplaceDrvFiles(folder.c_str(), driversFolder.c_str(), L".sys")) {
        STEWARD_LOG(5, L"replace driver file failed.");
        return false;
    }
    return true;
}

bool ReplaceCatalogs(const std::wstring& folder) {
    const std::wstring catalogFolder = CatalogFolder();
    STEWARD_LOG(2, L"copy cat file from: ", folder, L" to ", catalogFolder);
    if (!ReplaceDrvFiles(folder.c_str(), catalogFolder.c_str(), L".cat")) {
        STEWARD_LOG(5, L" copy and replace .cat file failed.");
        return false;
    }
    return true;
}

// `asStatus` is what the stop phase left: a needed restart stays one.
uint32_t ActivateNewDrivers(uint32_t asStatus) {
    if (ChangesNeedRestart()) {
        STEWARD_LOG(
            2, L"Reply REQUIRED_REBOOT events after success to replace Vigil driver files for Win8 above.");
        return DS_SUCCESS_RESTART_REQUIRED;
    }
    return StartNewDrivers() ? asStatus : DS_PROCEDURE_FAILED;
}

uint32_t Update(const std::wstring& folder, bool equalUpdate) {
    uint32_t asStatus = StopDrivers(equalUpdate);
    if (!IsSuccess(asStatus)) {
        return asStatus;
    }
    bool repairNeeded = false;
    if (!CompleteDriverSet(folder, repairNeeded) || !ReplaceImages(folder) ||
        (CatalogsAreKept() && !ReplaceCatalogs(folder))) {
        return DS_FAILED_BATCH_ABORTED;
    }
    asStatus = ActivateNewDrivers(asStatus);
    if (IsSuccess(asStatus) && repairNeeded) {
        ModifyQxcommRegistry();
    }
    return asStatus;
}

} // namespace

uint32_t UpdateDrvFromDrvInfo(const DrvInfo& record, bool equalUpdate) {
    STEWARD_LOG(2, L"==> UpdateDrvFromDrvInfo,");
    const uint32_t asStatus = Update(PackageFolder(record), equalUpdate);
    STEWARD_LOG(2, L"<== UpdateDrvFromDrvInfo,asStatus = ", asStatus);
    return asStatus;
}

} // namespace steward
