#include "lifecycle/DriverSteps.h"

#include "service/drivermanage.h"
#include "util/Log.h"

namespace steward {

namespace {
constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};
}

bool CheckDriverExists(const wchar_t* name) {
    STEWARD_LOG(2, L"Check if the driver is exist: ", name);
    return IsDriverExist(name);
}

bool InstallMissingDriver(const std::wstring& folder, const DriverRow& row) {
    const std::wstring infPath = folder + row.name + L".inf";
    if (!_InstallDriverByInf(infPath.c_str(), row)) {
        STEWARD_LOG(5, L"Fail to install ", infPath);
        return false;
    }
    STEWARD_LOG(2, L"Success to install driver by INF ", infPath);
    return true;
}

bool StartNewDrivers() {
    for (const DriverRow& row : DriverTable) {
        if (!StartDriverService(row.name)) {
            STEWARD_LOG(5, L"Fail to start new driver.", row.name);
            return false;
        }
        STEWARD_LOG(2, L"Success to start new driver: ", row.name);
    }
    return true;
}

} // namespace steward
