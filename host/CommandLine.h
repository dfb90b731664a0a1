// What the user asked for.
#pragma once

#include "driverSteward.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace steward::host {

// The message says what was wrong and what to do, in one line.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Request {
    std::wstring command; // as typed: "install", ...
    uint32_t action = INSTALL;
    uint32_t compareState = COMPARE_INVALID;
    std::wstring folder; // as typed
};

enum class Command { Help, Version, Status, Run };

struct CommandLine {
    Command command = Command::Help;
    std::vector<Request> requests; // of Run
    std::wstring plugin;           // empty: driverSteward.dll beside the program
    bool json = false;
};

// `arguments` without the program's name. Throws UsageError.
CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments);

extern const char kHelp[];

} // namespace steward::host
