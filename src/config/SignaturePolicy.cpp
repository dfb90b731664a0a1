#include "config/SignaturePolicy.h"

#include "util/Std_Utils_Signature.h"

#include <windows.h>

#include <cstdint>

namespace steward {

// 0: not read yet; 1: on; 10: off. Two threads that meet 0 both read the file and store the same value.
int32_t g_moduleLoadPolicyState = 0;

namespace {

constexpr int32_t kNotRead = 0;
constexpr int32_t kOn = 1;
constexpr int32_t kOff = 10;

constexpr int32_t kVerificationSkipped = 1;
constexpr DWORD kGraceMilliseconds = 120'000;

bool IsVerificationDue() {
    return SignatureGraceLeftMilliseconds() == 0 && IsModuleLoadSignatureCheckEnabled();
}

} // namespace

// The 32-bit counter wraps after 49.7 days; the grace then recurs, by design.
uint32_t SignatureGraceLeftMilliseconds() {
    const DWORD uptime = GetTickCount();
    return uptime < kGraceMilliseconds ? kGraceMilliseconds - uptime : 0;
}

int32_t VerifyFileSignatureWithPolicy(const wchar_t* path, wchar_t* nameBuffer, uint32_t capacity,
                                      bool* trusted) {
    if (!IsVerificationDue()) {
        *trusted = true;
        return kVerificationSkipped;
    }
    return ForcePreIncludeQXFile(path, nameBuffer, capacity, trusted);
}

bool IsModuleLoadSignatureCheckEnabled() {
    if (g_moduleLoadPolicyState == kNotRead) {
        g_moduleLoadPolicyState = QuerySignaturePolicySetting(SP_MODULE_LOAD, nullptr) ? kOn : kOff;
    }
    return g_moduleLoadPolicyState == kOn;
}

} // namespace steward
