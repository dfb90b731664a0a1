#include "support/Fault.h"

#include <wincrypt.h>
#include <wintrust.h>

#include <algorithm>
#include <vector>

namespace steward::test {

namespace {

enum Answer : uint64_t { Zero, AllOnes, One, TheError };

// By the first row with a text that the name begins with.
const struct {
    std::vector<const char*> begins;
    Answer answer;
    DWORD error;
} kFailures[] = {
    {{"Reg", "GetNamedSecurityInfoW", "SetNamedSecurityInfoW"}, TheError, ERROR_ACCESS_DENIED},
    {{"SetEntriesInAclW"}, TheError, ERROR_NOT_ENOUGH_MEMORY},
    {{"WinVerifyTrust"}, TheError, 0x800B0001}, // TRUST_E_PROVIDER_UNKNOWN
    {{"CreateFileW"}, AllOnes, ERROR_SHARING_VIOLATION},
    {{"GetFileAttributesW"}, AllOnes, ERROR_ACCESS_DENIED},
    {{"SetFilePointerEx", "QueryServiceStatus"}, Zero, ERROR_INVALID_HANDLE},
    {{"SetFilePointer"}, AllOnes, ERROR_INVALID_HANDLE},
    {{"LocalFree", "FreeSid"}, One, ERROR_INVALID_HANDLE},
    {{"Log_Flush"}, One, ERROR_DISK_FULL},
    {{"malloc", "LocalAlloc", "AllocateAndInitializeSid"}, Zero, ERROR_NOT_ENOUGH_MEMORY},
    {{"LookupAccountSidW"}, Zero, ERROR_NONE_MAPPED},
    {{"GetTempFileNameW"}, Zero, ERROR_FILE_EXISTS},
    {{"LoadLibraryW"}, Zero, ERROR_MOD_NOT_FOUND},
    {{"GetProcAddress"}, Zero, ERROR_PROC_NOT_FOUND},
    {{"StartServiceW"}, Zero, ERROR_SERVICE_DISABLED},
    {{"ControlService"}, Zero, ERROR_SERVICE_CANNOT_ACCEPT_CTRL},
    {{"Copy", "WriteFile"}, Zero, ERROR_DISK_FULL},
    {{"ReadFile"}, Zero, ERROR_READ_FAULT},
    {{"GetFileVersionInfo"}, Zero, ERROR_RESOURCE_TYPE_NOT_FOUND},
    {{"Crypt"}, Zero, 0x80090020}, // NTE_FAIL
    {{"Cert"}, Zero, 0x80092004},  // CRYPT_E_NOT_FOUND
    {{""}, Zero, ERROR_ACCESS_DENIED},
};

const auto& FailureOf(const std::string& import) {
    return *std::ranges::find_if(kFailures, [&](const auto& row) {
        return std::ranges::any_of(row.begins, [&](const char* begin) { return import.starts_with(begin); });
    });
}

} // namespace

DWORD UsualError(const std::string& import) {
    return FailureOf(import).error;
}

bool IsCloser(const std::string& import) {
    constexpr const char* kVerbs[] = {"Close", "Free", "Release", "Destroy"};
    return std::ranges::any_of(kVerbs,
                               [&](const char* verb) { return import.find(verb) != std::string::npos; });
}

uint64_t Fail(const std::string& import, const Tap::Call& call, DWORD error) {
    const bool releasesTrust =
        import == "WinVerifyTrust" &&
        reinterpret_cast<const WINTRUST_DATA*>(call.arguments[2])->dwStateAction == WTD_STATEACTION_CLOSE;
    if (IsCloser(import) || releasesTrust) {
        call.Run();
    }
    if (import == "Copy") { // hands its error out
        *reinterpret_cast<uint32_t*>(call.arguments[3]) = error;
    }
    SetLastError(error);
    switch (FailureOf(import).answer) {
    case TheError:
        return error;
    case AllOnes:
        return ~uint64_t{0};
    case One:
        return 1;
    default:
        return 0;
    }
}

Fault::Fault(HMODULE module, const std::string& import, DWORD error, int failing)
    : tap_(module, import, [=, this](const Tap::Call& call) {
          ++calls_;
          return failing == kEveryCall || failing == calls_ ? Fail(import, call, error) : call.Run();
      }) {}

} // namespace steward::test
