#include "TextOutput.h"

#include "Commit.h"
#include "util/Utf8.h"

namespace steward::host {

namespace {

std::string RecordText(const RecordResult& record) {
    if (!record.code) {
        return "   refused: the plug-in was not called\n";
    }
    const CodeMeaning meaning = MeaningOf(*record.code);
    return "   " + HexCode(*record.code) + " " + meaning.name + ": " + meaning.meaning + "\n" +
           ReasonText(record);
}

std::string EndingText(const ActionsResult& result) {
    std::string rest = result.notProcessed.empty()
                           ? ""
                           : std::to_string(result.notProcessed.size()) + " record(s) not processed.\n";
    switch (result.ending) {
    case Ending::BatchAborted:
        return rest.empty() ? "" : "The batch ended here: " + rest;
    case Ending::Interrupted:
        return "Interrupted" + (rest.empty() ? ".\n" : ": " + rest);
    default:
        return rest;
    }
}

std::string RestartNotice(const ActionsResult& result) {
    std::string older;
    for (const tools::DriverView& driver : result.machine.drivers) {
        if (driver.isLoaded && driver.hasFile && !driver.loadedIsFile && driver.loadedVersion) {
            older += (older.empty() ? "" : ", ") + driver.name + " (" + *driver.loadedVersion + ")";
        }
    }
    return "A restart of the machine is required." +
           (older.empty() ? "" : " Until then these drivers run their old image: " + older + ".") + "\n";
}

bool AsksForRestart(const ActionsResult& result) {
    for (const RecordResult& record : result.records) {
        if (record.code == DS_SUCCESS_RESTART_REQUIRED) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string TextOf(const ActionsResult& result) {
    std::string text;
    size_t number = 0;
    for (const RecordResult& record : result.records) {
        text += std::to_string(++number) + ". " + Utf8FromWide(record.request.command) + " " +
                Utf8FromWide(record.request.folder) + "\n" + RecordText(record);
    }
    text += EndingText(result) + LogText(result);
    text += result.report ? ReportText(*result.report) : "";
    return text + MachineText(result.machine) + (AsksForRestart(result) ? RestartNotice(result) : "");
}

std::string ComplaintsOf(const ActionsResult& result) {
    std::string lines;
    for (const RecordResult& record : result.records) {
        for (const Finding& finding :
             record.preflight ? record.preflight->findings : std::vector<Finding>()) {
            if (finding.severity != Severity::Note) {
                lines +=
                    "stewardHost: " + std::string(finding.severity == Severity::Warning ? "warning: " : "") +
                    finding.Text() + "\n";
            }
        }
    }
    if (result.ending == Ending::Refused) {
        lines += result.records.front().code ? "stewardHost: nothing was done for this record\n"
                                             : "stewardHost: nothing was touched\n";
    }
    return lines;
}

std::string TextOf(const VersionResult& version) {
    const auto& numbers = version.plugin;
    const std::string plugin = version.problem.empty()
                                   ? std::to_string(numbers[0]) + "." + std::to_string(numbers[1]) + "." +
                                         std::to_string(numbers[2]) + ", owner module " +
                                         std::to_string(version.ownerModuleId)
                                   : "unknown: " + version.problem;
    return "stewardHost " + version.host + ", commit " + tools::kCommit + "\nplug-in " + plugin + "\n";
}

} // namespace steward::host
