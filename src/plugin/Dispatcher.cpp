#include "plugin/Dispatcher.h"

#include "config/SignaturePolicy.h"
#include "lifecycle/Locations.h"
#include "lifecycle/Procedures.h"
#include "lifecycle/ServicePrivilege.h"
#include "plugin/DriverTable.h"
#include "util/Log.h"

#include <cstdint>
#include <string>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

// The first driver file of the package that may not be trusted; empty when all may.
std::wstring FindUntrustedFile(const std::wstring& folder) {
    for (const DriverRow& row : DriverTable) {
        std::wstring path = folder + row.name + L".sys";
        STEWARD_LOG(2, L"Sign check for ", path);
        bool trusted = false;
        VerifyFileSignatureWithPolicy(path.c_str(), nullptr, 0, &trusted);
        if (!trusted) {
            return path;
        }
    }
    return {};
}

uint32_t UpdateOrRollBack(const DrvInfo& record) {
    switch (record.compare_state) {
    case COMPARE_UNKNOWN:
    case COMPARE_INVALID:
        STEWARD_LOG(3, L"Unexpected compare_state received!!");
        return DS_UNSUPPORTED_REQUEST;
    case COMPARE_ROLLBACK:
        return RollbackDrvFromDrvInfo(record);
    default:
        return UpdateDrvFromDrvInfo(record, false);
    }
}

// The update forms change the services, so the restriction is lifted for them, and is back however they end.
class RestrictionRestorer {
  public:
    RestrictionRestorer() = default;
    RestrictionRestorer(const RestrictionRestorer&) = delete;
    RestrictionRestorer& operator=(const RestrictionRestorer&) = delete;
    ~RestrictionRestorer() {
        try {
            SetServicePrivilege(true);
        } catch (...) { // out of memory once more: the services not reached stay open
        }
    }
};

uint32_t Update(const DrvInfo& record) {
    const RestrictionRestorer restorer;
    SetServicePrivilege(false);
    return UpdateOrRollBack(record);
}

uint32_t EqualUpdate(const DrvInfo& record) {
    const RestrictionRestorer restorer;
    SetServicePrivilege(false);
    return UpdateDrvFromDrvInfo(record, true);
}

uint32_t RunAction(const DrvInfo& record) {
    switch (record.action) {
    case INSTALL:
        STEWARD_LOG(2, L"rDrvInfo.action = INSTALL");
        return InstallDrvFromDrvInfo(record);
    case UPDATE:
        STEWARD_LOG(2, L"rDrvInfo.action = UPDATE");
        return Update(record);
    case UNINSTALL:
        STEWARD_LOG(2, L"rDrvInfo.action = UNINSTALL");
        return UninstallDrvFromDrvInfo(record);
    case EQUAL_UPDATE:
        STEWARD_LOG(2, L"rDrvInfo.action = EQUAL_UPDATE");
        return EqualUpdate(record);
    default:
        return DS_UNSUPPORTED_REQUEST;
    }
}

} // namespace

uint32_t DoActionFromDrvInfo(const DrvInfo& record) {
    STEWARD_LOG(2, L"==> DoActionFromDrvInfo,", L"rDrvInfo.action = ", record.action,
                L", rDrvInfo.compare_state = ", record.compare_state);
    const std::wstring folder = PackageFolder(record);
    if (record.action != UNINSTALL) {
        if (const std::wstring untrusted = FindUntrustedFile(folder); !untrusted.empty()) {
            STEWARD_LOG(2, L"<== DoActionFromDrvInfo,Driver file not signed! path=", untrusted);
            return DS_FAILED_BATCH_ABORTED;
        }
    }
    const uint32_t asStatus = RunAction(record);
    STEWARD_LOG(2, L"<== DoActionFromDrvInfo,asStatus = ", asStatus);
    return asStatus;
}

} // namespace steward
