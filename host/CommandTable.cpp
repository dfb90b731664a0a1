// What a command line of stewardHost may hold.
#include "CommandLine.h"

namespace steward::host {

using tools::CommandForm;
using tools::kAnyNumber;
using tools::OptionForm;

namespace {

constexpr CommandForm kCommands[] = {
    {"status", "", 0, 0, "state and versions of the drivers, policy, pending restart",
     "Changes nothing. Without an administrator's rights it shows what can be seen.\n"
     "Answers 0 whatever it sees; with --strict 0 all well, 3010 a restart is pending, 1 otherwise.\n",
     "stewardHost status --strict"},
    {"check", "<action> <folder>", 2, 2, "what an action would do, and what would keep it from succeeding",
     "Changes nothing. <action> is install, uninstall, update, equal-update or rollback.\n"
     "Answers 0, 3010 the action would need a restart, 1 it would be refused.\n",
     "stewardHost check update C:\\packages\\v2"},
    {"install", "<folder>", 1, 1, "install and start the package's drivers",
     "Needs an administrator, and of each driver .inf and .sys in the folder. Drivers that run already keep\n"
     "their loaded image; use update to replace them.\n",
     "stewardHost install C:\\packages\\v1"},
    {"uninstall", "<folder>", 1, 1, "remove the drivers by the package's INF files",
     "Needs an administrator, and the .inf of each driver in the folder. The shared driver stays while "
     "other\n"
     "products hold it. From Windows 8 on a running driver is gone after the next restart.\n",
     "stewardHost uninstall C:\\packages\\v1"},
    {"update", "<folder>", 1, 1, "bring the drivers to the package's versions",
     "Needs an administrator, and .sys and (on Windows 10) .cat of each driver in the folder. Up to Windows "
     "7\n"
     "the drivers are stopped and started, from Windows 8 on a restart completes the update.\n",
     "stewardHost update C:\\packages\\v2 --wait 60"},
    {"equal-update", "<folder>", 1, 1, "the same, going on past a driver that does not stop",
     "As update. A driver that does not stop is replaced at the next restart.\n",
     "stewardHost equal-update C:\\packages\\v2"},
    {"rollback", "<folder>", 1, 1, "go back to the package's drivers",
     "As equal-update. When another product put the shared driver there, drivers that exist are kept, "
     "missing\n"
     "ones installed and all started.\n",
     "stewardHost rollback C:\\packages\\v1"},
    {"batch", "<action>:<folder> ...", 1, kAnyNumber, "several records one after the other",
     "<action> is one of the above; update=N:<folder> sets the compare state. As in the plug-in's own "
     "batch,\n"
     "0xE01A000C ends it. A package that lacks something keeps the whole batch from starting.\n",
     "stewardHost batch uninstall:C:\\packages\\v1 install:C:\\packages\\v2"},
    {"trace", "<log file>", 1, 1, "a log as a tree of calls, with times and failures",
     "Reads a log that the development traceSink.dll wrote at level 1 or 2. Needs no plug-in and no rights "
     "but\n"
     "to read the file. Failures are marked by '!', conditions by '-'.\n",
     "stewardHost trace C:\\logs\\20260102-030405-update-1234.log"},
    {"diag", "[file]", 0, 1, "all that a support case needs, in one text or JSON file",
     "Changes nothing, and works without the plug-in and the platform's libraries. With --json, or into a "
     "file\n"
     "whose name ends in .json, it is JSON. Passwords of the configuration are shown as stars; look through "
     "the\n"
     "file before you send it nevertheless. --package adds a package's files.\n",
     "stewardHost diag C:\\case.txt --package C:\\packages\\v2"},
};

constexpr char kLogged[] = "install uninstall update equal-update rollback batch check status";
constexpr char kLoading[] = "install uninstall update equal-update rollback batch check status diag";
constexpr char kActions[] = "install uninstall update equal-update rollback batch";

constexpr OptionForm kOptions[] = {
    {"--plugin", "<dll>", "the plug-in to load (driverSteward.dll beside this program)", kLoading},
    {"--json", nullptr, "one JSON object instead of text", nullptr},
    {"--compare-state", "<n>", "DrvInfo's compare_state, 0 to 4294967295 (2)", "update check"},
    {"--force", nullptr, "without the check that each action runs first", kActions},
    {"--wait", "<seconds>", "wait so long for another host to finish", kActions},
    {"--trace", nullptr, "show the plug-in's log as a tree of calls", kActions},
    {"--log", "<file>",
     "where the plug-in's log goes; each action has a file of its own in\n"
     "%ProgramData%\\driverSteward\\logs unless told",
     kLogged},
    {"--log-level", "<n>", "1 everything, 2 calls and failures, 5 failures, 0 nothing (2)", kLogged},
    {"--package", "<folder>", "a package whose files are to be in the report, too", "diag"},
    {"--strict", nullptr, "0 all well, 3010 a restart is pending, 1 otherwise", "status"},
    {"--watch", "[seconds]", "again and again on a console, every 2 seconds unless told", "status"},
};

constexpr char kFooter[] =
    "Each record is handed to the plug-in by a call of its own, so that every record's result is known.\n"
    "Standard output carries the answer alone; what the plug-in prints goes to standard error.\n"
    "Ctrl-C lets the record at hand finish and starts no further one.\n"
    "\n"
    "Exit code: 0 success, 3010 restart required, 1 failure or refused, 2 wrong usage.\n";

} // namespace

const tools::ToolForm kTool{"stewardHost", "a command-line service host for driverSteward.dll", kCommands,
                            kOptions, kFooter};

} // namespace steward::host
