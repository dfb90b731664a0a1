#include "WindowsFiles.h"

#include "util/Handles.h"
#include "util/RegKey.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

namespace steward::tools {

namespace {

// The list holds "\\??\\C:\\..."; an exclamation mark before it lets a move replace a file.
std::wstring Win32Path(const std::wstring& listed) {
    constexpr std::wstring_view kDevicePrefix = L"\\??\\";
    const size_t start = listed.starts_with(L"!") ? 1 : 0;
    const bool isPrefixed = std::wstring_view(listed).substr(start).starts_with(kDevicePrefix);
    return listed.substr(start + (isPrefixed ? kDevicePrefix.size() : 0));
}

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
        const auto text = [&](const wchar_t* name) {
            wchar_t block[64];
            wsprintfW(block, L"\\StringFileInfo\\%04x%04x\\%s", words[0], words[1], name);
            void* value = nullptr;
            return VerQueryValueW(resource.data(), block, &value, &length)
                       ? std::wstring(static_cast<const wchar_t*>(value))
                       : std::wstring();
        };
        identity.originalName = text(L"OriginalFilename");
        identity.productName = text(L"ProductName");
    }
    return identity;
}

bool IsOlder(const std::string& version, const std::string& than) {
    const auto parts = [](const std::string& text) {
        std::array<unsigned, 4> numbers{};
        const int found =
            std::sscanf(text.c_str(), "%u.%u.%u.%u", &numbers[0], &numbers[1], &numbers[2], &numbers[3]);
        return found == 4 ? std::optional(numbers) : std::nullopt;
    };
    const auto left = parts(version);
    const auto right = parts(than);
    return left && right && *left < *right;
}

std::vector<PendingMove> MovesAtRestart() {
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
    std::vector<PendingMove> moves;
    const wchar_t* const end = pairs.data() + bytes / sizeof(wchar_t);
    for (const wchar_t* at = pairs.data(); at < end && *at != L'\0';) {
        const std::wstring from = at;
        at += from.size() + 1;
        const std::wstring to = at < end ? at : L"";
        at += to.size() + 1;
        moves.push_back({Win32Path(from), Win32Path(to)});
    }
    return moves;
}

std::vector<std::wstring> FilesDeletedAtRestart() {
    std::vector<std::wstring> files;
    for (PendingMove& move : MovesAtRestart()) {
        if (move.to.empty()) {
            files.push_back(std::move(move.from));
        }
    }
    return files;
}

std::optional<std::string> ContentOf(const std::wstring& path) {
    constexpr LONGLONG kMost = LONGLONG{256} * 1024 * 1024;
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.Get(), &size) || size.QuadPart > kMost) {
        return std::nullopt;
    }
    std::string content(static_cast<size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &read, nullptr)) {
        return std::nullopt;
    }
    content.resize(read);
    return content;
}

} // namespace steward::tools
