#include "FileSecurity.h"

#include "util/Handles.h"

#include <sddl.h>

#include <memory>
#include <string>

namespace steward::configtool {

namespace {

using LocalMemory = std::unique_ptr<void, decltype(&LocalFree)>;

// "S-1-5-...", empty on failure.
std::wstring UserOfThisProcess() {
    HANDLE opened = INVALID_HANDLE_VALUE;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
        return {};
    }
    const FileHandle token(opened);
    alignas(TOKEN_USER) std::byte user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD bytes = 0;
    wchar_t* text = nullptr;
    if (GetTokenInformation(token.Get(), TokenUser, user, sizeof user, &bytes) == FALSE ||
        ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, &text) == FALSE) {
        return {};
    }
    const LocalMemory owner(text, LocalFree);
    return text;
}

} // namespace

SecurityDescriptor OwnerAlone() {
    const std::wstring user = UserOfThisProcess();
    void* descriptor = nullptr;
    ULONG bytes = 0;
    if (user.empty() ||
        ConvertStringSecurityDescriptorToSecurityDescriptorW((L"D:P(A;;FA;;;" + user + L")").c_str(),
                                                             SDDL_REVISION_1, &descriptor, &bytes) == FALSE) {
        return {};
    }
    const LocalMemory owner(descriptor, LocalFree);
    const auto* const first = static_cast<const std::byte*>(descriptor);
    return {first, first + bytes};
}

SecurityDescriptor AccessListOf(const wchar_t* path) {
    DWORD bytes = 0;
    GetFileSecurityW(path, DACL_SECURITY_INFORMATION, nullptr, 0, &bytes);
    SecurityDescriptor descriptor(bytes);
    const bool isKnown =
        GetFileSecurityW(path, DACL_SECURITY_INFORMATION, descriptor.data(), bytes, &bytes) != FALSE;
    return isKnown ? descriptor : SecurityDescriptor();
}

} // namespace steward::configtool
