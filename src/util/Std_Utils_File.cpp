#include "util/Std_Utils_File.h"

#include "util/Log.h"

#include <cwctype>

namespace steward {

namespace {

constexpr LogSource kLog{kUtilModule, L"Std_Utils_File.cpp"};

constexpr DWORD kProtectingAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

wint_t DriveOf(const wchar_t* path) {
    wchar_t drive[_MAX_DRIVE] = {};
    _wsplitpath(path, drive, nullptr, nullptr, nullptr);
    return std::towupper(static_cast<wint_t>(drive[0]));
}

// For systems without the extended move.
bool MovePlainly(const wchar_t* source, const wchar_t* destination, DWORD flags) {
    const bool replace = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    if (DriveOf(source) == DriveOf(destination)) {
        if (replace) {
            DeleteFileW(destination);
        }
        return MoveFileW(source, destination) != FALSE;
    }
    if ((flags & MOVEFILE_COPY_ALLOWED) == 0) {
        return false;
    }
    return CopyFileW(source, destination, replace ? FALSE : TRUE) && DeleteFileW(source);
}

} // namespace

bool IsFileExist(const wchar_t* path) {
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

bool ResetFileAttributes(const wchar_t* path) {
    if (!IsFileExist(path)) {
        return true;
    }
    if (SetFileAttributesW(path, FILE_ATTRIBUTE_NORMAL)) {
        STEWARD_LOG(2, L"Succed to reset  file attributes to FILE_ATTRIBUTE_NORMAL: ", path);
        return true;
    }
    STEWARD_LOG(5, L"Failed to reset  file attributes to FILE_ATTRIBUTE_NORMAL: ", path, L"GetLastError() = ",
                GetLastError());
    return false;
}

bool DeleteExistingFile(const wchar_t* path) {
    if (!IsFileExist(path)) {
        return true;
    }
    if (!ResetFileAttributes(path)) {
        return true; // deliberately: what cannot be reset is nothing to delete
    }
    if (DeleteFileW(path)) {
        return true;
    }
    STEWARD_LOG(5, L"Delete existing file fail, File: ", path, L", GetLastError() = ", GetLastError());
    return false;
}

bool MoveFileWithFallback(const wchar_t* source, const wchar_t* destination, DWORD flags,
                          bool resetAttributes) {
    if (resetAttributes) {
        const DWORD attributes = GetFileAttributesW(source);
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & kProtectingAttributes) != 0) {
            STEWARD_LOG(2, L"Reset file attributes to FILE_ATTRIBUTE_NORMAL: ", source);
            SetFileAttributesW(source, FILE_ATTRIBUTE_NORMAL);
        }
    }
    if (MoveFileExW(source, destination, flags)) {
        return true;
    }
    if (GetLastError() != ERROR_CALL_NOT_IMPLEMENTED || destination == nullptr) {
        return false;
    }
    return MovePlainly(source, destination, flags);
}

} // namespace steward
