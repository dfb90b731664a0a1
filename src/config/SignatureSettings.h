// The signature policy's settings in the platform's configuration file, each a switch.
#pragma once

#include <cstdint>
#include <string>

namespace steward {

// Settings of the group kSignaturePolicyGroup.
enum SignaturePolicySetting : uint32_t {
    SP_RESTART_ND_REVERT = 0x0FF10001,
    SP_MODULE_LOAD = 0x0FF10002,
    SP_MAIN_OBJECTIVE = 0x0FF10003,
};

// Reads one setting from system_config.cfg in `folder`, or, when that is null or empty, in the platform's
// installation folder. True only for a value that means on; every failure reads as off.
bool QuerySignaturePolicySetting(uint32_t setting, const wchar_t* folder);

// Whether a setting with this value is on: only a text that _wtoi reads as 1 is.
bool MeansOn(const std::wstring& value);

// Where the settings lie: the platform's installation folder (false, `folder` unchanged, when the registry
// does not tell it), the group and the name of a setting in it (null for an unknown setting).
bool ReadPlatformFolder(std::wstring& folder);
inline constexpr wchar_t kSignaturePolicyGroup[] = L"ORPL_ALL";
const wchar_t* SignaturePolicyNameOf(uint32_t setting);

} // namespace steward
