#include "plugin/StateReport.h"

#include "lifecycle/Locations.h"
#include "plugin/DriverTable.h"
#include "service/drivermanage.h"
#include "util/Log.h"
#include "util/Std_Utils_String.h"

#include <string>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

const wchar_t* Shown(const wchar_t* name) {
    return name == nullptr ? L"(NULL)" : name;
}

// `version` keeps what it holds when the driver's file has none.
void ReadVersion(const wchar_t* name, char (&version)[DRIVER_STATE_VERSION_BYTES]) {
    FileVersion found{};
    if (QueryFileVersion((DriversFolder() + Shown(name) + L".sys").c_str(), found)) {
        const std::string text = std::to_string(found.major) + "." + std::to_string(found.minor) + "." +
                                 std::to_string(found.build);
        version[text.copy(version, sizeof version - 1)] = '\0';
    } else {
        STEWARD_LOG(3, L"Query driver ", Shown(name), L" version failed!");
    }
}

} // namespace

void ReportDriverState(DriverStateCallback callback, void* context) {
    DriverStateReport report{};
    report.report_tag = DRIVER_STATE_REPORT_TAG;
    report.valid = 1;
    bool anyRead = false;
    bool allRunning = true;
    // Backwards, so that the shared driver's version is the one that stays.
    for (const DriverRow& row : DriverTableBackwards()) {
        SERVICE_STATUS status{};
        if (!QueryDriverServiceStatus(row.name, &status)) {
            allRunning = false;
            STEWARD_LOG(3, L"Query driver ", Shown(row.name), L" status failed!");
            continue;
        }
        anyRead = true;
        STEWARD_LOG(2, L"The current state of ", Shown(row.name), L" is ", status.dwCurrentState);
        allRunning = allRunning && status.dwCurrentState == SERVICE_RUNNING;
        ReadVersion(row.name, report.version);
    }
    report.state = !anyRead ? DS_NONE_PRESENT : allRunning ? DS_ALL_RUNNING : DS_NOT_ALL_RUNNING;
    if (callback != nullptr) {
        callback(&report, context);
    }
    STEWARD_LOG(2, L"driver version: ", report.version);
}

} // namespace steward
