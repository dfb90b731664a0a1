#include "ConfigurationLock.h"

#include "Failure.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace steward::configtool {

namespace {

constexpr DWORD kPauseMilliseconds = 100;
constexpr unsigned kAttemptsPerSecond = 1'000 / kPauseMilliseconds;

// By its long name: all spellings of the configuration's path have one lock.
std::wstring LockPath(const std::wstring& configuration) {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetLongPathNameW(configuration.c_str(), path, static_cast<DWORD>(std::size(path)));
    return (length == 0 || length >= std::size(path) ? configuration : std::wstring(path)) + L".lock";
}

FileHandle Take(const std::wstring& path) {
    return FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

// Held by another process, or about to vanish with the one that held it.
bool IsHeld(DWORD error) {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
}

void WriteHolder(HANDLE file) {
    wchar_t user[257] = L"?";
    DWORD units = static_cast<DWORD>(std::size(user));
    GetUserNameW(user, &units);
    const std::string holder = "process " + std::to_string(GetCurrentProcessId()) + " of user " +
                               Utf8FromWide(static_cast<const wchar_t*>(user));
    DWORD written = 0;
    WriteFile(file, holder.data(), static_cast<DWORD>(holder.size()), &written, nullptr);
}

std::wstring HolderOf(const std::wstring& path) {
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    char text[512] = {};
    DWORD read = 0;
    const bool isKnown = file && ReadFile(file.Get(), text, sizeof text, &read, nullptr) != FALSE && read > 0;
    return isKnown ? WideFromUtf8({text, read}) : L"another process";
}

[[noreturn]] void FailToLock(const std::wstring& configuration, const std::wstring& path) {
    const DWORD error = GetLastError();
    if (error == ERROR_SHARING_VIOLATION) {
        Fail(configuration + L" is being changed by " + HolderOf(path) +
             L"; try again when that is done, wait longer with --wait <seconds>, or end that process");
    }
    if (error == ERROR_PATH_NOT_FOUND) {
        Fail(L"there is no folder for " + configuration + L"; make it, or name another file with --file");
    }
    Fail(path + L" cannot be made (" + LastErrorText() +
         L"); check that you may write in the folder, elevated if need be");
}

} // namespace

ConfigurationLock::ConfigurationLock(const std::wstring& configuration, unsigned seconds) {
    const std::wstring path = LockPath(configuration);
    unsigned patience = seconds * kAttemptsPerSecond;
    while (!(file_ = Take(path))) {
        const DWORD error = GetLastError();
        if (patience == 0 || !IsHeld(error)) {
            FailToLock(configuration, path);
        }
        // A file about to vanish is gone at once; after a second it is a matter of access rights.
        patience = error == ERROR_ACCESS_DENIED ? std::min(patience, kAttemptsPerSecond) : patience;
        --patience;
        Sleep(kPauseMilliseconds);
    }
    WriteHolder(file_.Get());
}

} // namespace steward::configtool
