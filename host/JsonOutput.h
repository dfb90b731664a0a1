// The answers of --json. docs/stewardHost.schema.json describes them; a change there or here is one in both.
#pragma once

#include "Json.h"
#include "Preflight.h"
#include "Results.h"

#include "CallTree.h"

#include <string>
#include <vector>

namespace steward::host {

// What every answer begins with. `kind` is "actions", "check", "status", "version", "trace", "diag" or
// "error".
struct AnswerHead {
    const char* kind;
    ExitCode exitCode = kSuccess;
    const VersionResult* version = nullptr; // of the plug-in; null when it was not loaded
    std::vector<std::string> warnings;
};

tools::Json JsonOfActions(const ActionsResult& result, const AnswerHead& head);
tools::Json JsonOfCheck(const Preflight& preflight, const AnswerHead& head);
tools::Json JsonOfStatus(const StatusResult& result, const AnswerHead& head);
tools::Json JsonOfVersion(const AnswerHead& head);
tools::Json JsonOfTrace(const std::string& file, const tools::Log& log, const AnswerHead& head);

// `id` is "usage" or "failure".
tools::Json JsonOfError(const char* id, const std::string& message, ExitCode exitCode);

// The pieces: for the answers above and for diag.
tools::Json BeginAnswer(const AnswerHead& head);
void AddMachine(const tools::MachineView& machine, tools::Json& json);
tools::Json JsonOfPackage(const tools::PackageView& package);

} // namespace steward::host
