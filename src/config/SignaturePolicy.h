// The gate in front of signature verification: whether the platform's configuration demands it.
#pragma once

#include "config/SignatureSettings.h"

#include <cstdint>

namespace steward {

// Judges one file. `*trusted` is always written. Returns 1 when verification was skipped (two minutes of
// grace after start-up, or policy off), otherwise what ForcePreIncludeQXFile returns. `nameBuffer` (may be
// null) has room for `capacity` characters.
int32_t VerifyFileSignatureWithPolicy(const wchar_t* path, wchar_t* nameBuffer, uint32_t capacity,
                                      bool* trusted);

// How long files are still trusted without a check; 0 when that time is over.
uint32_t SignatureGraceLeftMilliseconds();

// The module-load policy, read once per process.
bool IsModuleLoadSignatureCheckEnabled();

} // namespace steward
