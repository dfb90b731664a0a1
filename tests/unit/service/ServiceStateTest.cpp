#include "service/drivermanage.h"
#include "service/drvinstance.h"
#include "support/Fault.h"
#include "support/LogCapture.h"
#include "util/Handles.h"

#include <gtest/gtest.h>

namespace steward::test {

namespace {

constexpr DWORD kUntouched = 0xBEEF;
constexpr const wchar_t* kService = L"MSIServer"; // on every Windows

// What a query shows; state 0: it fails.
struct Shown {
    DWORD state, checkPoint = 0, waitHint = 0;
};

// A service that shows a sequence of states, the last one for ever, while the clock moves only by sleeping.
struct ScriptedService {
    std::vector<Shown> shown;
    DWORD now;
    size_t queries = 0;
    ImportPatch<"GetTickCount", decltype(GetTickCount)> ticks{kSelf, [this] { return now; }};
    ImportPatch<"Sleep", decltype(Sleep)> sleep{kSelf, [this](DWORD milliseconds) { now += milliseconds; }};
    ImportPatch<"QueryServiceStatus", decltype(QueryServiceStatus)> query{
        kSelf, [this](auto, LPSERVICE_STATUS status) -> WINBOOL {
            const auto& [state, checkPoint, waitHint] = shown[std::min(queries++, shown.size() - 1)];
            *status = {SERVICE_KERNEL_DRIVER, state, 0, 0, 0, checkPoint, waitHint};
            SetLastError(state == 0 ? ERROR_INVALID_HANDLE : GetLastError());
            return state != 0;
        }};
};

bool Query(const wchar_t* name) {
    SERVICE_STATUS status{};
    return QueryDriverServiceStatus(name, &status);
}

bool (*const kOperations[])(const wchar_t*) = {StartDriverService, StopDriverService, Query, IsDriverExist};

} // namespace

TEST(WaitForServiceState, EndsAsTheServiceShows) {
    constexpr DWORD kPending = SERVICE_START_PENDING;
    constexpr DWORD kPaused = SERVICE_PAUSED;
    constexpr Shown kRunning{SERVICE_RUNNING};
    struct Case {
        const char* fault;
        std::vector<Shown> shown;
        int result;
        DWORD slept; // milliseconds
        DWORD lastError = kUntouched;
        DWORD start = 0; // tick count
    };
    const Case cases[] = {
        {"sleeps before it looks", {kRunning}, 1, 0},
        {"polls too often", {{kPending, 1, 0}, {kPending, 1, 10009}, kRunning}, 1, 2000},
        {"keeps the first interval", {{kPending, 1, 15000}, {kPending, 1, 100000}, kRunning}, 1, 11500},
        {"polls too rarely", {{kPending, 1, 4000000000}, kRunning}, 1, 10000},
        {"gives up at the limit instead of after it", {{kPending, 1}}, 0, 31000, ERROR_TIMEOUT},
        {"allows for the wrap of the tick count", {{kPending, 1}}, 0, 0, ERROR_TIMEOUT, 0xFFFFFFF0},
        {"goes on while the check point falls", {{kPending, 2}, {kPending, 3}, {kPending, 2}}, 0, 2000},
        {"takes a standing check point for a falling one", {{kPending, 3}, {kPending, 3}, kRunning}, 1, 2000},
        {"compares check points across states", {{kPending, 3}, {kPaused, 1}, kRunning}, 1, 2000},
        {"forgets the new state's check point", {{kPending, 1}, {kPaused, 3}, {kPaused, 2}}, 0, 2000},
        {"ignores a failing first query", {{0}}, 0, 0, ERROR_INVALID_HANDLE},
        {"ignores a failing later query", {{kPending, 1}, {0}}, 0, 1000, ERROR_INVALID_HANDLE},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        LogCapture log;
        const ScriptedService service{each.shown, each.start};
        SetLastError(kUntouched);
        EXPECT_EQ(WaitForServiceState(nullptr, SERVICE_RUNNING), each.result);
        EXPECT_EQ(GetLastError(), each.lastError);
        EXPECT_EQ(service.now - each.start, each.slept);
        EXPECT_EQ(log.TakeTexts(), std::string("2 ==> WaitForServiceState,timeout value: 0x7530\n"
                                               "2 <== WaitForServiceState,Is Service Ok: ") +
                                       (each.result == 1 ? "0x1\n" : "0\n"));
    }
}

// Faults: 1056 and 1062 count as failures; another last-error than documented; a missing console line.
TEST(ServiceOperation, StartsAndStops) {
    for (const auto& [operation, import, already, lines, console] :
         {std::tuple(&StartDriverService, "StartServiceW", ERROR_SERVICE_ALREADY_RUNNING,
                     "3 WaitForServiceState(SERVICE_RUNNING) timeout!\n"
                     "5 ControlService failed! function:StartService Error = 0x424\n",
                     "ControlService failed! function:StartService Error = 1060 \n"),
          {StopDriverService, "ControlService", ERROR_SERVICE_NOT_ACTIVE,
           "5 ControlService SERVICE_CONTROL_STOP timed out!\n"
           "5 ControlService SERVICE_CONTROL_STOP failed, err=0x424\n",
           "ControlService failed! function:StopDriver Error = 1060 \n"}}) {
        const auto succeed = [](auto...) { return TRUE; };
        const ImportPatch<"StartServiceW", decltype(StartServiceW)> started(kSelf, succeed);
        const ImportPatch<"ControlService", decltype(ControlService)> stopped(kSelf, succeed);
        const Fault wait(kSelf, "QueryServiceStatus", ERROR_INVALID_HANDLE);
        LogCapture log(kSelf, 3);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(operation(kService));
        EXPECT_EQ(GetLastError(), 1053U);
        const Fault needless(kSelf, import, already);
        EXPECT_TRUE(operation(kService));
        const Fault refused(kSelf, import, ERROR_SERVICE_DOES_NOT_EXIST);
        EXPECT_FALSE(operation(kService));
        EXPECT_EQ(GetLastError(), 1060U);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), console);
        EXPECT_EQ(log.TakeTexts(), lines);
    }
}

// Faults: an absent service is reported as an error; the shared driver is known by the
// case of its name; a crash, a manager opened or a line more without a name.
TEST(ServiceOperation, NoServiceAndNoName) {
    LogCapture log;
    EXPECT_FALSE(Query(L"stewardNoService"));
    EXPECT_EQ(log.TakeTexts(), "2 Service not exist.\n");
    const FileHandle client(CreateMailslotW(L"\\\\.\\mailslot\\qxcomm_INSTANCE3", 0, 0, nullptr));
    EXPECT_FALSE(StopDriverService(L"QXCOMM"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SERVICE_ALREADY_RUNNING});
    EXPECT_TRUE(CanStopDriverService(std::wstring(300, L'x').c_str()));
    EXPECT_EQ(log.TakeTexts(), "5 0x1 driver instance(s) found\n"
                               "5 driver instance found, cannot stop qxcomm service.\n");
    {
        const Fault denied(kSelf, "OpenSCManagerW", ERROR_ACCESS_DENIED);
        EXPECT_FALSE(StopDriverService(kService));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
        EXPECT_EQ(log.TakeTexts(), "5 OpenSCManager failed, err=0x5\n");
    }
    const Fault manager(kSelf, "OpenSCManagerW", 0, Fault::kNoCall);
    for (const wchar_t* const name : {static_cast<const wchar_t*>(nullptr), L""}) {
        for (const auto operation : kOperations) {
            EXPECT_FALSE(operation(name));
        }
        EXPECT_EQ(log.TakeTexts(), "2 ==> StartDriverService,Driver Name:\n2 ==> IsDriverExist,\n");
    }
    EXPECT_FALSE(QueryDriverServiceStatus(kService, nullptr));
    EXPECT_EQ(manager.Calls(), 0);
}

} // namespace steward::test
