// The four functions that a host sees. Nothing is thrown past them.
#include "driverSteward.h"

#include "plugin/Dispatcher.h"
#include "plugin/StateReport.h"

#include <cstdint>

namespace {

constexpr uint32_t kHelperOwnerModuleId = 20005;

template <typename Procedure> uint32_t Guarded(Procedure procedure) noexcept {
    try {
        return procedure();
    } catch (...) {
        return DS_FAILED_BATCH_ABORTED;
    }
}

} // namespace

uint32_t Plugin_Interface_DriversDoAction(const DrvInfo* records, uint32_t count) {
    if (records == nullptr || count == 0) {
        return DS_FAILED_BATCH_ABORTED;
    }
    uint32_t asStatus = DS_FAILED_BATCH_ABORTED;
    for (uint32_t i = 0; i < count; ++i) {
        asStatus = Guarded([&] { return steward::DoActionFromDrvInfo(records[i]); });
        if (asStatus == DS_FAILED_BATCH_ABORTED) {
            break;
        }
    }
    return asStatus;
}

uint32_t Plugin_Interface_EnumerateDriversInfo(DriverStateCallback callback, void* context) {
    return Guarded([&] {
        steward::ReportDriverState(callback, context);
        return DS_SUCCESS;
    });
}

uint32_t Plugin_Interface_GetHelperOwnerModuleID() {
    return kHelperOwnerModuleId;
}

void Plugin_Interface_GetModuleVersion(uint32_t* version) {
    if (version != nullptr) {
        version[0] = DRIVERSTEWARD_VERSION_MAJOR;
        version[1] = DRIVERSTEWARD_VERSION_MINOR;
        version[2] = DRIVERSTEWARD_VERSION_BUILD;
    }
}
