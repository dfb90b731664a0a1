// What a host can do to the plug-in, what it asks of the system, and what it costs. On Windows 10.
#include "e2e/Actions.h"
#include "e2e/Machine.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <accctrl.h>
#include <psapi.h>
#include <wincrypt.h>
#include <wintrust.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>

namespace steward::test {

namespace {

class Robustness : public testing::Test {
  protected:
    Robustness() {
        RemoveDrivers();
        UnregisterService(L"ORPL");
        ConfigFolder().SetInstallDir(false); // of a run that was ended
    }
    ~Robustness() override { RemoveDrivers(); }
};

// What a process has taken from the system.
struct Taken {
    DWORD handles = OpenHandles();
    DWORD gdi = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    DWORD user = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    SIZE_T bytes;

    Taken() {
        PROCESS_MEMORY_COUNTERS counters{};
        GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
        bytes = counters.PagefileUsage;
    }
};

} // namespace

// Faults: a crash, a write into the host's records, a batch that goes on or ends where it must not.
TEST_F(Robustness, BadInputIsAnswered) {
    Plugin plugin;
    const std::wstring good = Package(L"v1");
    const DrvInfo works = Record(INSTALL, good);
    const DrvInfo aborts = Record(INSTALL, L"C:\\no such folder");
    const DrvInfo fails = Record(UPDATE, good, 0);
    const DrvInfo unknown = Record(99, good);
    const DrvInfo endless = Record(INSTALL, std::wstring(DRV_INFO_PATH_UNITS, L'x'));
    const DrvInfo ofNothing = Record(UPDATE, L"", COMPARE_UNKNOWN);
    const std::tuple<const char*, std::vector<DrvInfo>, uint32_t, bool> cases[] = {
        {"unknown action ends nothing", {unknown, works}, DS_SUCCESS, true},
        {"another failure ends nothing", {Record(UPDATE, good, 1000), works}, DS_SUCCESS, true},
        {"earlier failures are reported", {fails, unknown}, DS_UNSUPPORTED_REQUEST, false},
        {"goes on behind a failed record", {aborts, works}, DS_FAILED_BATCH_ABORTED, false},
        {"undoes", {works, aborts, Record(UNINSTALL, good)}, DS_FAILED_BATCH_ABORTED, true},
        {"path without terminator", {endless}, DS_FAILED_BATCH_ABORTED, false},
        {"empty path", {ofNothing}, DS_UNSUPPORTED_REQUEST, false},
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
        EXPECT_EQ(plugin.Act(readOnly, static_cast<uint32_t>(records.size())), result);
        EXPECT_EQ(MachineState()[0], installed ? "qxcomm running 5.5.0.1256" : "qxcomm absent absent");
        VirtualFree(readOnly, 0, MEM_RELEASE);
    }
    plugin.Log();
    plugin.Act(&endless, 1);
    EXPECT_THAT(Joined(plugin.Log()),
                testing::HasSubstr(" " + std::string(DRV_INFO_PATH_UNITS, 'x') + "\\qxcomm.inf\n"));
    reinterpret_cast<GetModuleVersionFunction>(reinterpret_cast<void*>(
        GetProcAddress(plugin.Module(), "Plugin_Interface_GetModuleVersion")))(nullptr); // into nothing
    EXPECT_EQ(plugin.Act(nullptr, 0), DS_FAILED_BATCH_ABORTED);
    EXPECT_EQ(plugin.Act(nullptr, 3), DS_FAILED_BATCH_ABORTED);
    EXPECT_EQ(plugin.Log(), Transcript());
}

// Faults: a crash, an answer outside the table, for whatever a record holds.
TEST_F(Robustness, RandomRecordsAreAnswered) {
    Plugin plugin;
    const unsigned seed = GetTickCount();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int batch = 0; batch < 200; ++batch) {
        std::vector<DrvInfo> records(random() % 8);
        std::generate_n(reinterpret_cast<uint8_t*>(records.data()), records.size() * sizeof(DrvInfo),
                        [&] { return static_cast<uint8_t>(random()); });
        for (DrvInfo& record : records) {
            record.action = random() % 4 == 0 ? record.action : random() % 5;
            record.compare_state = random() % 4 == 0 ? record.compare_state : random() % 3;
            const size_t length = random() % (2 * DRV_INFO_PATH_UNITS);
            if (length < DRV_INFO_PATH_UNITS) {
                record.path[length] = L'\0';
            }
        }
        const uint32_t result = plugin.Act(records.data(), static_cast<uint32_t>(records.size()));
        EXPECT_THAT(result, testing::AnyOf(DS_UNSUPPORTED_REQUEST, DS_FAILED_BATCH_ABORTED));
        plugin.Log();
    }
    EXPECT_EQ(MachineState()[0], "qxcomm absent absent");
}

// Faults: more rights than needed are asked for, another view of the registry, a file is shared with writers,
// a user interface is shown, revocation is asked of the network. Each function with its argument that
// decides, and the values that it gets while the drivers are installed from a catalog, updated and
// uninstalled.
TEST_F(Robustness, SystemIsCalledAsDocumented) {
    const std::tuple<const char*, size_t, std::set<uint64_t>> cases[] = {
        {"OpenSCManagerW", 2, {GENERIC_READ}},
        {"OpenServiceW", 2, {0xE01FF}},
        {"InstallHinfSectionW", 3, {0}},
        {"RegOpenKeyExW", 3, {0x20119}},
        {"RegCreateKeyExW", 4, {REG_OPTION_NON_VOLATILE}},
        {"RegCreateKeyExW", 5, {0xF003F}},
        {"RegSetValueExW", 3, {REG_DWORD}},
        {"CreateFileW", 1, {GENERIC_READ}},
        {"CreateFileW", 2, {FILE_SHARE_READ, FILE_SHARE_READ | FILE_SHARE_WRITE}},
        {"CreateFileW", 4, {OPEN_EXISTING}},
        {"MoveFileExW", 2, {MOVEFILE_REPLACE_EXISTING, MOVEFILE_DELAY_UNTIL_REBOOT}},
        {"GetTempFileNameW", 2, {0}},
        {"Copy", 2, {TRUE}},
        {"SetFileAttributesW", 1, {FILE_ATTRIBUTE_NORMAL}},
        {"GetNamedSecurityInfoW", 1, {SE_SERVICE}},
        {"GetNamedSecurityInfoW", 2, {6}},
        {"SetNamedSecurityInfoW", 2, {0x80000006}},
        {"CryptAcquireContextW", 4, {CRYPT_VERIFYCONTEXT}},
        {"CryptCreateHash", 1, {CALG_MD5}},
        {"CryptDeriveKey", 1, {CALG_RC4}},
        {"CryptDeriveKey", 3, {0x00800000}},
    };
    std::map<std::pair<std::string, size_t>, std::set<uint64_t>> seen;
    const PolicyOn policy;
    Action action(What::Install);
    action.Load();
    std::vector<std::unique_ptr<Tap>> taps;
    for (const auto& [import, argument, values] : cases) {
        taps.push_back(std::make_unique<Tap>(
            action.Module(), import,
            [&seen, name = std::string(import), number = argument](const Tap::Call& call) {
                seen[{name, number}].insert(call.arguments[number] & 0xFFFFFFFF);
                return call.Run();
            }));
    }
    const Tap trust(action.Module(), "WinVerifyTrust", [](const Tap::Call& call) {
        const auto& data = *reinterpret_cast<const WINTRUST_DATA*>(call.arguments[2]);
        EXPECT_EQ(std::tuple(data.dwUIChoice, data.fdwRevocationChecks, data.dwProvFlags),
                  std::tuple(WTD_UI_NONE, WTD_REVOKE_NONE, WTD_REVOCATION_CHECK_NONE));
        return call.Run();
    });
    for (const What what : {What::Install, What::Update, What::Uninstall}) {
        action.Run(what);
    }
    for (const auto& [import, argument, values] : cases) {
        EXPECT_EQ((seen[{import, argument}]), values) << import << ", argument " << argument + 1;
    }
}

// Fault: a rejected record, a report, a reading of the policy or a loading of the library leaves something
// behind.
TEST_F(Robustness, ManyCallsGrowNothing) {
    std::optional<PolicyOn> policy;
    const std::vector<DrvInfo> records(100'000, Record(99, Package(L"v1")));
    std::optional<Plugin> plugin(std::in_place);
    std::optional<LogCapture> silent(std::in_place, plugin->Module(), 7);
    const std::tuple<const char*, uint32_t, std::function<void(uint32_t)>> cases[] = {
        {"records", 100'000, [&](uint32_t count) { plugin->Act(records.data(), count); }},
        {"reports", 1'000,
         [&](uint32_t count) {
             for (; count > 0; --count) {
                 plugin->Report();
             }
         }},
        {"policy reads", 200,
         [&](uint32_t count) {
             silent.reset();
             policy.emplace();
             for (; count > 0; --count) { // of a package that is not there: nothing is verified
                 plugin.reset();
                 plugin.emplace();
                 const ImportPatch<"GetTickCount", decltype(GetTickCount)> clock(
                     plugin->Module(), [] { return DWORD{120'000}; });
                 EXPECT_EQ(plugin->Act(99, L"C:\\nowhere\\"), DS_FAILED_BATCH_ABORTED);
             }
         }},
        {"loads", 500,
         [&](uint32_t count) {
             plugin.reset();
             for (; count > 0; --count) {
                 FreeLibrary(LoadLibraryW(L"driverSteward.dll"));
             }
         }},
    };
    // Wine 10 itself loses 337 bytes whenever the service manager is opened and closed, which a report does
    // for each driver.
    const auto lostBySystem = [](size_t openings) {
        const Taken before;
        for (; openings > 0; --openings) {
            CloseServiceHandle(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
        }
        return Taken().bytes - before.bytes;
    };
    for (const auto& [what, count, run] : cases) {
        SCOPED_TRACE(what);
        run(count / 10);
        const SIZE_T lost = lostBySystem(what == std::string("reports") ? count * kDrivers.size() : 0);
        const Taken before;
        run(count);
        const Taken after;
        EXPECT_EQ(after.handles, before.handles);
        EXPECT_EQ(after.gdi, before.gdi);
        EXPECT_EQ(after.user, before.user);
        EXPECT_LE(after.bytes, before.bytes + lost + 0x10000); // the heap's own rounding
    }
}

} // namespace steward::test
