#include "WindowsFiles.h"

#include "util/RegKey.h"

#include <windows.h>

#include <cstddef>
#include <iterator>

namespace steward::tools {

namespace {

constexpr wchar_t kDevicePrefix[] = L"\\??\\";

} // namespace

std::optional<FileIdentity> IdentityOf(const std::wstring& path) {
    const DWORD bytes = GetFileVersionInfoSizeW(path.c_str(), nullptr);
    std::vector<std::byte> resource(bytes + 1);
    void* root = nullptr;
    UINT length = 0;
    if (bytes == 0 || !GetFileVersionInfoW(path.c_str(), 0, bytes, resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", &root, &length)) {
        return std::nullopt;
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(root);
    FileIdentity identity;
    identity.version = std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
                       std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
                       std::to_string(HIWORD(info.dwFileVersionLS)) + "." +
                       std::to_string(LOWORD(info.dwFileVersionLS));
    void* translation = nullptr;
    if (VerQueryValueW(resource.data(), L"\\VarFileInfo\\Translation", &translation, &length) &&
        length >= 4) {
        const auto* const words = static_cast<const WORD*>(translation);
        wchar_t block[64];
        wsprintfW(block, L"\\StringFileInfo\\%04x%04x\\OriginalFilename", words[0], words[1]);
        void* name = nullptr;
        if (VerQueryValueW(resource.data(), block, &name, &length)) {
            identity.originalName = static_cast<const wchar_t*>(name);
        }
    }
    return identity;
}

std::vector<std::wstring> FilesDeletedAtRestart() {
    RegKey key;
    DWORD bytes = 0;
    constexpr wchar_t kValue[] = L"PendingFileRenameOperations";
    if (key.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", KEY_READ) !=
            ERROR_SUCCESS ||
        key.QueryBinaryValue(kValue, nullptr, bytes) != ERROR_SUCCESS || bytes == 0) {
        return {};
    }
    std::wstring pairs(bytes / sizeof(wchar_t) + 2, L'\0');
    if (key.QueryBinaryValue(kValue, pairs.data(), bytes) != ERROR_SUCCESS) {
        return {};
    }
    std::vector<std::wstring> files;
    const wchar_t* const end = pairs.data() + bytes / sizeof(wchar_t);
    for (const wchar_t* at = pairs.data(); at < end && *at != L'\0';) {
        std::wstring from = at;
        at += from.size() + 1;
        const std::wstring to = at < end ? at : L"";
        at += to.size() + 1;
        if (to.empty()) {
            files.push_back(from.starts_with(kDevicePrefix) ? from.substr(std::size(kDevicePrefix) - 1)
                                                            : from);
        }
    }
    return files;
}

} // namespace steward::tools
