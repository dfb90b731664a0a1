// stewardHost.exe as a user runs it, against a plug-in that answers as the case wants.
#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace steward::test {

namespace {

constexpr unsigned kRestartRequired = 3010;

// The fake plug-in reads the code that it answers from the folder's last name.
const std::wstring kDone = L"C:\\pack\u00e4ge\\201A0001";
const std::wstring kRestart = L"C:\\pack\u00e4ge\\201A0002";
const std::wstring kAborted = L"C:\\pack\u00e4ge\\E01A000C";
const std::wstring kFailed = L"C:\\pack\u00e4ge\\E01A000B";

const std::string kTable =
    "not all running: drivers are present, but not all are running (0xE01A0008), version 1.2.3\n"
    "   driver    service        file          loaded image\n"
    "   qxcomm    not installed  none          -\n"
    "   qxevtmgr  not installed  none          -\n"
    "   qxactmon  not installed  none          -\n";

class Host : public testing::Test {
  protected:
    Host() {
        CreateDirectoryW(L"C:\\pack\u00e4ge", nullptr);
        for (const std::wstring& folder : {kDone, kRestart, kAborted, kFailed}) {
            CreateDirectoryW(folder.c_str(), nullptr);
        }
        SetEnvironmentVariableW(L"FAKE_PLUGIN_RECORDS", records_.c_str());
        DeleteFileW(records_.c_str());
    }

    static ToolRun Run(const std::wstring& arguments) {
        return RunTool(L"stewardHost.exe", L"--plugin fakePlugin.dll " + arguments);
    }

    const std::wstring records_ = L"C:\\records.txt";
};

} // namespace

// Faults: another exit code than documented; records after the one that ends the batch are handed over; an
// action or compare state that is not what the command says.
TEST_F(Host, RunsRecordsOneByOne) {
    struct Case {
        std::wstring arguments;
        unsigned exitCode;
        std::string output; // before the table
        std::string after;
        std::string records;
    };
    const std::string ended =
        "   0xE01A000C failed, batch aborted: a driver is unsigned, could not be installed, "
        "replaced, removed or started\n";
    const Case cases[] = {
        {L"install " + kDone, 0, "1. install C:\\pack\u00e4ge\\201A0001\n   0x201A0001 success: done\n", "",
         "1 action 0 compare 0\n"},
        {L"uninstall " + kRestart, kRestartRequired,
         "1. uninstall C:\\pack\u00e4ge\\201A0002\n   0x201A0002 restart required: done; complete after the "
         "next restart "
         "of the machine\n",
         "A restart of the machine is required.\n", "1 action 2 compare 0\n"},
        {L"update --compare-state 0x7 " + kFailed, 1,
         "1. update C:\\pack\u00e4ge\\E01A000B\n   0xE01A000B procedure failed: a driver could not be "
         "stopped or "
         "started\n",
         "", "1 action 1 compare 7\n"},
        {L"rollback C:\\pack\u00e4ge\\..\\pack\u00e4ge\\201A0001", 0,
         "1. rollback C:\\pack\u00e4ge\\201A0001\n   0x201A0001 success: done\n", "",
         "1 action 1 compare 1\n"},
        {L"batch equal-update:" + kDone + L" update:" + kAborted + L" install:" + kDone, 1,
         "1. equal-update C:\\pack\u00e4ge\\201A0001\n   0x201A0001 success: done\n2. update "
         "C:\\pack\u00e4ge\\E01A000C\n" +
             ended + "The batch ended here: 1 record(s) not processed.\n",
         "", "1 action 3 compare 0\n1 action 1 compare 2\n"},
        {L"batch update=1000:" + kRestart + L" install:" + kDone, kRestartRequired,
         "1. update C:\\pack\u00e4ge\\201A0002\n   0x201A0002 restart required: done; complete after the "
         "next restart of "
         "the machine\n2. install C:\\pack\u00e4ge\\201A0001\n   0x201A0001 success: done\n",
         "A restart of the machine is required.\n", "1 action 1 compare 1000\n1 action 0 compare 0\n"},
        {L"status", 0, "", "", ""},
    };
    for (const Case& each : cases) {
        DeleteFileW(records_.c_str());
        const ToolRun run = Run(each.arguments);
        EXPECT_EQ(run.exitCode, each.exitCode);
        EXPECT_EQ(run.output, each.output + kTable + each.after);
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(ReadWholeFile(records_), each.records);
    }
}

TEST_F(Host, SpeaksJson) {
    const ToolRun run = Run(L"--json install " + kDone);
    EXPECT_EQ(run.exitCode, 0U);
    EXPECT_EQ(
        run.output,
        "{\"records\":[{\"action\":\"install\",\"folder\":\"C:\\\\pack\u00e4ge\\\\201A0001\",\"code\":"
        "\"0x201A0001\","
        "\"name\":\"success\",\"meaning\":\"done\"}],\"report\":{\"code\":\"0xE01A0008\",\"name\":\"not all "
        "running\",\"meaning\":\"drivers are present, but not all are running\",\"version\":\"1.2.3\"},"
        "\"drivers\":[{\"name\":\"qxcomm\",\"service\":\"not installed\",\"file\":\"none\",\"loaded\":null},"
        "{\"name\":\"qxevtmgr\",\"service\":\"not installed\",\"file\":\"none\",\"loaded\":null},"
        "{\"name\":\"qxactmon\",\"service\":\"not installed\",\"file\":\"none\",\"loaded\":null}]}\n");
}

// Faults: a wrong call reaches the plug-in, or says nothing of what to do.
TEST_F(Host, RefusesWrongUsage) {
    const auto see = [](const std::string& what) {
        return "stewardHost: " + what + "; see stewardHost --help\n";
    };
    const std::pair<std::wstring, std::string> cases[] = {
        {L"", see("a command is missing")},
        {L"instal C:\\", see("unknown command 'instal'")},
        {L"install", see("a package folder is missing after 'install'")},
        {L"install C:\\ D:\\", see("'D:\\' is one argument too many")},
        {L"status C:\\", see("'C:\\' is one argument too many")},
        {L"install C:\\ --compare-state 1", see("only update takes --compare-state")},
        {L"update C:\\ --compare-state", see("a value is missing after --compare-state")},
        {L"update C:\\ --compare-state -1",
         see("'-1' is no compare state: a number from 0 to 4294967295 is")},
        {L"update C:\\ --compare-state 4294967296",
         see("'4294967296' is no compare state: a number from 0 to 4294967295 is")},
        {L"install C:\\ --fast", see("unknown option --fast")},
        {L"batch", see("a record is missing after 'batch'")},
        {L"batch install", see("'install' is no record: <action>:<folder> is")},
        {L"batch remove:C:\\", see("'remove:C:\\' is no record: <action>:<folder> is")},
        {L"batch install=1:C:\\", see("only update takes a compare state")},
        {L"install C:\\" + std::wstring(1024, L'x'),
         "stewardHost: the package folder's path has 1027 characters; move the package to a path of at most "
         "1023\n"},
    };
    for (const auto& [arguments, message] : cases) {
        const ToolRun run = Run(arguments);
        EXPECT_EQ(run.exitCode, 2U);
        EXPECT_EQ(run.errors, message);
        EXPECT_EQ(run.output, "");
    }
    EXPECT_EQ(ReadWholeFile(records_), "");
}

// Faults: a crash, or no word, where the plug-in is not what it should be; a folder that is not there goes
// unnoticed.
TEST_F(Host, NamesWhatIsMissing) {
    ToolRun run = RunTool(L"stewardHost.exe", L"--plugin C:\\no.dll status");
    EXPECT_EQ(run.exitCode, 1U);
    EXPECT_EQ(run.errors,
              "stewardHost: cannot load C:\\no.dll (Windows error 126); name the plug-in with --plugin, and "
              "keep traceSink.dll and setupKit.dll beside it\n");
    run = RunTool(L"stewardHost.exe", L"--plugin setupKit.dll status");
    EXPECT_EQ(run.exitCode, 1U);
    EXPECT_EQ(run.errors,
              "stewardHost: setupKit.dll is no driver steward plug-in: it does not export "
              "Plugin_Interface_DriversDoAction, Plugin_Interface_EnumerateDriversInfo, "
              "Plugin_Interface_GetHelperOwnerModuleID, Plugin_Interface_GetModuleVersion; name another "
              "with --plugin\n");
    run = Run(L"install C:\\nowhere\\201A0001");
    EXPECT_EQ(run.exitCode, 0U);
    EXPECT_EQ(run.errors, "stewardHost: warning: there is no folder C:\\nowhere\\201A0001; check the path\n");
    EXPECT_EQ(ReadWholeFile(records_), "1 action 0 compare 0\n");
}

TEST_F(Host, SaysItsVersionAndThePlugIns) {
    EXPECT_EQ(Run(L"--version").output, "stewardHost 5.5.0.1256\nplug-in 1.2.3, owner module 7\n");
    EXPECT_EQ(RunTool(L"stewardHost.exe", L"--version").output,
              "stewardHost 5.5.0.1256\nplug-in 5.5.1256, owner module 20005\n");
    EXPECT_EQ(Run(L"--help").exitCode, 0U);
}

} // namespace steward::test
