#include "service/InfCommand.h"
#include "service/OsVersion.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace steward::test {

// Faults: a version that the lab does not have is taken for a neighbour; an unknown version, or a machine
// without the platform, gets a section of its own.
TEST(OsVersion, CodeAndSectionOfVersionsThatTheLabLacks) {
    for (const auto& [major, minor, code] :
         {std::tuple(4U, 0U, -99), {5, 3, -99}, {6, 4, 81}, {7, 0, -99}, {10, 1, 101}, {11, 0, 101}}) {
        EXPECT_EQ(OsVersionCodeOf(major, minor), code) << major << "." << minor;
    }
    const auto section = [](size_t row, int code, bool platform) {
        return std::wstring(ChooseInstallSection(DriverTable[row], code, 1, VER_NT_WORKSTATION, platform));
    };
    EXPECT_EQ(section(0, 101, true), L"DriverInstall_Win8");
    EXPECT_EQ(section(0, 101, false), L"DefaultInstall");
    EXPECT_EQ(section(2, 101, true) + section(2, 70, true), L"DefaultInstallDefaultInstall");
    EXPECT_EQ(section(0, -99, true), L"DefaultInstall");
}

// Fault: a long command line is rejected or cut elsewhere.
TEST(InfInstallation, LongPathsAreCut) {
    EXPECT_EQ(InfCommandLine(L"DefaultInstall", std::wstring(600, L'p').c_str()),
              L"DefaultInstall 128 " + std::wstring(500, L'p'));
}

} // namespace steward::test
