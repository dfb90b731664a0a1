// stewardHost.exe as a user runs it: against a plug-in that answers as the case wants, and on the machine
// itself.
#include "support/ToolRun.h"

#include "e2e/Machine.h"
#include "support/ConfigFolder.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace steward::test {

namespace fs = std::filesystem;

static const ToolStreams kNoOutput = {.refusesOutput = true};
static const ToolStreams kNotElevated = {.isElevated = false};
static const std::wstring kFake = L"--plugin fakePlugin.dll ";

// In a folder with the fake plug-in, and package folders that are named after what it does for them.
static void GoToFakePackages() {
    fs::create_directories(L"C:\\pack\u00e4ge");
    fs::current_path(L"C:\\pack\u00e4ge");
    for (const wchar_t* const code :
         {L"201A0001", L"201A0002", L"E01A000B", L"E01A000C", L"ctrl-c", L"nested"}) {
        fs::create_directories(code);
    }
    fs::copy_file(BinFolder() / "fakePlugin.dll", "fakePlugin.dll", fs::copy_options::overwrite_existing);
    fs::remove("records.txt");
}

struct HostCase {
    std::wstring arguments;
    unsigned exitCode;
    const char* records; // that the plug-in is handed
    const char* says;    // a part of what is written
    ToolStreams streams = {};
};

// Faults: another exit code than documented; records after the one that ends the batch are handed over; an
// action or compare state that is not what the command says; a wrong call that reaches the plug-in; a refusal
// that takes more than a line, or says nothing of what to do; words of the plug-in between the answers; an
// interrupt that ends the record at hand or starts another; two hosts at once; a failed write that passes as
// success.
TEST(Host, RunsRecordsOneByOneOrRefuses) {
    const HostCase cases[] = {
        {kFake + L"status", 0, "", "not all running: "},
        {kFake + L"--force --wait 86400 install 201A0001", 0, "1/0/0 ", "\n   0x201A0001 success: done\n"},
        {kFake + L"--force uninstall 201A0002", 3010, "1/2/0 ", "\nA restart of the machine is required.\n"},
        {kFake + L"--force update --compare-state=0x7 E01A000B", 1, "1/1/7 ", "0xE01A000B procedure failed"},
        {kFake + L"--force rollback ..\\pack\u00e4ge/201A0001", 0, "1/1/1 ", "rollback C:\\pack"},
        {kFake + L"--force batch update=1000:201A0002 install:201A0001", 3010, "1/1/1000 1/0/0 ",
         "2. install"},
        {kFake + L"--force batch update:201A0002 install:E01A000B install:201A0001", 1, "1/1/2 1/0/0 1/0/0 ",
         "3. install"},
        {kFake + L"--force batch equal-update:201A0002 update:E01A000C install:201A0001", 1, "1/3/0 1/1/2 ",
         "\nThe batch ended here: 1 record(s) not processed.\n"},
        {kFake + L"--force batch install:ctrl-c install:201A0001", 1, "1/0/0 ", "\nInterrupted: 1 record"},
        {kFake + L"--force install nested", 0, "1/0/0 ", "\\nested) is at work on the drivers; "},
        {kFake + L"--force --json batch update:201A0002 install:E01A000C", 1, "1/1/2 1/0/0 ",
         "\"restartRequired\": true,"},
        {kFake + L"--force install 201A0001", 1, "1/0/0 ", "the output cannot be written; check", kNoOutput},
        {kFake + L"--force install 201A0001", 1, "",
         "stewardHost: this needs an administrator's rights; start it", kNotElevated},
        {kFake + L"status --strict", 1, "", "not everything is seen", kNotElevated},
        {kFake + L"install 201A0001", 1, "", "there is no C:\\pack\u00e4ge\\201A0001\\qxcomm.inf"},
        {kFake + L"install C:\\nowhere", 1, "", "there is no folder C:\\nowhere\\; check the path"},
        {kFake + L"batch install:201A0001 install:C:\\nowhere", 1, "", "there is no folder C:\\nowhere"},
        {kFake + L"update --compare-state 1000 201A0001", 1, "", "rejects compare state 1000; give"},
        {L"--version", 0, "", "\nplug-in 5.5.1256, owner module 20005\n"},
        {L"--plugin C:\\no.dll --version", 0, "", "\nplug-in unknown: there is no C:\\no.dll; "},
        {L"--plugin C:\\no.dll status", 1, "", "there is no C:\\no.dll; name the plug-in with --plugin"},
        {L"--plugin C:\\windows\\system32\\version.dll status", 1, "",
         "version.dll is no driver steward plug-in: it does not export Plugin_Interface_DriversDoAction, "},
        {L"-h", 0, "", "stewardHost batch <action>:<folder> ..."},
        {L"install \"C:\\a b\\\" --force", 2, "", "an argument contains a double quote: "},
        {L"install C:\\ --compare-state 1", 2, "", "does not go with install; it goes with update check"},
        {L"update C:\\ --compare-state \"\"", 2, "", "'' is no compare state: a number from 0"},
        {L"update C:\\ --compare-state 4294967296", 2, "", "'4294967296' is no compare state"},
        {L"install C:\\ --wait 86401", 2, "", "'86401' is no number of seconds"},
        {L"install C:\\ --log 1 --log=2", 2, "", "--log is given twice"},
        {L"check remove C:\\", 2, "", "'remove' is no action: install, "},
        {L"batch install:C:\\ remove:C:\\", 2, "", "'remove:C:\\' is no record: <action>:<folder> is"},
        {L"install " + std::wstring(1024, L'x'), 2, "", "move the package to a path of at most 1023"},
    };
    for (const HostCase& each : cases) {
        SCOPED_TRACE(each.says);
        GoToFakePackages();
        const ToolRun run = RunTool(L"stewardHost.exe", each.arguments, each.streams);
        EXPECT_EQ(run.exitCode, each.exitCode);
        EXPECT_THAT(run.output + run.errors, testing::HasSubstr(each.says));
        EXPECT_EQ(ReadWholeFile(L"records.txt"), each.records);
        EXPECT_THAT(run.output, testing::Not(testing::HasSubstr("NOISE")));
        if (each.exitCode == 2) {
            EXPECT_THAT(run.errors, testing::StartsWith("stewardHost: "));
            EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1);
            EXPECT_EQ(run.output, "");
        }
    }
}

const std::wstring kLongName(224, L'x'); // "C:\pk\" and these: 230 characters

// Copies of the sample package with something amiss, and its two versions, below C:\pk.
static void MakePackages() {
    const fs::path samples = _wgetenv(L"STEWARD_PACKAGES");
    fs::remove_all("C:\\pk");
    fs::create_directory("C:\\pk");
    for (const std::wstring copy :
         {L"v1", L"no-sys", L"no-cat", L"no-driver", L"program", L"no-section", kLongName.c_str()}) {
        fs::copy(samples / "v1", L"C:\\pk\\" + copy);
    }
    fs::copy(samples / "v2", "C:\\pk\\v2");
    fs::copy(samples / "unsigned-qxevtmgr", "C:\\pk\\unsigned-qxevtmgr");
    fs::remove("C:\\pk\\no-sys\\qxevtmgr.sys");
    fs::create_directory("C:\\pk\\no-sys\\qxevtmgr.sys");
    fs::remove("C:\\pk\\no-cat\\qxactmon.cat");
    std::ofstream("C:\\pk\\no-driver\\qxcomm.sys") << "MZ";
    fs::copy_file(BinFolder() / "traceSink.dll", "C:\\pk\\program\\qxcomm.sys",
                  fs::copy_options::overwrite_existing);
    std::ofstream("C:\\pk\\no-section\\qxcomm.inf") << "[Version]\nSignature=\"$WINDOWS NT$\"\n";
}

// No commands: the next one begins on such a machine.
constexpr wchar_t kWithoutDrivers[] = L"";
constexpr wchar_t kReplacedAtRestart[] = L"v2\\qxcomm.sys";

struct MachineCase {
    std::wstring arguments;
    unsigned exitCode = 0;
    const char* says = ""; // parts of what is written, separated by '|'
    bool changes = false;  // the machine
};

// Faults: an action starts although its package or the machine cannot let it succeed; a check or a refusal
// changes something; what is foretold is not what comes; the status hides a pending removal or a missing
// file.
TEST(Host, LooksBeforeItActsAndSaysWhatIsThere) {
    MakePackages();
    RemoveDrivers();
    UnregisterService(L"ORPL"); // without the platform: its sections and its policy
    ConfigFolder().SetInstallDir(false);
    const MachineCase cases[] = {
        {L"status", 0, "none present|not installed|code 100|restart   none"},
        {L"status --strict", 1, ""},
        {L"check uninstall C:\\pk\\v1", 1, "qxactmon: it is not installed: the removal ends there with"},
        {L"install C:\\pk\\no-sys", 1, "no C:\\pk\\no-sys\\qxevtmgr.sys; complete|nothing was touched"},
        {L"install C:\\pk\\no-driver", 1, "qxcomm.sys: it is no program image, or cannot be read; replace"},
        {L"install C:\\pk\\program", 1, "qxcomm.sys: it is no 64-bit native image; replace"},
        {L"install C:\\pk\\no-section", 1, "qxcomm.inf has no section [DefaultInstall]; use a package for"},
        {L"install C:\\pk\\" + kLongName, 1, "has 230 characters, too many for setup|at most 227"},
        {L"check install C:\\pk\\unsigned-qxevtmgr", 0, "warning: qxevtmgr: |carries no valid signature"},
        {L"check install C:\\pk\\v1", 0,
         "5.5.0.1256|Sample Signer|\nwould: run the install section of 3 INF files, start 3 drivers\n"},
        {L"check rollback C:\\pk\\v1", 0, "would: keep what is there (qxcomm belongs to"},
        {L"check update C:\\pk\\v1", 3010, "section of 3 INF files, rename 3 images, "},
        {L"update C:\\pk\\v1", 3010, "A restart of the machine is required", true},
        {L"status --strict", 3010, "restart   qxcomm will be loaded, "},
        {L"check uninstall C:\\pk\\v1", 0, "verdict: would succeed\n"},
        {kReplacedAtRestart},
        {L"status", 0, "restart   qxcomm will be replaced by 5.6.0.1300, "},
        {kWithoutDrivers},
        {L"install C:\\pk\\v1", 0, "success: done", true},
        {L"status --strict", 0, "running|1, platform"},
        {L"check update C:\\pk\\v1", 3010, "there\nwould: rename 3 images, "}, // no word of an older one
        {L"check update C:\\pk\\v2", 3010, "rename 3 images, copy 3 .sys and 3 .cat, then a restart"},
        {L"update C:\\pk\\no-cat", 1, "there is no C:\\pk\\no-cat\\qxactmon.cat"},
        {L"update C:\\pk\\v2 --trace --log-level 5", 3010,
         "old image: qxcomm (5.5.0.1256), |no call tree: calls", true},
        {L"status --strict", 3010, "qxcomm will be replaced by 5.6.0.1300"},
        {L"update C:\\pk\\v2", 3010, "", true}, // now two old images wait, of which the first one runs
        {L"status --json", 0, "\"loadedVersion\": \"5.5.0.1256\""},
        {L"check update C:\\pk\\v1", 3010, "than the installed 5.6.0.1300|waits for the next restart"},
        {L"uninstall C:\\pk\\v2", 3010, "A restart of the machine is required", true},
        {L"status --strict", 3010, "will be removed|restart   qxcomm will be removed, "},
        {L"install C:\\pk\\v1", 1, "qxcomm: its service is marked for deletion; restart first"},
    };
    for (const MachineCase& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.arguments) + each.says);
        if (each.arguments == kWithoutDrivers) {
            RemoveDrivers();
            continue;
        }
        if (each.arguments == kReplacedAtRestart) {
            MoveFileExW(L"C:\\pk\\v2\\qxcomm.sys", (kDriversFolder + L"qxcomm.sys").c_str(),
                        MOVEFILE_DELAY_UNTIL_REBOOT | MOVEFILE_REPLACE_EXISTING);
            continue;
        }
        const auto before = MachineState();
        const ToolRun run = RunTool(L"stewardHost.exe", each.arguments);
        EXPECT_EQ(run.exitCode, each.exitCode) << run.errors;
        std::istringstream says(each.says);
        for (std::string part; std::getline(says, part, '|');) {
            EXPECT_THAT(run.output + run.errors, testing::HasSubstr(part));
        }
        EXPECT_EQ(MachineState() != before, each.changes);
    }
    RemoveDrivers();
}

// Faults: a value forges a line of the log, or hides a part of one; logs pile up.
TEST(Host, LogsARecordInOneLineAndKeepsTwentyLogs) {
    RunTool(L"stewardHost.exe",
            L"--force install \"C:\\new\r\n2026\x1b[31m\t\x7f\x85\u2028 \u263a\" --log C:\\one.log");
    EXPECT_THAT(ReadWholeFile(L"C:\\one.log"),
                testing::HasSubstr("for C:\\new<0D><0A>2026<1B>[31m<09><7F><85><2028> \xE2\x98\xBA\\"));
    const std::string logs = "C:\\ProgramData\\driverSteward\\logs\\";
    fs::remove_all(logs);
    fs::create_directories(logs);
    for (int second = 10; second < 40; ++second) {
        std::ofstream(logs + "20200101-0000" + std::to_string(second) + "-update-1.log");
    }
    RunTool(L"stewardHost.exe", L"--force install C:\\new");
    EXPECT_EQ(std::distance(fs::directory_iterator(logs), {}), 20);
    EXPECT_TRUE(fs::exists(logs + "20200101-000039-update-1.log"));
}

// Faults: an example that does not look at every null, tell a failure from a success, or ask for the restart.
TEST(Host, ExampleUpdatesAndSaysWhatCameOfIt) {
    RemoveDrivers();
    const std::wstring bin = BinFolder().wstring();
    const std::tuple<std::wstring, unsigned, const char*> cases[] = {
        {L"C:\\none.dll C:\\", 1, "C:\\none.dll, or a library that it needs, cannot be loaded: error"},
        {L"C:\\windows\\system32\\version.dll C:\\", 1, "this is no driver steward plug-in"},
        {L"", 2, "usage: exampleHost <driverSteward.dll> <package folder>"},
        {L"\"" + bin + L"\\fakePlugin.dll\" C:\\E01A000C", 1, "result: 0xE01A000C"},
        {L"\"" + bin + L"\\driverSteward.dll\" \"" + _wgetenv(L"STEWARD_PACKAGES") + L"\\v1\"", 3010,
         "restart the machine"},
    };
    for (const auto& [arguments, exitCode, says] : cases) {
        const ToolRun run = RunTool(L"exampleHost.exe", arguments);
        EXPECT_EQ(run.exitCode, exitCode) << says;
        EXPECT_THAT(run.output + run.errors, testing::HasSubstr(says));
    }
    RemoveDrivers();
}

// Faults: a tool that does not start without the platform's libraries, or does not say which is missing
// where; a plug-in that is served from the wrong folder.
TEST(Host, SaysWhichLibraryIsMissing) {
    const fs::path bin = BinFolder();
    fs::remove_all("C:\\alone");
    fs::create_directories("C:\\alone\\plugin");
    fs::copy(bin / "stewardHost.exe", "C:\\alone");
    fs::copy(bin / "driverSteward.dll", "C:\\alone\\plugin");
    const std::wstring status = L"--plugin C:\\alone\\plugin\\driverSteward.dll status";
    const auto host = [&](const std::wstring& arguments) {
        return RunTool(L"C:\\alone\\stewardHost.exe", arguments);
    };

    EXPECT_EQ(host(L"--help").exitCode, 0U);
    EXPECT_THAT(host(L"--version").output,
                testing::HasSubstr("plug-in unknown: there is no C:\\alone\\driverSteward.dll"));
    const ToolRun refused = host(status);
    EXPECT_EQ(refused.exitCode, 1U);
    EXPECT_THAT(refused.errors,
                testing::HasSubstr("traceSink.dll, setupKit.dll is missing in C:\\alone\\plugin\\; put"));
    fs::copy(bin / "traceSink.dll", "C:\\alone");
    fs::copy(bin / "setupKit.dll", "C:\\alone\\plugin");
    EXPECT_THAT(host(status).output, testing::HasSubstr("none present"));
    fs::remove_all("C:\\alone");
}

} // namespace steward::test
