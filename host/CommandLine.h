// What the user asked for.
#pragma once

#include "Options.h"

#include "driverSteward.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace steward::host {

struct Request {
    std::wstring command; // "install", ...
    uint32_t action = INSTALL;
    uint32_t compareState = COMPARE_INVALID;
    std::wstring folder; // full path of at most 1023 characters
};

enum class Command { Help, Version, Status, Check, Run, Trace, Diag };

struct CommandLine {
    Command command = Command::Help;
    const tools::CommandForm* form = nullptr; // null: the tool as a whole
    std::vector<Request> requests;            // of Run; the one of Check
    std::wstring plugin;                      // empty: driverSteward.dll beside the program
    bool json = false;
    bool force = false;
    bool strict = false;
    bool trace = false;
    std::wstring file;                    // of Trace, or for Diag; empty: standard output
    std::wstring package;                 // for Diag; may be empty
    std::wstring log;                     // file; empty: not given
    std::optional<uint32_t> logLevel;     // 0 to 6
    uint32_t waitSeconds = 0;             // for another host to finish
    std::optional<uint32_t> watchSeconds; // status again and again
};

// `arguments` without the program's name. Throws tools::UsageError.
CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments);

extern const tools::ToolForm kTool;

} // namespace steward::host
