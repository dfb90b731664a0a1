#include "CommandLine.h"

#include "util/Utf8.h"

#include <algorithm>
#include <iterator>

namespace steward::configtool {

const char kHelp[] = R"(stewardConfig reads and changes the platform's configuration file, system_config.cfg.

  stewardConfig get <group> <key>           print one value
  stewardConfig set <group> <key> <value>   change a value that exists
  stewardConfig list                        print every group, key and value, separated by tabs
  stewardConfig export <xml>                write the configuration as readable XML, secrets included
  stewardConfig import <xml>                replace the configuration, or create it

Options, anywhere on the line:
  --file <system_config.cfg>   this file; otherwise the one in the folder that the registry value "InstallDir"
                               under HKEY_LOCAL_MACHINE\SOFTWARE\Vexholm\ORPL names
  --json                       list as a JSON array
  --show-secrets               print the values of password keys, which get and list show as stars
  --help, --version
  --                           what follows is no option

A change is written to a file beside the old one and takes its place when it is complete. The plug-in reads the
configuration once per process: restart its host after a change.

Exit codes: 0 success, 1 failure, 2 wrong usage.
)";

namespace {

struct CommandForm {
    const wchar_t* name;
    Command command;
    size_t operands;
    bool takesNames; // the first two operands are a group and a key
};

constexpr CommandForm kForms[] = {
    {L"get", Command::Get, 2, true},        {L"set", Command::Set, 3, true},
    {L"list", Command::List, 0, false},     {L"export", Command::Export, 1, false},
    {L"import", Command::Import, 1, false},
};

[[noreturn]] void Reject(const std::wstring& what) {
    throw UsageError(Utf8FromWide(what) + "; \"stewardConfig --help\" shows the usage");
}

// Options go into `line`; what is left are the command and its operands.
std::vector<std::wstring> TakeOptions(const std::vector<std::wstring>& arguments, CommandLine& line,
                                      bool& isDone) {
    std::vector<std::wstring> words;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == L"--") {
            words.insert(words.end(), std::next(argument), arguments.end());
            break;
        }
        if (!argument->starts_with(L"--")) {
            words.push_back(*argument);
        } else if (*argument == L"--help" || *argument == L"--version") {
            line.command = *argument == L"--help" ? Command::Help : Command::Version;
            isDone = true;
        } else if (*argument == L"--json") {
            line.json = true;
        } else if (*argument == L"--show-secrets") {
            line.showSecrets = true;
        } else if (*argument == L"--file") {
            if (std::next(argument) == arguments.end() || std::next(argument)->empty()) {
                Reject(L"--file needs the path of a configuration file");
            }
            line.file = *++argument;
        } else {
            Reject(L"unknown option \"" + *argument + L"\"");
        }
    }
    return words;
}

void CheckName(const std::wstring& name) {
    if (name.empty() || name.find_first_of(L"/*") != std::wstring::npos) {
        Reject(L"\"" + name + L"\" is not the name of a group or key");
    }
}

} // namespace

CommandLine ParseCommandLine(const std::vector<std::wstring>& arguments) {
    CommandLine line;
    bool isDone = false;
    auto words = TakeOptions(arguments, line, isDone);
    if (isDone) {
        return line;
    }
    if (words.empty()) {
        Reject(L"no command given");
    }
    const auto* const form =
        std::find_if(std::begin(kForms), std::end(kForms),
                     [&](const CommandForm& candidate) { return words[0] == candidate.name; });
    if (form == std::end(kForms)) {
        Reject(L"unknown command \"" + words[0] + L"\"");
    }
    words.erase(words.begin());
    if (words.size() != form->operands) {
        Reject(std::wstring(form->name) + L" takes " + std::to_wstring(form->operands) + L" operands, not " +
               std::to_wstring(words.size()));
    }
    if (form->takesNames) {
        CheckName(words[0]);
        CheckName(words[1]);
    }
    if (line.json && form->command != Command::List) {
        Reject(L"--json goes with list only");
    }
    if (line.showSecrets && form->command != Command::List && form->command != Command::Get) {
        Reject(L"--show-secrets goes with get and list only");
    }
    line.command = form->command;
    line.operands = std::move(words);
    return line;
}

} // namespace steward::configtool
