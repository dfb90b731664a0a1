// The drivers' life over and over, while a client opens and closes its mailslot. lab/soak runs this, with
// restarts.
#include "e2e/Actions.h"
#include "e2e/Machine.h"
#include "util/Handles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

namespace steward::test {

namespace {

// A component that uses the shared driver now and then.
void Use(const std::stop_token& end) {
    while (!end.stop_requested()) {
        FileHandle slot(CreateMailslotW(L"\\\\.\\mailslot\\qxcomm_INSTANCE7", 0, 0, nullptr));
        Sleep(20);
        slot.Reset();
        Sleep(30);
    }
}

void OneLife(Action& action) {
    for (const What what :
         {What::Install, What::Update, What::EqualUpdate, What::Rollback, What::Uninstall}) {
        // Where drivers are stopped the client keeps the shared one running.
        EXPECT_THAT(action.Run(what),
                    testing::AnyOf(DS_SUCCESS, DS_SUCCESS_RESTART_REQUIRED, DS_PROCEDURE_FAILED,
                                   DS_DRIVER_NOT_STOPPED, DS_FAILED_BATCH_ABORTED));
        action.Run(What::Report);
    }
}

} // namespace

TEST(Soak, Lives) {
    Action action(What::Install);
    action.Load();
    const std::jthread client(Use);
    OneLife(action);
    const DWORD handles = OpenHandles();
    for (int life = 0; life < 5; ++life) {
        OneLife(action);
    }
    EXPECT_EQ(OpenHandles(), handles);
}

// After the restart: installed anew, the machine is what it was after the first restart. What the client kept
// from being uninstalled is installed first, since an uninstallation goes no further than to a missing
// driver.
TEST(Soak, NothingDrifts) {
    Action action(What::Install);
    action.Load();
    EXPECT_EQ(action.Run(), DS_SUCCESS);
    std::for_each(kDrivers.rbegin(), kDrivers.rend(), StopService);
    action.Run(What::Uninstall);
    EXPECT_EQ(action.Run(), DS_SUCCESS);
    ExpectAsBefore(L"soak.txt", MachineState());
}

} // namespace steward::test
