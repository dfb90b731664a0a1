// stewardHost.exe as a user runs it, against a plug-in that answers as the case wants.
#include "support/ToolRun.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace steward::test {

namespace fs = std::filesystem;

// In a folder with package folders that are named after the codes that the plug-in answers for them.
static ToolRun RunHost(const std::wstring& arguments) {
    for (const wchar_t* const code : {L"201A0001", L"201A0002", L"E01A000B", L"E01A000C"}) {
        fs::create_directories(std::wstring(L"C:\\pack\u00e4ge\\") + code);
    }
    fs::current_path(L"C:\\pack\u00e4ge");
    fs::remove("records.txt");
    return RunTool(L"stewardHost.exe", L"--plugin fakePlugin.dll " + arguments);
}

// Faults: another exit code than documented; records after the one that ends the batch are handed over; an
// action or compare state that is not what the command says; a wrong call that reaches the plug-in; a refusal
// that takes more than a line, or says nothing of what to do; a plug-in that is none ends in a crash.
TEST(Host, RunsRecordsOneByOneOrRefuses) {
    // Arguments, exit code, what the plug-in is handed, a part of what is written.
    const std::tuple<std::wstring, unsigned, const char*, const char*> cases[] = {
        {L"status", 0, "", "not all running: "},
        {L"install 201A0001", 0, "1/0/0 ", "\n   0x201A0001 success: done\n"},
        {L"uninstall 201A0002", 3010, "1/2/0 ", "\nA restart of the machine is required.\n"},
        {L"update --compare-state 0x7 E01A000B", 1, "1/1/7 ", "0xE01A000B procedure failed: "},
        {L"rollback ..\\pack\u00e4ge/201A0001", 0, "1/1/1 ", "rollback C:\\pack\u00e4ge\\201A0001\n"},
        {L"batch update=1000:201A0002 install:201A0001", 3010, "1/1/1000 1/0/0 ", "2. install C:"},
        {L"batch update:201A0002 install:E01A000B install:201A0001", 1, "1/1/2 1/0/0 1/0/0 ", "3. install"},
        {L"batch equal-update:201A0002 update:E01A000C install:201A0001", 1, "1/3/0 1/1/2 ",
         "1. equal-update C:\\pack\u00e4ge\\201A0002\n"
         "   0x201A0002 restart required: done; complete after the next restart of the machine\n"
         "2. update C:\\pack\u00e4ge\\E01A000C\n   0xE01A000C failed, batch aborted: a driver is unsigned, "
         "could not be installed, replaced, removed or started\n"
         "The batch ended here: 1 record(s) not processed.\n"
         "not all running: drivers are present, but not all are running (0xE01A0008), version 1.2.3\n"
         "   driver    service        file          loaded image\n"
         "   qxcomm    not installed  none          -\n"},
        {L"--json install 201A0001", 0, "1/0/0 ",
         "{\"records\":[{\"action\":\"install\",\"folder\":\"C:\\\\pack\u00e4ge\\\\201A0001\",\"code\":"
         "\"0x201A0001\",\"name\":\"success\",\"meaning\":\"done\"}],\"report\":{\"code\":\"0xE01A0008\","},
        {L"install C:\\nowhere\\201A0001", 0, "1/0/0 ", "warning: there is no folder C:\\nowhere"},
        {L"--version", 0, "", "stewardHost 5.5.0.1256\nplug-in 1.2.3, owner module 7\n"},
        {L"", 2, "", "a command is missing; see stewardHost --help"},
        {L"instal C:\\", 2, "", "unknown command 'instal'; see"},
        {L"install", 2, "", "a package folder is missing after 'install'"},
        {L"install C:\\ D:\\", 2, "", "'D:\\' is one argument too many"},
        {L"install C:\\ --compare-state 1", 2, "", "only update takes --compare-state"},
        {L"update C:\\ --compare-state -1", 2, "", "'-1' is no compare state: a number from 0"},
        {L"update C:\\ --compare-state 4294967296", 2, "", "'4294967296' is no compare state"},
        {L"install C:\\ --fast", 2, "", "unknown option --fast"},
        {L"batch", 2, "", "a record is missing after 'batch'"},
        {L"batch install:C:\\ remove:C:\\", 2, "", "'remove:C:\\' is no record: <action>:<folder> is"},
        {L"install " + std::wstring(1024, L'x'), 2, "", "move the package to a path of at most 1023"},
        {L"--plugin C:\\no.dll status", 1, "", "cannot load C:\\no.dll (Windows error 126); name"},
        {L"--plugin setupKit.dll status", 1, "",
         "setupKit.dll is no driver steward plug-in: it does not export Plugin_Interface_DriversDoAction, "},
    };
    for (const auto& [arguments, exitCode, records, says] : cases) {
        SCOPED_TRACE(says);
        const ToolRun run = RunHost(arguments);
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_THAT(run.output + run.errors, testing::HasSubstr(says));
        EXPECT_EQ(ReadWholeFile(L"records.txt"), records);
        EXPECT_EQ(run.output.empty(), exitCode != 0 && *records == '\0');
        if (!run.errors.empty()) {
            EXPECT_THAT(run.errors, testing::StartsWith("stewardHost: "));
            EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1);
        }
    }
}

} // namespace steward::test
