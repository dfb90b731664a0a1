// Development stand-in for the platform's setup library.
#include "setupKit.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

bool Store(wchar_t* buffer, const std::wstring& text) {
    if (buffer == nullptr || text.size() >= SETUPKIT_PATH_UNITS) {
        return false;
    }
    std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return true;
}

// The folder that `query` (GetWindowsDirectoryW, GetSystemDirectoryW) names, with a trailing backslash.
std::wstring SystemFolder(UINT(WINAPI* query)(LPWSTR, UINT)) {
    wchar_t folder[MAX_PATH] = {};
    const UINT length = query(folder, MAX_PATH);
    std::wstring path(folder, length < MAX_PATH ? length : 0);
    if (!path.empty() && path.back() != L'\\') {
        path += L'\\';
    }
    return path;
}

} // namespace

BOOL CoordinateBackSlash(wchar_t* path, uint32_t capacity) {
    if (path == nullptr) {
        return FALSE;
    }
    const size_t length = wcsnlen(path, capacity);
    size_t kept = length;
    while (kept > 0 && (path[kept - 1] == L'\\' || path[kept - 1] == L'/')) {
        --kept;
    }
    if (length == 0) {
        return capacity > 0;
    }
    if (kept + 2 > capacity) {
        return FALSE;
    }
    for (size_t i = 0; i < kept; ++i) {
        if (path[i] == L'/') {
            path[i] = L'\\';
        }
    }
    path[kept] = L'\\';
    path[kept + 1] = L'\0';
    return TRUE;
}

BOOL GetWindowsDrvDir(wchar_t* buffer) {
    return Store(buffer, SystemFolder(GetSystemDirectoryW) + L"drivers\\");
}

BOOL GetDirInWinDir(wchar_t* buffer, const wchar_t* relative) {
    return relative != nullptr && Store(buffer, SystemFolder(GetWindowsDirectoryW) + relative);
}

BOOL Copy(const wchar_t* destination, const wchar_t* source, BOOL overwrite, uint32_t* error) {
    const BOOL copied = CopyFileW(source, destination, overwrite ? FALSE : TRUE);
    if (!copied && error != nullptr) {
        *error = GetLastError();
    }
    return copied;
}
