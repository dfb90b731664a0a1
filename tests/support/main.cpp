// The main program of every test executable: a watchdog ends a hanging run with a message.
#include <gmock/gmock.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace {

// Below the lab's, which names no test.
const DWORD kLimitMilliseconds = [] {
    const char* const lab = std::getenv("STEWARD_LAB_LIMIT");
    return (lab == nullptr ? 840 : static_cast<DWORD>(std::atoi(lab)) - 60) * 1000;
}();

DWORD WINAPI Watch(void*) {
    WaitForSingleObject(GetCurrentProcess(), kLimitMilliseconds); // not Sleep, which tests patch
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    std::fprintf(stderr, "watchdog: still running after %lu s in %s.%s\n", kLimitMilliseconds / 1000,
                 test == nullptr ? "no test" : test->test_suite_name(), test == nullptr ? "" : test->name());
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 3);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    CloseHandle(CreateThread(nullptr, 0, Watch, nullptr, 0, nullptr));
    return RUN_ALL_TESTS();
}
