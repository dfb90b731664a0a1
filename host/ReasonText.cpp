// Why an action failed, for people.
#include "TextOutput.h"

#include "util/Utf8.h"

#include <algorithm>

namespace steward::host {

namespace {

bool HasFailed(const RecordResult& record) {
    return record.code && *record.code != DS_SUCCESS && *record.code != DS_SUCCESS_RESTART_REQUIRED;
}

} // namespace

std::string ReasonText(const RecordResult& record) {
    const bool isDecided = std::any_of(record.reasons.begin(), record.reasons.end(),
                                       [](const Reason& reason) { return reason.decides; });
    std::string text;
    for (const Reason& reason : record.reasons) {
        text +=
            std::string(reason.decides || !isDecided ? "   because: " : "   besides: ") + reason.text + "\n";
    }
    return text;
}

std::string LogText(const ActionsResult& result) {
    const auto failed = std::find_if(result.records.begin(), result.records.end(), HasFailed);
    if (failed == result.records.end()) {
        return "";
    }
    if (!result.logProblem.empty()) {
        return "No reasons and no log here: " + result.logProblem + ".\n";
    }
    return (failed->reasons.empty() ? "The log names no reason. " : "") + std::string("Log: ") +
           Utf8FromWide(result.log) + "\n";
}

} // namespace steward::host
