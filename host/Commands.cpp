#include "Commands.h"

#include "ActionLog.h"
#include "Actions.h"
#include "Diag.h"
#include "Interrupt.h"
#include "JsonOutput.h"
#include "OnlyHost.h"
#include "PluginLibrary.h"
#include "TextOutput.h"
#include "TraceView.h"

#include "Console.h"
#include "PlatformLibraries.h"
#include "WindowsError.h"
#include "WindowsFiles.h"
#include "util/Utf8.h"

#include <windows.h>

#include <stdexcept>

namespace steward::host {

namespace {

void Answer(const std::string& text) {
    if (!tools::Print(STD_OUTPUT_HANDLE, text)) {
        throw std::runtime_error("the output cannot be written; check where standard output goes");
    }
}

void AnswerInJson(const tools::Json& json) {
    Answer(tools::Dump(json));
}

// To be made before the plug-in is loaded. Actions keep a log even when nobody asked for one.
LogWish LogWishOf(const CommandLine& line) {
    const bool isAction = line.command == Command::Run;
    const std::wstring name = line.requests.size() == 1 ? line.requests[0].command : L"batch";
    return {line.log, line.logLevel, isAction ? name : L""};
}

VersionResult VersionOf(const PluginLibrary& plugin) {
    return {STEWARD_VERSION, "", plugin.Version(), plugin.OwnerModuleId()};
}

// Of the work in one word, for another host that waits.
std::wstring WorkOf(const CommandLine& line) {
    return line.requests.size() == 1 ? line.requests[0].command + L" " + line.requests[0].folder
                                     : L"batch of " + std::to_wstring(line.requests.size()) + L" records";
}

void ShowTrace(const ActionsResult& result) {
    for (const RecordResult& record : result.records) {
        const bool isWritten = !record.trace || record.trace->empty() ||
                               (tools::Print(STD_OUTPUT_HANDLE, "\n") && PrintTree(*record.trace));
        if (!isWritten) {
            Answer(""); // says so
        }
    }
    const bool isEmpty =
        std::any_of(result.records.begin(), result.records.end(),
                    [](const RecordResult& record) { return record.trace && record.trace->empty(); });
    const std::string problem = !result.logProblem.empty() ? result.logProblem
                                : isEmpty                  ? "calls are logged at log level 1 and 2"
                                                           : "";
    if (!problem.empty()) {
        tools::Print(STD_ERROR_HANDLE, "stewardHost: no call tree: " + problem + "\n");
    }
}

int RunActions(const CommandLine& line) {
    if (!tools::IsElevated()) {
        throw std::runtime_error(kNotElevated);
    }
    const Interrupt interrupt;
    const OnlyHost onlyHost(WorkOf(line), line.waitSeconds, interrupt.Event());
    ActionLog log(LogWishOf(line));
    const PluginLibrary plugin(PluginPath(line.plugin));
    const ActionsResult result = RunRecords(plugin, line, interrupt, log);
    tools::Print(STD_ERROR_HANDLE, ComplaintsOf(result));
    if (line.json) {
        const VersionResult version = VersionOf(plugin);
        AnswerInJson(JsonOfActions(result, {"actions", result.Answer(), &version, result.Warnings()}));
    } else if (result.ending != Ending::Refused || result.records.size() > 1) {
        Answer(TextOf(result));
        if (line.trace) {
            ShowTrace(result);
        }
    }
    return result.Answer();
}

int RunCheck(const CommandLine& line) {
    const ActionLog log(LogWishOf(line));
    const PluginLibrary plugin(PluginPath(line.plugin));
    const Preflight preflight = LookBefore(line.requests[0]);
    if (line.json) {
        const VersionResult version = VersionOf(plugin);
        AnswerInJson(JsonOfCheck(preflight, {"check", preflight.Answer(), &version, preflight.Warnings()}));
    } else {
        Answer(TextOf(preflight));
    }
    return preflight.Answer();
}

// What can be seen without an administrator's rights is shown, but the plug-in, which would see nothing, is
// not asked.
StatusResult LookAtStatus(const PluginLibrary& plugin) {
    StatusResult status{std::nullopt, tools::LookAtMachine()};
    if (status.machine.isElevated) {
        status.report = plugin.Report();
    }
    return status;
}

void ShowStatus(const CommandLine& line, const PluginLibrary& plugin, const StatusResult& status) {
    if (line.json) {
        const VersionResult version = VersionOf(plugin);
        const ExitCode code = line.strict ? status.StrictAnswer() : kSuccess;
        AnswerInJson(JsonOfStatus(status, {"status", code, &version, {}}));
    } else {
        Answer(TextOf(status));
    }
}

int RunStatus(const CommandLine& line) {
    const ActionLog log(LogWishOf(line));
    const PluginLibrary plugin(PluginPath(line.plugin));
    for (;;) {
        const StatusResult status = LookAtStatus(plugin);
        if (!status.machine.isElevated) {
            tools::Print(STD_ERROR_HANDLE,
                         std::string("stewardHost: not everything is seen: ") + kNotElevated + "\n");
        }
        ShowStatus(line, plugin, status);
        if (!line.watchSeconds || !tools::IsConsole(STD_OUTPUT_HANDLE)) {
            return line.strict ? status.StrictAnswer() : kSuccess;
        }
        Sleep(*line.watchSeconds * 1000);
        Answer("\n");
    }
}

// Never fails: what is wrong with the plug-in is part of the answer.
VersionResult LookAtVersion(const CommandLine& line) {
    const ActionLog log(LogWishOf(line));
    VersionResult version;
    version.host = STEWARD_VERSION;
    try {
        version = VersionOf(PluginLibrary(PluginPath(line.plugin)));
    } catch (const std::runtime_error& problem) {
        version.problem = problem.what();
    }
    return version;
}

int RunVersion(const CommandLine& line) {
    const VersionResult version = LookAtVersion(line);
    if (line.json) {
        AnswerInJson(JsonOfVersion({"version", kSuccess, &version, {}}));
    } else {
        Answer(TextOf(version));
    }
    return kSuccess;
}

int RunTrace(const CommandLine& line) {
    const auto content = tools::ContentOf(line.file);
    if (!content) {
        throw std::runtime_error("the log " + Utf8FromWide(line.file) +
                                 " cannot be read: " + tools::SystemMessage(GetLastError()));
    }
    const tools::Log log = tools::ReadLog(*content);
    const std::string problem = WhatIsWrongWith(log);
    const ExitCode code = log.lines.empty() ? kFailure : kSuccess;
    if (!problem.empty()) {
        tools::Print(STD_ERROR_HANDLE, "stewardHost: " + problem + "\n");
    }
    if (line.json) {
        const std::vector<std::string> warnings(problem.empty() ? 0 : 1, problem);
        AnswerInJson(JsonOfTrace(Utf8FromWide(line.file), log, {"trace", code, nullptr, warnings}));
    } else if (!PrintTree(tools::TreeOf(log.lines))) {
        Answer("");
    }
    return code;
}

int RunDiag(const CommandLine& line) {
    const VersionResult version = LookAtVersion(line);
    const tools::Json diagnosis = Diagnosis(line, {"diag", kSuccess, &version, {}});
    const bool asJson = line.json || line.file.ends_with(L".json");
    const std::string text = asJson ? tools::Dump(diagnosis) : TextOf(diagnosis);
    if (line.file.empty()) {
        Answer(text);
    } else {
        WriteDiagnosis(line.file, text);
    }
    return kSuccess;
}

} // namespace

int Run(const CommandLine& line) {
    switch (line.command) {
    case Command::Version:
        return RunVersion(line);
    case Command::Status:
        return RunStatus(line);
    case Command::Check:
        return RunCheck(line);
    case Command::Trace:
        return RunTrace(line);
    case Command::Diag:
        return RunDiag(line);
    case Command::Run:
        return RunActions(line);
    default:
        Answer(tools::HelpText(kTool, line.form));
        return kSuccess;
    }
}

} // namespace steward::host
