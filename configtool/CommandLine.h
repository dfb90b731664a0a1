#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace steward::configtool {

// The message says what was wrong and what to do, in UTF-8 and one line.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Command { Help, Version, Get, Set, List, Export, Import };

struct CommandLine {
    Command command = Command::Help;
    std::vector<std::wstring> operands; // as many as the command takes
    std::wstring file;                  // empty: the installed one
    bool json = false;
    bool showSecrets = false;
};

// `arguments` without the program's name. Throws UsageError.
CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments);

extern const char kHelp[];

} // namespace steward::configtool
