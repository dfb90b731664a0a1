// What a host can do to the plug-in, and what becomes of the machine then.
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "e2e/WindowsVersion.h"
#include "support/ToolRun.h"
#include "util/Handles.h"

#include "setupKit.h"

#include <gmock/gmock.h>

#include <psapi.h>

#include <algorithm>

namespace steward::test {

namespace {

const std::string kVersion1 = "5.5.0.1256";
const std::string kVersion2 = "5.6.0.1300";
constexpr int kKilled = 77;

std::string Code(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", code);
    return text;
}

class Robustness : public testing::Test {
  protected:
    Robustness() {
        RemoveDrivers();
        UnregisterService(L"ORPL");
    }
    ~Robustness() override { RemoveDrivers(); }

    void Install() { ASSERT_EQ(Code(plugin_.Act(INSTALL, Package(L"v1"))), Code(DS_SUCCESS)); }

    static std::string Versions() {
        std::string text;
        for (const std::wstring& driver : kDrivers) {
            text += VersionOf(kDriversFolder + driver + L".sys") + " ";
        }
        return text;
    }

    static std::string States() {
        std::string text;
        for (const std::wstring& driver : kDrivers) {
            text += ServiceState(driver) + " ";
        }
        return text;
    }

    Plugin plugin_;
};

} // namespace

// The host of the next test: dies between the renaming and the copying of the second file.
TEST_F(Robustness, DISABLED_HostKilledInsideAnUpdate) {
    const ImportPatch<"Copy", decltype(Copy)> copy(
        plugin_.Module(),
        [&](const wchar_t* to, const wchar_t* from, BOOL overwrite, uint32_t* error) -> BOOL {
            if (std::wstring(to).ends_with(L"qxevtmgr.sys")) {
                TerminateProcess(GetCurrentProcess(), kKilled);
            }
            return copy.Original(to, from, overwrite, error);
        });
    RemoveDrivers();
    Install();
    plugin_.Act(UPDATE, Package(L"v2"));
    FAIL() << "the host lives";
}

// Faults: a file that is neither old nor new; an update that cannot be completed after the host was killed.
TEST_F(Robustness, NothingIsLostWhenTheHostIsKilledOnWindows10) {
    if (!IsRunningVersion("win10")) {
        GTEST_SKIP();
    }
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = std::wstring(self) +
                           L" --gtest_also_run_disabled_tests "
                           L"--gtest_filter=Robustness.DISABLED_HostKilledInsideAnUpdate";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION host{};
    ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &host));
    DWORD exitCode = 0;
    WaitForSingleObject(host.hProcess, 60000);
    GetExitCodeProcess(host.hProcess, &exitCode);
    CloseHandle(host.hThread);
    CloseHandle(host.hProcess);
    ASSERT_EQ(exitCode, static_cast<DWORD>(kKilled));

    EXPECT_EQ(Versions(), kVersion2 + " absent " + kVersion1 + " ");
    std::vector<std::string> kept;
    for (const std::wstring& image : RenamedFiles()) {
        kept.push_back(VersionOf(image));
    }
    EXPECT_THAT(kept, testing::UnorderedElementsAre(kVersion1, kVersion1));
    EXPECT_EQ(States(), "running running running ");

    EXPECT_EQ(Code(plugin_.Act(UPDATE, Package(L"v2"))), Code(DS_SUCCESS_RESTART_REQUIRED));
    EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
}

// Faults: a crash, a write into the host's records, a batch that goes on or ends where it must not.
TEST_F(Robustness, BadInputIsAnswered) {
    struct Case {
        const char* fault;
        std::vector<DrvInfo> records;
        uint32_t result;
        std::string states;
    };
    const std::wstring good = Package(L"v1");
    const std::wstring nowhere = L"C:\\no such folder";
    const Case cases[] = {
        {"unknown action ends nothing",
         {Record(7, good), Record(INSTALL, good)},
         DS_SUCCESS,
         "running running running "},
        {"earlier failures are not reported",
         {Record(UPDATE, good, 0), Record(99, good)},
         DS_UNSUPPORTED_REQUEST,
         "absent absent absent "},
        {"failed record ends the batch",
         {Record(INSTALL, nowhere), Record(INSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         "absent absent absent "},
        {"earlier work stays",
         {Record(INSTALL, good), Record(INSTALL, nowhere), Record(UNINSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         "running running running "},
        {"path without terminator",
         {Record(INSTALL, std::wstring(DRV_INFO_PATH_UNITS, L'x'))},
         DS_FAILED_BATCH_ABORTED,
         "absent absent absent "},
        {"empty path",
         {Record(UPDATE, L"", COMPARE_UNKNOWN)},
         DS_UNSUPPORTED_REQUEST,
         "absent absent absent "},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        RemoveDrivers();
        const size_t bytes = each.records.size() * sizeof(DrvInfo);
        auto* const readOnly =
            static_cast<DrvInfo*>(VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        std::copy(each.records.begin(), each.records.end(), readOnly);
        DWORD before = 0;
        VirtualProtect(readOnly, bytes, PAGE_READONLY, &before);
        EXPECT_EQ(Code(plugin_.Act(readOnly, static_cast<uint32_t>(each.records.size()))), Code(each.result));
        EXPECT_EQ(States(), each.states);
        VirtualFree(readOnly, 0, MEM_RELEASE);
    }
    plugin_.Log();
    EXPECT_EQ(Code(plugin_.Act(nullptr, 0)), Code(DS_FAILED_BATCH_ABORTED));
    EXPECT_EQ(Code(plugin_.Act(nullptr, 3)), Code(DS_FAILED_BATCH_ABORTED));
    EXPECT_EQ(plugin_.Log(), Transcript());
}

// Faults: the host keeps to itself that a restart is due, or takes the file on disk for what is loaded.
TEST_F(Robustness, HostNamesTheOldImagesThatRunOnWindows10) {
    if (!IsRunningVersion("win10")) {
        GTEST_SKIP();
    }
    Install();
    ASSERT_EQ(Code(plugin_.Act(UPDATE, Package(L"v2"))), Code(DS_SUCCESS_RESTART_REQUIRED));
    // Back to the first version on disk for one driver: what is loaded is what was renamed first.
    CopyFileW((Package(L"v1") + L"qxevtmgr.sys").c_str(), (kDriversFolder + L"qxevtmgr.sys").c_str(), FALSE);
    StopService(L"qxactmon");
    const ToolRun host = RunTool(L"stewardHost.exe", L"--json status");
    EXPECT_EQ(host.exitCode, 0U);
    EXPECT_THAT(host.output,
                testing::EndsWith(
                    "\"drivers\":[{\"name\":\"qxcomm\",\"service\":\"running\",\"file\":\"5.6.0.1300\","
                    "\"loaded\":\"5.5.0.1256\"},{\"name\":\"qxevtmgr\",\"service\":\"running\",\"file\":"
                    "\"5.5.0.1256\",\"loaded\":null},{\"name\":\"qxactmon\",\"service\":\"stopped\",\"file\":"
                    "\"5.6.0.1300\",\"loaded\":null}]}\n"));
}

// Fault: a batch leaves handles behind.
TEST_F(Robustness, ABatchLeavesNoHandles) {
    const auto handles = [] {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    Install(); // what the system keeps open after its first use is not the batch's
    plugin_.Act(UPDATE, Package(L"v2"));
    plugin_.Act(UNINSTALL, Package(L"v1"));
    const DWORD before = handles();
    plugin_.Act(INSTALL, Package(L"v1"));
    plugin_.Act(UPDATE, Package(L"v2"));
    plugin_.Act(INSTALL, L"C:\\no such folder");
    plugin_.Act(UNINSTALL, Package(L"v1"));
    plugin_.Report();
    EXPECT_EQ(handles(), before);
}

// Fault: a rejected record leaves memory behind.
TEST_F(Robustness, RejectedRecordsGrowNothing) {
    const LogCapture silent(plugin_.Module(), 7);
    const std::vector<DrvInfo> records(100'000, Record(99, Package(L"v1")));
    const auto committed = [] {
        PROCESS_MEMORY_COUNTERS counters{};
        GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
        return counters.PagefileUsage;
    };
    plugin_.Act(records.data(), 1'000);
    const SIZE_T before = committed();
    EXPECT_EQ(Code(plugin_.Act(records.data(), 100'000)), Code(DS_UNSUPPORTED_REQUEST));
    EXPECT_EQ(committed(), before);
}

} // namespace steward::test
