// A command-line service host.
#include "Actions.h"
#include "CommandLine.h"
#include "Interrupt.h"
#include "JsonOutput.h"
#include "OnlyHost.h"
#include "PluginLibrary.h"
#include "TextOutput.h"

#include "Console.h"
#include "PlatformLibraries.h"

#include <windows.h>

#include <exception>
#include <stdexcept>

namespace {

using namespace steward;
using namespace steward::host;

void Answer(const std::string& text) {
    if (!tools::Print(STD_OUTPUT_HANDLE, text)) {
        throw std::runtime_error("the output cannot be written; check where standard output goes");
    }
}

// Of the work in one word, for another host that waits.
std::wstring WorkOf(const CommandLine& line) {
    return line.requests.size() == 1 ? line.requests[0].command + L" " + line.requests[0].folder
                                     : L"batch of " + std::to_wstring(line.requests.size()) + L" records";
}

int RunActions(const CommandLine& line) {
    if (!tools::IsElevated()) {
        throw std::runtime_error(kNotElevated);
    }
    const Interrupt interrupt;
    const OnlyHost onlyHost(WorkOf(line), line.waitSeconds, interrupt.Event());
    const PluginLibrary plugin(PluginPath(line.plugin));
    const ActionsResult result = RunRecords(plugin, line, interrupt);
    tools::Print(STD_ERROR_HANDLE, WarningsOf(result));
    if (line.json || result.ending != Ending::Refused || result.records.size() > 1) {
        Answer(line.json ? JsonOf(result) : TextOf(result));
    }
    return result.Answer();
}

int RunCheck(const CommandLine& line) {
    const PluginLibrary plugin(PluginPath(line.plugin));
    const Preflight preflight = LookBefore(line.requests[0]);
    Answer(TextOf(preflight));
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

int RunStatus(const CommandLine& line) {
    const PluginLibrary plugin(PluginPath(line.plugin));
    for (;;) {
        const StatusResult status = LookAtStatus(plugin);
        if (!status.machine.isElevated) {
            tools::Print(STD_ERROR_HANDLE,
                         std::string("stewardHost: not everything is seen: ") + kNotElevated + "\n");
        }
        Answer(line.json ? JsonOf(status) : TextOf(status));
        if (!line.watchSeconds || !tools::IsConsole(STD_OUTPUT_HANDLE)) {
            return line.strict ? status.StrictAnswer() : kSuccess;
        }
        Sleep(*line.watchSeconds * 1000);
        Answer("\n");
    }
}

int RunVersion(const CommandLine& line) {
    VersionResult version;
    version.host = STEWARD_VERSION;
    try {
        const PluginLibrary plugin(PluginPath(line.plugin));
        version.plugin = plugin.Version();
        version.ownerModuleId = plugin.OwnerModuleId();
    } catch (const std::runtime_error& problem) {
        version.problem = problem.what();
    }
    Answer(TextOf(version));
    return kSuccess;
}

int Run(const CommandLine& line) {
    switch (line.command) {
    case Command::Version:
        return RunVersion(line);
    case Command::Status:
        return RunStatus(line);
    case Command::Check:
        return RunCheck(line);
    case Command::Run:
        return RunActions(line);
    default:
        Answer(tools::HelpText(kTool, line.form));
        return kSuccess;
    }
}

int Complain(const std::exception& problem, ExitCode code) {
    tools::Print(STD_ERROR_HANDLE, std::string("stewardHost: ") + problem.what() + "\n");
    return code;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    try {
        tools::KeepLogOffTheConsole();
        tools::KeepStandardOutputForAnswers();
        tools::KeepOwnLogQuiet();
        return Run(ParseCommandLine({argv + 1, argv + argc}));
    } catch (const tools::UsageError& problem) {
        return Complain(problem, kWrongUsage);
    } catch (const std::exception& problem) {
        return Complain(problem, kFailure);
    }
}
