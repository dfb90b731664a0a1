// What InstallHinfSectionW is told to run.
#pragma once

#include "plugin/DriverTable.h"

#include <cstdint>
#include <string>

namespace steward {

// `minor` and `productType` as GetVersionExW reports them; `platformPresent`: the platform's core service is
// registered on this machine.
const wchar_t* ChooseInstallSection(const DriverRow& row, int32_t osVersionCode, uint32_t minor,
                                    uint8_t productType, bool platformPresent);

// The same for every driver and every Windows version.
inline constexpr wchar_t kUninstallSection[] = L"DefaultUninstall";

// "<section> 128 <path>": the INF's own folder is the source, no restart is asked for. Cut to 519 characters.
std::wstring InfCommandLine(const wchar_t* section, const wchar_t* infPath);

} // namespace steward
