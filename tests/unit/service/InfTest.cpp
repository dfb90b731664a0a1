#include "service/InfCommand.h"
#include "service/OsVersion.h"
#include "service/drivermanage.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <setupapi.h>

namespace steward::test {

TEST(OsVersion, EveryVersionHasItsCode) {
    struct Case {
        uint32_t major, minor;
        int code;
    };
    for (const Case& each : {Case{5, 0, 1},
                             {5, 1, 1},
                             {5, 2, 1},
                             {5, 3, -99},
                             {6, 0, 70},
                             {6, 1, 70},
                             {6, 2, 80},
                             {6, 3, 81},
                             {6, 4, 81},
                             {10, 0, 100},
                             {10, 1, 101},
                             {11, 0, 101},
                             {4, 0, -99},
                             {7, 0, -99},
                             {0, 0, -99}}) {
        EXPECT_EQ(OsVersionCodeOf(each.major, each.minor), each.code) << each.major << "." << each.minor;
    }
}

TEST(InstallSection, FollowsVersionDriverAndPlatform) {
    constexpr uint8_t client = VER_NT_WORKSTATION;
    constexpr uint8_t server = VER_NT_SERVER;
    struct Case {
        int code;
        uint32_t minor;
        uint8_t product;
        bool platform;
        std::wstring shared; // section of the shared driver; the others always take the default
    };
    const std::wstring plain = L"DefaultInstall";
    for (const Case& each : {Case{1, 2, client, true, plain},
                             {70, 1, client, true, L"DriverInstall_Win7"},
                             {70, 1, client, false, plain},
                             {70, 1, server, true, plain},
                             {70, 0, client, true, plain},
                             {80, 2, client, true, L"DriverInstall_Win8"},
                             {81, 3, server, true, L"DriverInstall_Win8"},
                             {100, 0, client, true, L"DriverInstall_Win8"},
                             {100, 0, client, false, plain},
                             {101, 1, client, true, L"DriverInstall_Win8"},
                             {-99, 0, client, true, plain}}) {
        SCOPED_TRACE(each.code);
        EXPECT_EQ(ChooseInstallSection(DriverTable[0], each.code, each.minor, each.product, each.platform),
                  each.shared);
        EXPECT_EQ(ChooseInstallSection(DriverTable[1], each.code, each.minor, each.product, each.platform),
                  plain);
        EXPECT_EQ(ChooseInstallSection(DriverTable[2], each.code, each.minor, each.product, each.platform),
                  plain);
    }
}

TEST(InfCommand, IsCutNotRejected) {
    EXPECT_EQ(InfCommandLine(L"DefaultInstall", L"C:\\a b\\x.inf"), L"DefaultInstall 128 C:\\a b\\x.inf");
    const std::wstring cut = InfCommandLine(L"DefaultInstall", std::wstring(600, L'p').c_str());
    EXPECT_EQ(cut, L"DefaultInstall 128 " + std::wstring(500, L'p'));
}

// Fault: setup is run, or the platform asked for, without an INF file.
TEST(InfInstallation, UnusablePathsDoNotReachSetup) {
    bool called = false;
    const ImportPatch<"InstallHinfSectionW", decltype(InstallHinfSectionW)> setup(
        GetModuleHandleW(nullptr), [&](HWND, HINSTANCE, PCWSTR, INT) { called = true; });
    LogCapture log;
    const auto line = [](uint32_t level, const wchar_t* text) {
        return LogLine(level, L"System Driver Installation", L"drivermanage.cpp", text);
    };
    for (const wchar_t* const path : {static_cast<const wchar_t*>(nullptr), L"", L"C:\\missing.inf"}) {
        EXPECT_FALSE(_InstallDriverByInf(path, DriverTable[0]));
        EXPECT_EQ(log.Take(),
                  (Transcript{
                      line(2, (std::wstring(L"==> _InstallDriverByInf,INF File Path: ") + (path ? path : L""))
                                  .c_str()),
                      line(5, L"Incorrect driver INF filepath."), line(2, L"<== _InstallDriverByInf,")}));
        EXPECT_FALSE(_UnInstallDriverByInf(path));
        EXPECT_EQ(log.Take(), (Transcript{line(2, L"==> _UnInstallDriverByInf,"),
                                          line(5, L"Incorrect driver INF filepath."),
                                          line(2, L"<== _UnInstallDriverByInf,")}));
    }
    EXPECT_FALSE(called);
}

} // namespace steward::test
