// The gate in front of signature verification: whether the platform's configuration demands it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace steward {

// Settings of the configuration file's group "ORPL_ALL".
enum SignaturePolicySetting : uint32_t {
    SP_RESTART_ND_REVERT = 0x0FF10001,
    SP_MODULE_LOAD = 0x0FF10002,
    SP_MAIN_OBJECTIVE = 0x0FF10003,
};

// Judges one file. `*trusted` is always written. Returns 1 when verification was skipped (two minutes of
// grace after start-up, or policy off), otherwise what ForcePreIncludeQXFile returns. `nameBuffer` (may be
// null) has room for `capacity` characters.
int32_t VerifyFileSignatureWithPolicy(const wchar_t* path, wchar_t* nameBuffer, uint32_t capacity,
                                      bool* trusted);

// How long files are still trusted without a check; 0 when that time is over.
uint32_t SignatureGraceLeftMilliseconds();

// The module-load policy, read once per process.
bool IsModuleLoadSignatureCheckEnabled();

// Reads one setting from system_config.cfg in `folder`, or, when that is null or empty, in the platform's
// installation folder. True only for the value 1; every failure reads as off.
bool QuerySignaturePolicySetting(uint32_t setting, const wchar_t* folder);

// Where the settings lie: the platform's installation folder (false, `folder` unchanged, when the registry does
// not tell it), the group and the name of a setting in it (null for an unknown setting).
bool ReadPlatformFolder(std::wstring& folder);
inline constexpr wchar_t kSignaturePolicyGroup[] = L"ORPL_ALL";
const wchar_t* SignaturePolicyNameOf(uint32_t setting);

} // namespace steward
