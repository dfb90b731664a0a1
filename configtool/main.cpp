#include "CommandLine.h"
#include "Commands.h"
#include "Commit.h"
#include "Console.h"
#include "Failure.h"
#include "Json.h"
#include "util/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <exception>

namespace {

using namespace steward::configtool;
using steward::tools::Dump;
using steward::tools::Json;
using steward::tools::kCommit;
using steward::tools::ReadLine;
using steward::tools::UsageError;

enum ExitCode : uint8_t { kSuccess = 0, kFailure = 1, kWrongUsage = 2 };

constexpr int kSchemaVersion = 1;

Json JsonHead(ExitCode code) {
    return {{"schema", kSchemaVersion},
            {"tool", "stewardConfig"},
            {"version", STEWARD_VERSION},
            {"commit", kCommit},
            {"exitCode", code}};
}

// "settings" for the commands that ask for some.
std::string JsonAnswer(const Answer& answer, bool hasSettings) {
    auto json = JsonHead(kSuccess);
    json["file"] = answer.file;
    json["warnings"] = answer.warnings;
    if (hasSettings) {
        json["settings"] = Json::array();
        for (const Setting& setting : answer.settings) {
            json["settings"].push_back(
                {{"group", setting.group}, {"key", setting.key}, {"value", setting.value}});
        }
    }
    return Dump(json);
}

std::string Run(const ReadLine& line) {
    struct Command {
        const char* name;
        Answer (*run)(const ReadLine&);
        bool hasSettings;
    };
    constexpr Command kCommands[] = {
        {"get", Get, true},        {"set", Set, false},       {"list", List, true},
        {"export", Export, false}, {"import", Import, false},
    };
    const auto* const command =
        std::find_if(std::begin(kCommands), std::end(kCommands),
                     [&](const Command& each) { return std::string_view(each.name) == line.command->name; });
    const Answer answer = command->run(line);
    for (const std::string& warning : answer.warnings) {
        steward::tools::Print(STD_ERROR_HANDLE, "stewardConfig: warning: " + warning + "\n");
    }
    return line.Has("--json") ? JsonAnswer(answer, command->hasSettings) : answer.text;
}

std::string Output(const ReadLine& line) {
    switch (line.kind) {
    case ReadLine::Kind::Help:
        return HelpText(kTool, line.command);
    case ReadLine::Kind::Version:
        return std::string("stewardConfig " STEWARD_VERSION ", commit ") + kCommit + "\n";
    case ReadLine::Kind::Run:
        break;
    }
    return Run(line);
}

// Also of a line that cannot be read.
bool AsksForJson(const std::vector<std::wstring>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), L"--");
    return std::find(arguments.begin(), end, L"--json") != end;
}

int Complain(const std::exception& problem, ExitCode code, bool asJson) {
    if (asJson) {
        auto json = JsonHead(code);
        json["error"] = problem.what();
        steward::tools::Print(STD_OUTPUT_HANDLE, Dump(json));
    }
    steward::tools::Print(STD_ERROR_HANDLE, std::string("stewardConfig: ") + problem.what() + "\n");
    return code;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    const std::vector<std::wstring> arguments(argv + std::min(argc, 1), argv + argc);
    const bool asJson = AsksForJson(arguments);
    try {
        steward::tools::KeepLogOffTheConsole();
        const std::string output = Output(ReadArguments(kTool, arguments));
        if (!steward::tools::Print(STD_OUTPUT_HANDLE, output)) {
            throw Failure(
                "the answer cannot be written to standard output; check where it goes, and its disk");
        }
        return kSuccess;
    } catch (const UsageError& problem) {
        return Complain(problem, kWrongUsage, asJson);
    } catch (const std::exception& problem) {
        return Complain(problem, kFailure, asJson);
    }
}
