// What a host can do to the plug-in, and what becomes of the machine then. On Windows 10.
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "support/ToolRun.h"

#include "setupKit.h"

#include <gmock/gmock.h>

#include <psapi.h>

#include <algorithm>
#include <cstdint>
#include <random>

namespace steward::test {

namespace {

constexpr unsigned kKilled = 77;

class Robustness : public testing::Test {
  protected:
    Robustness() {
        RemoveDrivers();
        UnregisterService(L"ORPL");
    }
    ~Robustness() override { RemoveDrivers(); }

    void Install() { ASSERT_EQ(plugin_.Act(INSTALL, Package(L"v1")), DS_SUCCESS); }

    // State and version of each driver.
    static Transcript Drivers() {
        Transcript lines = MachineState();
        lines.resize(kDrivers.size());
        return lines;
    }
    static Transcript Alike(const std::string& drivers) {
        return {"qxcomm " + drivers, "qxevtmgr " + drivers, "qxactmon " + drivers};
    }

    Plugin plugin_;
};

} // namespace

// The host of the next test: dies between the renaming and the copying of the second file.
TEST_F(Robustness, DISABLED_HostKilledInsideAnUpdate) {
    const ImportPatch<"Copy", decltype(Copy)> copy(plugin_.Module(), [&](auto to, auto from, auto... rest) {
        if (std::wstring(to).ends_with(L"qxevtmgr.sys")) {
            TerminateProcess(GetCurrentProcess(), kKilled);
        }
        return copy.Original(to, from, rest...);
    });
    Install();
    plugin_.Act(UPDATE, Package(L"v2"));
    FAIL() << "the host lives";
}

// Faults: a file that is neither old nor new; an update that cannot be completed after the host was killed.
TEST_F(Robustness, NothingIsLostWhenTheHostIsKilled) {
    const ToolRun host =
        RunTool(L"robustness_test.exe", L"--gtest_also_run_disabled_tests --gtest_filter=*Killed*Update");
    ASSERT_EQ(host.exitCode, kKilled);
    EXPECT_EQ(Drivers(), (Transcript{"qxcomm running 5.6.0.1300", "qxevtmgr running absent",
                                     "qxactmon running 5.5.0.1256"}));
    std::vector<std::string> kept;
    for (const std::wstring& image : RenamedFiles()) {
        kept.push_back(VersionOf(image));
    }
    EXPECT_THAT(kept, testing::UnorderedElementsAre("5.5.0.1256", "5.5.0.1256"));
    EXPECT_EQ(plugin_.Act(UPDATE, Package(L"v2")), DS_SUCCESS_RESTART_REQUIRED);
    EXPECT_EQ(Drivers(), Alike("running 5.6.0.1300"));
}

// Faults: a crash, a write into the host's records, a batch that goes on or ends where it must not.
TEST_F(Robustness, BadInputIsAnswered) {
    const std::wstring good = Package(L"v1");
    const std::wstring nowhere = L"C:\\no such folder";
    const std::tuple<const char*, std::vector<DrvInfo>, uint32_t, bool> cases[] = {
        {"unknown action ends nothing", {Record(7, good), Record(INSTALL, good)}, DS_SUCCESS, true},
        {"earlier failures are not reported",
         {Record(UPDATE, good, 0), Record(99, good)},
         DS_UNSUPPORTED_REQUEST,
         false},
        {"failed record ends the batch",
         {Record(INSTALL, nowhere), Record(INSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         false},
        {"earlier work stays",
         {Record(INSTALL, good), Record(INSTALL, nowhere), Record(UNINSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         true},
        {"path without terminator",
         {Record(INSTALL, std::wstring(DRV_INFO_PATH_UNITS, L'x'))},
         DS_FAILED_BATCH_ABORTED,
         false},
        {"empty path", {Record(UPDATE, L"", COMPARE_UNKNOWN)}, DS_UNSUPPORTED_REQUEST, false},
    };
    for (const auto& [fault, records, result, installed] : cases) {
        SCOPED_TRACE(fault);
        RemoveDrivers();
        const size_t bytes = records.size() * sizeof(DrvInfo);
        auto* const readOnly =
            static_cast<DrvInfo*>(VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        std::copy(records.begin(), records.end(), readOnly);
        DWORD before = 0;
        VirtualProtect(readOnly, bytes, PAGE_READONLY, &before);
        EXPECT_EQ(plugin_.Act(readOnly, static_cast<uint32_t>(records.size())), result);
        EXPECT_EQ(Drivers(), Alike(installed ? "running 5.5.0.1256" : "absent absent"));
        VirtualFree(readOnly, 0, MEM_RELEASE);
    }
    plugin_.Log();
    EXPECT_EQ(plugin_.Act(nullptr, 0), DS_FAILED_BATCH_ABORTED);
    EXPECT_EQ(plugin_.Act(nullptr, 3), DS_FAILED_BATCH_ABORTED);
    EXPECT_EQ(plugin_.Log(), Transcript());
}

// Faults: a crash, an answer outside the table, for whatever a record holds.
TEST_F(Robustness, RandomRecordsAreAnswered) {
    const unsigned seed = GetTickCount();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto fill = [&](void* to, size_t bytes) {
        std::generate_n(static_cast<uint8_t*>(to), bytes, [&] { return static_cast<uint8_t>(random()); });
    };
    for (int batch = 0; batch < 200; ++batch) {
        std::vector<DrvInfo> records(random() % 8);
        for (DrvInfo& record : records) {
            fill(&record, sizeof record);
            record.action = random() % 4 == 0 ? record.action : random() % 5;
            record.compare_state = random() % 4 == 0 ? record.compare_state : random() % 3;
            const size_t length = random() % (2 * DRV_INFO_PATH_UNITS);
            if (length < DRV_INFO_PATH_UNITS) {
                record.path[length] = L'\0';
            }
        }
        const uint32_t result = plugin_.Act(records.data(), static_cast<uint32_t>(records.size()));
        EXPECT_THAT(result, testing::AnyOf(DS_UNSUPPORTED_REQUEST, DS_FAILED_BATCH_ABORTED));
        plugin_.Log();
    }
    EXPECT_EQ(Drivers(), Alike("absent absent"));
}

// Faults: the host keeps to itself that a restart is due, or takes the file on disk for what is loaded.
TEST_F(Robustness, HostNamesTheOldImagesThatRun) {
    Install();
    ASSERT_EQ(plugin_.Act(UPDATE, Package(L"v2")), DS_SUCCESS_RESTART_REQUIRED);
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
    EXPECT_EQ(plugin_.Act(records.data(), 100'000), DS_UNSUPPORTED_REQUEST);
    EXPECT_EQ(committed(), before);
}

} // namespace steward::test
