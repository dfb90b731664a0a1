// examples/host.c, as its reader builds and runs it.
#include "e2e/Machine.h"
#include "support/ToolRun.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <filesystem>

namespace steward::test {

// Faults: an example that does not do what a host must: load by full path, look at every null, tell a failure
// from a success, ask for the restart.
TEST(Example, UpdatesAndSaysWhatCameOfIt) {
    namespace fs = std::filesystem;
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::wstring bin = fs::path(self).parent_path().wstring() + L"\\";
    const std::wstring fake = L"\"" + bin + L"fakePlugin.dll\" ";
    const std::wstring real = L"\"" + bin + L"driverSteward.dll\" \"" + _wgetenv(L"STEWARD_PACKAGES");
    RemoveDrivers();
    const std::tuple<std::wstring, unsigned, const char*> cases[] = {
        {fake + L"C:\\201A0001", 0, "plug-in 1.2.3 of module 7\n"},
        {fake + L"C:\\201A0002", 3010, "result: 0x201A0002\nrestart the machine: "},
        {fake + L"C:\\E01A000C", 1, "drivers: 0xE01A0008, version 1.2.3\nresult: 0xE01A000C\n"},
        {L"C:\\none.dll C:\\", 1, "C:\\none.dll, or a library that it needs, cannot be loaded: error"},
        {L"C:\\windows\\system32\\version.dll C:\\", 1, "this is no driver steward plug-in"},
        {fake + std::wstring(1024, L'x'), 2, "usage: exampleHost"},
        {L"", 2, "usage: exampleHost <driverSteward.dll> <package folder>"},
        {real + L"\\v1\"", 3010,
         "module 20005\ndrivers: 0xE01A0008, version 5.5.1256\nresult: 0x201A0002\nrestart "},
    };
    for (const auto& [arguments, exitCode, says] : cases) {
        const ToolRun run = RunTool(L"exampleHost.exe", arguments);
        EXPECT_EQ(run.exitCode, exitCode) << says;
        std::string text = run.output + run.errors;
        std::erase(text, '\r');
        EXPECT_THAT(text, testing::HasSubstr(says));
    }
    RemoveDrivers();
}

} // namespace steward::test
