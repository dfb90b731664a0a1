#include "lifecycle/ServicePrivilege.h"

#include "plugin/DriverTable.h"
#include "util/Log.h"
#include "util/util_PriviRestrict.h"

namespace steward {

namespace {
constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};
}

void SetServicePrivilege(bool restore) {
    CWorkOnSpecificAccount account;
    for (const DriverRow& row : DriverTable) {
        if (!account.DoSecurityRestrictActionOnServiceObject(row.name, restore)) {
            STEWARD_LOG(5, L"Failed to set service privilege ", restore, L", for ", row.name);
        }
    }
}

} // namespace steward
