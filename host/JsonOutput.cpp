#include "JsonOutput.h"

#include "Commit.h"
#include "util/Utf8.h"

#include <cctype>
#include <cstdint>

namespace steward::host {

namespace {

using tools::Json;

constexpr int kSchemaVersion = 1;

// "failed, batch aborted" becomes "failed-batch-aborted".
std::string Identifier(std::string_view name) {
    std::string id;
    for (const char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            id += c;
        } else if (!id.empty() && id.back() != '-') {
            id += '-';
        }
    }
    return id;
}

Json JsonOfCode(uint32_t code) {
    const CodeMeaning meaning = MeaningOf(code);
    return {{"code", HexCode(code)}, {"id", Identifier(meaning.name)}, {"meaning", meaning.meaning}};
}

Json JsonOfRequest(const Request& request) {
    return {{"action", Utf8FromWide(request.command)},
            {"folder", Utf8FromWide(request.folder)},
            {"compareState", request.compareState}};
}

const char* NameOf(Ending ending) {
    constexpr const char* kNames[] = {"complete", "batch-aborted", "refused", "interrupted"};
    return kNames[static_cast<size_t>(ending)];
}

const char* NameOf(Severity severity) {
    constexpr const char* kNames[] = {"note", "warning", "refusal"};
    return kNames[static_cast<size_t>(severity)];
}

const char* NameOf(Procedure procedure) {
    constexpr const char* kNames[] = {"install", "uninstall", "update", "migrate", "rejected"};
    return kNames[static_cast<size_t>(procedure)];
}

Json JsonOfReport(const std::optional<DriverStateReport>& report) {
    if (!report) {
        return nullptr;
    }
    Json json = JsonOfCode(report->state);
    json["version"] = report->version;
    return json;
}

Json JsonOfPreflight(const Preflight& preflight) {
    Json findings = Json::array();
    for (const Finding& finding : preflight.findings) {
        findings.push_back({{"severity", NameOf(finding.severity)},
                            {"id", finding.id},
                            {"driver", finding.driver},
                            {"what", finding.what},
                            {"advice", finding.advice}});
    }
    return {{"procedure", NameOf(preflight.procedure)},
            {"refused", preflight.IsRefused()},
            {"needsRestart", preflight.needsRestart},
            {"steps", preflight.steps},
            {"findings", std::move(findings)}};
}

Json JsonOfReasons(const std::vector<Reason>& reasons) {
    Json json = Json::array();
    for (const Reason& reason : reasons) {
        json.push_back(
            {{"id", reason.id}, {"text", reason.text}, {"line", reason.line}, {"decides", reason.decides}});
    }
    return json;
}

Json JsonOfRecord(const RecordResult& record) {
    Json json = JsonOfRequest(record.request);
    json["preflight"] = record.preflight ? JsonOfPreflight(*record.preflight) : Json();
    json["result"] = record.code ? JsonOfCode(*record.code) : Json();
    json["reasons"] = JsonOfReasons(record.reasons);
    json["trace"] = record.trace ? tools::JsonOf(*record.trace) : Json();
    return json;
}

Json JsonOfPlugin(const VersionResult& version) {
    if (!version.problem.empty()) {
        return {{"problem", version.problem}};
    }
    const auto& [major, minor, build] = version.plugin;
    return {{"version", std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(build)},
            {"ownerModuleId", version.ownerModuleId}};
}

} // namespace

Json BeginAnswer(const AnswerHead& head) {
    return {{"schemaVersion", kSchemaVersion},
            {"kind", head.kind},
            {"host", {{"version", STEWARD_VERSION}, {"commit", tools::kCommit}}},
            {"plugIn", head.version == nullptr ? Json() : JsonOfPlugin(*head.version)},
            {"exitCode", static_cast<int>(head.exitCode)},
            {"restartRequired", head.exitCode == kRestartRequired},
            {"warnings", head.warnings}};
}

Json JsonOfActions(const ActionsResult& result, const AnswerHead& head) {
    Json json = BeginAnswer(head);
    json["ending"] = NameOf(result.ending);
    json["records"] = Json::array();
    for (const RecordResult& record : result.records) {
        // Success of an earlier record may wait for a restart although a later one failed.
        json["restartRequired"] =
            json["restartRequired"].get<bool>() || record.code == DS_SUCCESS_RESTART_REQUIRED;
        json["records"].push_back(JsonOfRecord(record));
    }
    json["notProcessed"] = Json::array();
    for (const Request& request : result.notProcessed) {
        json["notProcessed"].push_back(JsonOfRequest(request));
    }
    json["report"] = JsonOfReport(result.report);
    json["log"] = result.log.empty() ? Json() : Json(Utf8FromWide(result.log));
    json["logProblem"] = result.logProblem.empty() ? Json() : Json(result.logProblem);
    AddMachine(result.machine, json);
    return json;
}

Json JsonOfCheck(const Preflight& preflight, const AnswerHead& head) {
    Json json = BeginAnswer(head);
    json.update(JsonOfRequest(preflight.request));
    json["preflight"] = JsonOfPreflight(preflight);
    json["package"] = JsonOfPackage(preflight.package);
    AddMachine(preflight.machine, json);
    return json;
}

Json JsonOfStatus(const StatusResult& result, const AnswerHead& head) {
    Json json = BeginAnswer(head);
    json["restartRequired"] = !result.machine.restartReasons.empty();
    json["report"] = JsonOfReport(result.report);
    AddMachine(result.machine, json);
    return json;
}

Json JsonOfVersion(const AnswerHead& head) {
    return BeginAnswer(head);
}

Json JsonOfTrace(const std::string& file, const tools::Log& log, const AnswerHead& head) {
    Json json = BeginAnswer(head);
    json["file"] = file;
    json["lines"] = log.lines.size();
    json["unreadable"] = log.unreadable;
    json["trace"] = tools::JsonOf(tools::TreeOf(log.lines));
    return json;
}

Json JsonOfError(const char* id, const std::string& message, ExitCode exitCode) {
    Json json = BeginAnswer({"error", exitCode, nullptr, {}});
    json["error"] = {{"id", id}, {"message", message}};
    return json;
}

} // namespace steward::host
