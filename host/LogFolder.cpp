#include "LogFolder.h"

#include "WindowsError.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace steward::host {

namespace {

struct LocalMemory {
    void operator()(void* memory) const { LocalFree(memory); }
};
using Descriptor = std::unique_ptr<void, LocalMemory>;

// Owned by Administrators; full access for them and the system, nothing for anybody else, nothing inherited.
constexpr wchar_t kAccess[] = L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";

Descriptor AccessOfLogs() {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccess, SDDL_REVISION_1, &descriptor, nullptr);
    return Descriptor(descriptor);
}

std::vector<std::byte> ThisUser() {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
        return {};
    }
    const FileHandle owner(token);
    DWORD bytes = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &bytes);
    std::vector<std::byte> user(bytes);
    return GetTokenInformation(token, TokenUser, user.data(), bytes, &bytes) ? user
                                                                             : std::vector<std::byte>();
}

bool IsTrusted(PSID owner) {
    const std::vector<std::byte> user = ThisUser();
    return IsWellKnownSid(owner, WinBuiltinAdministratorsSid) || IsWellKnownSid(owner, WinLocalSystemSid) ||
           (!user.empty() && EqualSid(owner, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid));
}

// The folder itself, not what a link in its place leads to.
std::string WhyNotTrusted(const std::wstring& folder) {
    const FileHandle handle(CreateFileW(folder.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!handle || GetFileInformationByHandle(handle.Get(), &info) == FALSE) {
        return "it cannot be opened: " + tools::SystemMessage(GetLastError());
    }
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return "it is a link or a file";
    }
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(handle.Get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                        nullptr, &descriptor) != ERROR_SUCCESS) {
        return "its owner cannot be read";
    }
    const Descriptor held(descriptor);
    return IsTrusted(owner) ? "" : "it belongs to somebody who is no administrator";
}

} // namespace

std::wstring LogFolder() {
    wchar_t folder[MAX_PATH] = {};
    return SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder) == S_OK
               ? std::wstring(folder) + L"\\driverSteward\\logs\\"
               : std::wstring();
}

std::string MakeLogFolder() {
    const std::wstring logs = LogFolder();
    if (logs.empty()) {
        return "Windows names no folder for common program data";
    }
    const Descriptor access = AccessOfLogs();
    SECURITY_ATTRIBUTES attributes{sizeof attributes, access.get(), FALSE};
    for (const size_t end : {logs.size() - 6, logs.size() - 1}) { // the parent, the folder
        const std::wstring folder = logs.substr(0, end);
        CreateDirectoryW(folder.c_str(), access ? &attributes : nullptr);
        if (const std::string problem = WhyNotTrusted(folder); !problem.empty()) {
            return "the folder " + Utf8FromWide(folder) + " is not used: " + problem;
        }
    }
    return "";
}

std::vector<std::wstring> LogsInFolder() {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((LogFolder() + L"*.log").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return names;
    }
    do {
        if (const std::wstring name = found.cFileName;
            name.size() > 15 && name[8] == L'-' && name[15] == L'-') {
            names.push_back(name); // "20260102-030405-update-1234.log"
        }
    } while (FindNextFileW(search, &found));
    FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

void DeleteOldLogs(size_t kept) {
    const std::vector<std::wstring> names = LogsInFolder();
    for (size_t i = 0; i + kept < names.size(); ++i) {
        DeleteFileW((LogFolder() + names[i]).c_str());
    }
}

} // namespace steward::host
