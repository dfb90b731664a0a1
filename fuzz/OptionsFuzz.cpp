// The tools' reading of arguments, which are the input's lines. Faults: memory, an answer that does not keep
// what its table promises, a refusal of more than one line.
#include "Require.h"

#include "Options.h"
#include "util/Utf8.h"

#include <cstdint>
#include <string>

namespace steward {

// Arguments are made of single bytes here.
std::string Utf8FromWide(std::wstring_view text) {
    return {text.begin(), text.end()};
}

} // namespace steward

namespace {

using namespace steward::tools;

constexpr CommandForm kCommands[] = {
    {"get", "<group> <key>", 2, 2, "prints a value", "details\nof it", "tool get G k"},
    {"batch", "<record>...", 1, kAnyNumber, "many", "", "tool batch a b"},
    {"status", "", 0, 0, "state", "", "tool status"},
};
constexpr OptionForm kOptions[] = {
    {"--json", nullptr, "as JSON", nullptr},
    {"--file", "<file>", "another file\nthan usual", "get batch"},
    {"--watch", "[seconds]", "repeats", "status"},
    {"-v", nullptr, "more", nullptr},
};
constexpr ToolForm kTool{"tool", "does things", kCommands, kOptions, "footer"};

void Check(const ReadLine& line) {
    if (line.kind == ReadLine::Kind::Run) {
        Require(line.command != nullptr, "what is run has a command");
        Require(line.operands.size() >= line.command->fewest && line.operands.size() <= line.command->most,
                "a command has as many operands as it takes");
    }
    for (const auto& [option, value] : line.options) {
        Require(option != nullptr && line.Has(option->name), "an option that was given is found");
        Require(option->value != nullptr || value.empty(), "only options that take a value have one");
    }
    Require(line.Find("--none") == nullptr, "an option that was not given is not found");
    static_cast<void>(HelpText(kTool, line.command));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::wstring> arguments(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            arguments.emplace_back();
        } else {
            arguments.back() += static_cast<wchar_t>(data[i]);
        }
    }
    try {
        Check(ReadArguments(kTool, arguments));
    } catch (const UsageError& refusal) {
        const std::string what = refusal.what();
        Require(!what.empty(), "a refusal says why");
    }
    return 0;
}
