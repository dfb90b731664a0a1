// The option reader of both tools: a table says what a command line may hold. Knows nothing of Windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace steward::tools {

// The message says what was wrong and what to do, in UTF-8 and one line.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct OptionForm {
    const char* name;     // with its dashes
    const char* value;    // what stands for its value in the help: "<dll>"; in brackets: may be left out, and
                          // only a following argument that begins with a digit is taken for it; null: none
    const char* help;     // what it does, in lines that fit behind the name
    const char* commands; // the commands that take it, separated by blanks; null: every command
};

inline constexpr size_t kAnyNumber = SIZE_MAX;

struct CommandForm {
    const char* name;
    const char* operands; // as the help shows them: "<group> <key>"
    size_t fewest;
    size_t most;
    const char* summary; // half a line
    const char* details; // lines: what it needs, what it does, pitfalls
    const char* example; // a whole command line
};

struct ToolForm {
    const char* name;
    const char* summary;
    std::span<const CommandForm> commands;
    std::span<const OptionForm> options; // all but those for help, version and the end of the options
    const char* footer;                  // the help's last lines
};

struct ReadLine {
    enum class Kind { Run, Help, Version };

    Kind kind = Kind::Run;
    const CommandForm* command = nullptr; // null only with Help (that of the tool) and Version
    std::vector<std::wstring> operands;   // as many as the command takes; none with Help and Version
    std::vector<std::pair<const OptionForm*, std::wstring>> options;

    // Null when the option was not given; empty for one that was given without a value.
    [[nodiscard]] const std::wstring* Find(std::string_view option) const;
    [[nodiscard]] bool Has(std::string_view option) const { return Find(option) != nullptr; }
};

// `arguments` without the program's name. Options stand anywhere before "--". Throws UsageError.
ReadLine ReadArguments(const ToolForm& tool, const std::vector<std::wstring>& arguments);

// The help of a command, or that of the tool.
std::string HelpText(const ToolForm& tool, const CommandForm* command);

// "...; see stewardHost install --help". For what the tool itself finds wrong; `command` may be null.
[[noreturn]] void RefuseUsage(const ToolForm& tool, const CommandForm* command, const std::string& what);

} // namespace steward::tools
