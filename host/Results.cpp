#include "Results.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace steward::host {

namespace {

constexpr CodeMeaning kMeanings[] = {
    {DS_SUCCESS, "success", "done"},
    {DS_SUCCESS_RESTART_REQUIRED, "restart required", "done; complete after the next restart of the machine"},
    {DS_ALL_RUNNING, "all running", "every driver is running"},
    {DS_NOT_ALL_RUNNING, "not all running", "drivers are present, but not all are running"},
    {DS_NONE_PRESENT, "none present", "no driver is present"},
    {DS_UNSUPPORTED_REQUEST, "unsupported request", "unknown action or rejected compare state"},
    {DS_PROCEDURE_FAILED, "procedure failed", "a driver could not be stopped or started"},
    {DS_FAILED_BATCH_ABORTED, "failed, batch aborted",
     "a driver is unsigned, could not be installed, replaced, removed or started"},
    {DS_DRIVER_NOT_STOPPED, "driver not stopped", "a running driver could not be stopped"},
};

bool IsWell(const tools::DriverView& driver, const tools::PolicyView& policy) {
    const bool isTrusted = !policy.isOn || driver.signature.kind != tools::SignatureView::Kind::None;
    const bool runsAsItShould = driver.service.state == SERVICE_RUNNING || driver.IsFirstLoadedByRestart();
    return runsAsItShould && driver.hasFile && isTrusted && driver.next == tools::NextStart::Loads;
}

} // namespace

ExitCode ActionsResult::Answer() const {
    if (ending == Ending::Refused || ending == Ending::Interrupted) {
        return kFailure;
    }
    ExitCode answer = kSuccess;
    for (const RecordResult& record : records) {
        if (record.code == DS_SUCCESS_RESTART_REQUIRED) {
            answer = kRestartRequired;
        } else if (record.code != DS_SUCCESS) {
            return kFailure;
        }
    }
    return answer;
}

std::vector<std::string> ActionsResult::Warnings() const {
    std::vector<std::string> warnings;
    for (const RecordResult& record : records) {
        if (record.preflight) {
            std::ranges::move(record.preflight->Warnings(), std::back_inserter(warnings));
        }
    }
    return warnings;
}

// A driver that a restart will remove, or load for the first time, is as well as can be.
ExitCode StatusResult::StrictAnswer() const {
    const bool allWell =
        machine.isElevated &&
        std::all_of(machine.drivers.begin(), machine.drivers.end(), [&](const tools::DriverView& driver) {
            return driver.next == tools::NextStart::IsRemoved || IsWell(driver, machine.policy);
        });
    return !allWell ? kFailure : machine.restartReasons.empty() ? kSuccess : kRestartRequired;
}

CodeMeaning MeaningOf(uint32_t code) {
    const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                           [&](const CodeMeaning& each) { return each.code == code; });
    return found == std::end(kMeanings) ? CodeMeaning{code, "unknown code", "not a code of this plug-in"}
                                        : *found;
}

std::string HexCode(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

} // namespace steward::host
