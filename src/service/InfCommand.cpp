#include "service/InfCommand.h"

#include "service/OsVersion.h"

#include <cstdint>

namespace steward {

const wchar_t* ChooseInstallSection(const DriverRow& row, int32_t osVersionCode, uint32_t minor,
                                    uint8_t productType, bool platformPresent) {
    if (osVersionCode == 1) {
        return row.sectionNt5;
    }
    if (osVersionCode == 70) {
        const bool win7Section = IsSharedDriver(row.name) &&
                                 IsWindows7Client(osVersionCode, minor, productType) && platformPresent;
        return win7Section ? L"DriverInstall_Win7" : row.sectionNt60;
    }
    return osVersionCode >= 80 && platformPresent ? row.sectionNt62 : L"DefaultInstall";
}

std::wstring InfCommandLine(const wchar_t* section, const wchar_t* infPath) {
    constexpr size_t kCapacity = 520; // wide characters, terminator included
    std::wstring commandLine = std::wstring(section) + L" 128 " + infPath;
    if (commandLine.size() >= kCapacity) {
        commandLine.resize(kCapacity - 1);
    }
    return commandLine;
}

} // namespace steward
