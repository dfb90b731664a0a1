#include "CommandLine.h"

#include "util/Utf8.h"

#include <algorithm>
#include <cwchar>

namespace steward::host {

const char kHelp[] =
    R"(stewardHost - a command-line service host for driverSteward.dll

  stewardHost status                                state and versions of the drivers
  stewardHost install <folder>                      install and start the package's drivers
  stewardHost uninstall <folder>                    remove the drivers by the package's INF files
  stewardHost update <folder> [--compare-state N]   update the drivers; N as in DrvInfo (2 unless told)
  stewardHost equal-update <folder>                 the same, going on past a driver that does not stop
  stewardHost rollback <folder>                     go back to the package's drivers
  stewardHost batch <action>:<folder> ...           several records; <action> is one of the above,
                                                    update=N:<folder> sets the compare state

Options
  --plugin <dll>   the plug-in to load (driverSteward.dll beside this program unless told)
  --json           one JSON object instead of text
  --help, --version

Each record is handed to the plug-in by a call of its own, so that every record's result is known;
as in the plug-in's own batch, 0xE01A000C ends it. The state report follows.
The plug-in's log lines go to the file that TRACESINK_FILE names; without it there are none.

Exit code: 0 success, 3010 restart required, 1 failure, 2 wrong usage. Needs an administrator.
)";

namespace {

constexpr uint32_t kOrdinaryUpdate = 2;

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

[[noreturn]] void Refuse(const std::string& message) {
    throw UsageError(message + "; see stewardHost --help");
}

uint32_t ParseNumber(const std::wstring& text) {
    wchar_t* end = nullptr;
    const unsigned long long value = std::wcstoull(text.c_str(), &end, 0);
    const bool startsWithDigit = !text.empty() && text[0] >= L'0' && text[0] <= L'9';
    if (!startsWithDigit || *end != L'\0' || value > UINT32_MAX) {
        Refuse("'" + Utf8FromWide(text) + "' is no compare state: a number from 0 to 4294967295 is");
    }
    return static_cast<uint32_t>(value);
}

Request MakeRequest(const Verb& verb, const std::wstring& folder) {
    if (folder.empty()) {
        Refuse("a package folder is missing after '" + Utf8FromWide(verb.name) + "'");
    }
    return {verb.name, verb.action, verb.compareState, folder};
}

// "<action>:<folder>", or "update=N:<folder>".
Request ParseBatchRecord(const std::wstring& text) {
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
        request.compareState = ParseNumber(head.substr(equals + 1));
    }
    return request;
}

} // namespace

CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments) {
    CommandLine line;
    std::vector<std::wstring> words;
    std::wstring compareState;
    bool isInformation = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        const auto value = [&]() -> const std::wstring& {
            if (++i == arguments.size()) {
                Refuse("a value is missing after " + Utf8FromWide(argument));
            }
            return arguments[i];
        };
        if (argument == L"--help" || argument == L"--version") {
            line.command = argument == L"--help" ? Command::Help : Command::Version;
            isInformation = true;
        } else if (argument == L"--json") {
            line.json = true;
        } else if (argument == L"--plugin") {
            line.plugin = value();
        } else if (argument == L"--compare-state") {
            compareState = value();
        } else if (argument.starts_with(L"--")) {
            Refuse("unknown option " + Utf8FromWide(argument));
        } else {
            words.push_back(argument);
        }
    }
    if (isInformation) {
        return line;
    }
    if (words.empty()) {
        Refuse("a command is missing");
    }
    line.command = Command::Run;
    const Verb* const verb = FindVerb(words[0]);
    if (!compareState.empty() && words[0] != L"update") {
        Refuse("only update takes --compare-state");
    }
    if (words[0] == L"batch") {
        std::transform(words.begin() + 1, words.end(), std::back_inserter(line.requests), ParseBatchRecord);
        if (line.requests.empty()) {
            Refuse("a record is missing after 'batch'");
        }
        return line;
    }
    const bool isStatus = words[0] == L"status";
    if (verb == nullptr && !isStatus) {
        Refuse("unknown command '" + Utf8FromWide(words[0]) + "'");
    }
    if (words.size() > (isStatus ? 1U : 2U)) {
        Refuse("'" + Utf8FromWide(words.back()) + "' is one argument too many");
    }
    if (isStatus) {
        line.command = Command::Status;
        return line;
    }
    line.requests.push_back(MakeRequest(*verb, words.size() == 2 ? words[1] : L""));
    if (!compareState.empty()) {
        line.requests[0].compareState = ParseNumber(compareState);
    }
    return line;
}

} // namespace steward::host
