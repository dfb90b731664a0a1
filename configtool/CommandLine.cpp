#include "CommandLine.h"

#include "Files.h"
#include "util/Utf8.h"

#include <cwchar>

namespace steward::configtool {

namespace {

constexpr unsigned kDefaultWait = 10;
constexpr unsigned long kLongestWait = 3'600;

constexpr tools::CommandForm kCommands[] = {
    {"get", "<group> <key>", 2, 2, "prints one value",
     "The value alone, as the plug-in reads it: of several keys of one name the first. A password is shown "
     "as\n"
     "stars unless --show-secrets is given.\n",
     "stewardConfig get ORPL_ALL ORPL_CFG_SP_MODULE_LOAD"},
    {"set", "<group> <key> <value>", 3, 3, "changes one value; - reads it from standard input",
     "With - as its value, it is read from standard input: from a console one line, which is not shown; from "
     "a\n"
     "file or pipe everything, in UTF-8, without the last line break. Passwords are taken in this way only: "
     "a\n"
     "command line can be seen by every user. So is a value that holds a double quote.\n"
     "A value that begins with a dash follows \"--\". Blanks at a value's ends, and double ones, do not "
     "survive\n"
     "in the file and are refused. The key must exist unless --create is given.\n",
     "stewardConfig set ORPL_ALL ORPL_CFG_SP_MODULE_LOAD 1"},
    {"list", "", 0, 0, "prints every group, key and value, separated by tabs",
     "Line breaks, tabs and other control characters in a value are shown as \\n, \\r, \\t and \\x1b; a "
     "program\n"
     "had better read --json. Passwords are shown as stars unless --show-secrets is given.\n",
     "stewardConfig list --json"},
    {"export", "<xml>", 1, 1, "writes the configuration as readable XML, passwords included",
     "The file is made for you alone (its access list names no other user), or replaced by such a one; "
     "delete\n"
     "it when you are done. The configuration itself is refused as the target.\n",
     "stewardConfig export C:\\Temp\\configuration.xml"},
    {"import", "<xml>", 1, 1, "replaces the configuration by readable XML, or creates it",
     "UTF-8, with <SysConfigManager> as the root element. Values that the file would not keep as they are\n"
     "(blanks written as &#32; at a value's ends) are refused; comments outside the root element are "
     "dropped.\n",
     "stewardConfig import C:\\Temp\\configuration.xml"},
};

constexpr tools::OptionForm kOptions[] = {
    {"--file", "<system_config.cfg>",
     "this configuration; otherwise the one in the folder that the registry\n"
     "value \"InstallDir\" under HKEY_LOCAL_MACHINE\\SOFTWARE\\Vexholm\\ORPL names",
     nullptr},
    {"--json", nullptr, "the answer as JSON in ASCII, failures and wrong usage too", nullptr},
    {"--show-secrets", nullptr, "print the values of passwords", "get list"},
    {"--create", nullptr, "add the key, and its group, when it is missing", "set"},
    {"--wait", "<seconds>",
     "how long to wait for another process that changes the\n"
     "configuration (10)",
     "set import"},
};

constexpr char kFooter[] =
    R"(A change is written to a file beside the configuration, read back, and takes its place when it is complete;
access list and attributes stay. The plug-in reads the configuration once per process: restart its host.

Exit codes
  0  done
  1  failed; one line on standard error says why and what to do, and nothing was changed
  2  wrong usage; nothing was done
)";

} // namespace

constexpr tools::ToolForm kTool = {"stewardConfig",
                                   "reads and changes the platform's configuration, system_config.cfg",
                                   kCommands, kOptions, kFooter};

std::wstring ConfigurationPath(const tools::ReadLine& line) {
    const std::wstring* const file = line.Find("--file");
    if (file != nullptr && file->empty()) {
        Refuse(line, "--file needs the path of a configuration, not an empty text");
    }
    return file == nullptr ? InstalledConfiguration() : FullPath(*file);
}

unsigned SecondsToWait(const tools::ReadLine& line) {
    const std::wstring* const text = line.Find("--wait");
    if (text == nullptr) {
        return kDefaultWait;
    }
    const bool isNumber = !text->empty() && text->find_first_not_of(L"0123456789") == std::wstring::npos;
    const unsigned long seconds = std::wcstoul(text->c_str(), nullptr, 10);
    if (!isNumber || seconds > kLongestWait) {
        Refuse(line, "--wait takes seconds from 0 to " + std::to_string(kLongestWait) + ", not '" +
                         Utf8FromWide(*text) + "'");
    }
    return static_cast<unsigned>(seconds);
}

std::wstring OperandPath(const tools::ReadLine& line, size_t index) {
    if (line.operands[index].empty()) {
        Refuse(line, "the path is empty");
    }
    return FullPath(line.operands[index]);
}

void Refuse(const tools::ReadLine& line, const std::string& what) {
    tools::RefuseUsage(kTool, line.command, what);
}

} // namespace steward::configtool
