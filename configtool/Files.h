// Paths and files as the commands need them.
#pragma once

#include <windows.h>

#include <string>

namespace steward::configtool {

// The whole path of a file that somebody named. Fails for what cannot be one.
std::wstring FullPath(const std::wstring& path);

// The configuration file of the installed platform, by the registry.
std::wstring InstalledConfiguration();

// Whether two paths lead to one file, hard links and other names of a folder included. False when one is
// absent.
bool IsSameFile(const std::wstring& a, const std::wstring& b);

// Another process that holds a file for a moment (the plug-in that reads, a virus scanner) is waited for: the
// attempt is repeated for two seconds while it fails because of that. Last-error is that of the last attempt.
template <typename Attempt> bool WhileInUse(Attempt attempt) {
    constexpr int kAttempts = 40;
    constexpr DWORD kPauseMilliseconds = 50;
    for (int count = 1; !attempt(); ++count) {
        const DWORD error = GetLastError();
        const bool isInUse = error == ERROR_SHARING_VIOLATION || error == ERROR_UNABLE_TO_REMOVE_REPLACED;
        if (!isInUse || count == kAttempts) {
            SetLastError(error);
            return false;
        }
        Sleep(kPauseMilliseconds);
    }
    return true;
}

} // namespace steward::configtool
