#include "CommandLine.h"

#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>

namespace steward::host {

namespace {

using tools::ReadLine;

constexpr uint32_t kOrdinaryUpdate = 2;
constexpr uint32_t kLongestSeconds = 24 * 60 * 60;
constexpr uint32_t kWatchSeconds = 2;
constexpr uint32_t kHighestLogLevel = 6;

struct Verb {
    const wchar_t* name;
    uint32_t action;
    uint32_t compareState;
};

constexpr Verb kVerbs[] = {
    {L"install", INSTALL, COMPARE_INVALID},  {L"uninstall", UNINSTALL, COMPARE_INVALID},
    {L"update", UPDATE, kOrdinaryUpdate},    {L"equal-update", EQUAL_UPDATE, COMPARE_INVALID},
    {L"rollback", UPDATE, COMPARE_ROLLBACK},
};

const Verb* FindVerb(const std::wstring& name) {
    const auto* const found = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                           [&](const Verb& verb) { return name == verb.name; });
    return found == std::end(kVerbs) ? nullptr : found;
}

// Completes what the option reader has taken apart.
class Completion {
  public:
    explicit Completion(const ReadLine& read) : read_(read) {}

    CommandLine Complete() {
        line_.form = read_.command;
        line_.plugin = Text("--plugin", "a DLL");
        line_.json = read_.Has("--json");
        line_.force = read_.Has("--force");
        line_.strict = read_.Has("--strict");
        line_.trace = read_.Has("--trace");
        line_.log = Text("--log", "a file");
        line_.logLevel = Number("--log-level", "log level", kHighestLogLevel);
        line_.package = Text("--package", "a package folder");
        line_.waitSeconds = Number("--wait", "number of seconds", kLongestSeconds).value_or(0);
        if (read_.Has("--watch")) {
            line_.watchSeconds = read_.Find("--watch")->empty()
                                     ? kWatchSeconds
                                     : Number("--watch", "number of seconds", kLongestSeconds);
        }
        if (read_.kind == ReadLine::Kind::Run) {
            TakeCommand(read_.command->name);
        } else {
            line_.command = read_.kind == ReadLine::Kind::Version ? Command::Version : Command::Help;
        }
        return std::move(line_);
    }

  private:
    [[noreturn]] void Refuse(const std::string& what) const {
        tools::RefuseUsage(kTool, read_.command, what);
    }

    void TakeCommand(const std::string& name) {
        if (name == "status") {
            line_.command = Command::Status;
        } else if (name == "trace" || name == "diag") {
            line_.command = name == "trace" ? Command::Trace : Command::Diag;
            line_.file = read_.operands.empty() ? L"" : read_.operands[0];
        } else if (name == "check") {
            line_.command = Command::Check;
            line_.requests.push_back(MakeRequest(VerbOf(read_.operands[0]), read_.operands[1]));
        } else {
            line_.command = Command::Run;
            for (const std::wstring& operand : read_.operands) {
                line_.requests.push_back(name == "batch" ? BatchRecord(operand)
                                                         : MakeRequest(VerbOf(WideFromUtf8(name)), operand));
            }
        }
        if (const auto state = Number("--compare-state", "compare state", UINT32_MAX)) {
            if (line_.requests[0].command != L"update") {
                Refuse("only update takes --compare-state");
            }
            line_.requests[0].compareState = *state;
        }
    }

    [[nodiscard]] const Verb& VerbOf(const std::wstring& name) const {
        const Verb* const verb = FindVerb(name);
        if (verb == nullptr) {
            Refuse("'" + Utf8FromWide(name) +
                   "' is no action: install, uninstall, update, equal-update or rollback is");
        }
        return *verb;
    }

    // "<action>:<folder>", or "update=N:<folder>".
    [[nodiscard]] Request BatchRecord(const std::wstring& text) const {
        const size_t colon = text.find(L':');
        const std::wstring head = text.substr(0, colon);
        const size_t equals = head.find(L'=');
        const Verb* const verb = FindVerb(head.substr(0, equals));
        if (colon == std::wstring::npos || verb == nullptr) {
            Refuse("'" + Utf8FromWide(text) + "' is no record: <action>:<folder> is");
        }
        Request request = MakeRequest(*verb, text.substr(colon + 1));
        if (equals != std::wstring::npos) {
            if (request.command != L"update") {
                Refuse("only update takes a compare state");
            }
            request.compareState = NumberIn(head.substr(equals + 1), "compare state", UINT32_MAX);
        }
        return request;
    }

    [[nodiscard]] Request MakeRequest(const Verb& verb, const std::wstring& folder) const {
        if (folder.empty()) {
            Refuse("a package folder is missing after '" + Utf8FromWide(verb.name) + "'");
        }
        std::wstring path(32768, L'\0');
        path.resize(GetFullPathNameW(folder.c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr));
        if (path.empty() || path.size() >= DRV_INFO_PATH_UNITS) {
            Refuse("the package folder's path has " + std::to_string(std::max(path.size(), folder.size())) +
                   " characters; move the package to a path of at most 1023");
        }
        return {verb.name, verb.action, verb.compareState, path};
    }

    [[nodiscard]] std::wstring Text(const char* option, const char* what) const {
        const std::wstring* const text = read_.Find(option);
        if (text != nullptr && text->empty()) {
            Refuse(std::string(option) + " needs " + what);
        }
        return text == nullptr ? L"" : *text;
    }

    [[nodiscard]] std::optional<uint32_t> Number(const char* option, const char* what, uint32_t most) const {
        const std::wstring* const text = read_.Find(option);
        return text == nullptr ? std::nullopt : std::optional(NumberIn(*text, what, most));
    }

    [[nodiscard]] uint32_t NumberIn(const std::wstring& text, const char* what, uint32_t most) const {
        wchar_t* end = nullptr;
        const unsigned long long value = std::wcstoull(text.c_str(), &end, 0);
        const bool startsWithDigit = !text.empty() && text[0] >= L'0' && text[0] <= L'9';
        if (!startsWithDigit || *end != L'\0' || value > most) {
            Refuse("'" + Utf8FromWide(text) + "' is no " + what + ": a number from 0 to " +
                   std::to_string(most) + " is");
        }
        return static_cast<uint32_t>(value);
    }

    const ReadLine& read_;
    CommandLine line_;
};

} // namespace

CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments) {
    const ReadLine read = tools::ReadArguments(kTool, arguments);
    return Completion(read).Complete();
}

} // namespace steward::host
