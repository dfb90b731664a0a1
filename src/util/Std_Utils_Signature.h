// Whether a driver file carries a valid signature, and whose.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace steward {

// Verifies the embedded signature, then looks for a catalog that lists the file. `*isSigned` tells the
// outcome; the signer's name goes into `nameBuffer` (may be null), which is cleared over `bufferSize` bytes
// and then filled with at most `bufferSize` - 1 characters: the one number is used both ways, so a buffer of
// `bufferSize` characters is safe. Returns 0 when the checks ran, -1 for a null path or flag or a file that
// cannot be opened, -2 when the catalog functions cannot be loaded. Last-error is unspecified afterwards.
int32_t ForcePreIncludeQXFile(const wchar_t* path, wchar_t* nameBuffer, uint32_t bufferSize, bool* isSigned);

// The display name of the first signer in the state that a successful WinVerifyTrust call left. False, `name`
// unchanged, when it cannot be read.
bool GetSignerInfo_FromWinVerifyTrustStateData(HANDLE state, std::wstring& name);

// The display name of the signer of a signed file such as a catalog. False, `name` unchanged, without one.
bool GetSignerNameFromSignedFile(const wchar_t* path, std::wstring& name);

} // namespace steward
