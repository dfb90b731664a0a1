// The drivers' life over and over, while a client opens and closes its mailslot. lab/soak runs this, with
// restarts.
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "util/Handles.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <thread>

namespace steward::test {

namespace {

// A component that uses the shared driver now and then.
void Use(const std::stop_token& end) {
    while (!end.stop_requested()) {
        const FileHandle slot(CreateMailslotW(L"\\\\.\\mailslot\\qxcomm_INSTANCE7", 0, 0, nullptr));
        Sleep(20);
    }
}

void OneLife(Plugin& plugin) {
    const std::pair<uint32_t, uint32_t> life[] = {
        {INSTALL, 2}, {UPDATE, 2}, {EQUAL_UPDATE, 2}, {UPDATE, COMPARE_ROLLBACK}, {UNINSTALL, 2}};
    for (const auto& [action, compareState] : life) {
        const uint32_t result = plugin.Act(action, Package(action == INSTALL ? L"v1" : L"v2"), compareState);
        // Where drivers are stopped the client keeps the shared one running.
        EXPECT_THAT(result, testing::AnyOf(DS_SUCCESS, DS_SUCCESS_RESTART_REQUIRED, DS_PROCEDURE_FAILED,
                                           DS_DRIVER_NOT_STOPPED, DS_FAILED_BATCH_ABORTED));
        plugin.Report();
    }
    plugin.Log();
}

} // namespace

TEST(Soak, Lives) {
    Plugin plugin;
    const std::jthread client(Use);
    OneLife(plugin);
    const DWORD handles = OpenHandles();
    for (int life = 0; life < 5; ++life) {
        OneLife(plugin);
    }
    EXPECT_EQ(OpenHandles(), handles);
}

// After the restart: installed anew, the machine is what it was after the first restart.
TEST(Soak, NothingDrifts) {
    for (const std::wstring& driver : kDrivers) {
        StopService(driver);
    }
    Plugin plugin;
    plugin.Act(UNINSTALL, Package(L"v1"));
    EXPECT_EQ(plugin.Act(INSTALL, Package(L"v1")), DS_SUCCESS);
    const std::string machine = Joined(MachineState());
    std::stringstream before;
    before << std::ifstream("soak.txt").rdbuf();
    if (before.str().empty()) {
        std::ofstream("soak.txt") << machine;
    } else {
        EXPECT_EQ(machine, before.str());
    }
}

} // namespace steward::test
