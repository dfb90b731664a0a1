// Development stand-in for the platform's logging library: one line "time level module file:line message" per
// record, in UTF-8, appended to the file that TRACESINK_FILE names, or to standard error.
//
// Thresholds: TRACESINK_LEVEL for every module (default 2), overridden by TRACESINK_LEVEL_<n> = "<level>
// <module>" for n = 1, 2, ... up to the first that is not set.
#include "traceSink.h"

#include <windows.h>

#include <cwchar>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr uint32_t kDefaultLevel = 2;

std::wstring Environment(const wchar_t* name) {
    wchar_t value[1024] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, static_cast<DWORD>(std::size(value)));
    return length < std::size(value) ? std::wstring(value, length) : std::wstring();
}

uint32_t LevelIn(const std::wstring& text) {
    return static_cast<uint32_t>(std::wcstoul(text.c_str(), nullptr, 10));
}

struct Settings {
    std::wstring file = Environment(L"TRACESINK_FILE");
    uint32_t level = kDefaultLevel;
    std::vector<std::pair<std::wstring, uint32_t>> modules;

    Settings() {
        if (const std::wstring text = Environment(L"TRACESINK_LEVEL"); !text.empty()) {
            level = LevelIn(text);
        }
        for (int n = 1;; ++n) {
            const std::wstring entry = Environment((L"TRACESINK_LEVEL_" + std::to_wstring(n)).c_str());
            const size_t blank = entry.find(L' ');
            if (blank == std::wstring::npos) {
                return;
            }
            modules.emplace_back(entry.substr(blank + 1), LevelIn(entry));
        }
    }
};

Settings& Current() {
    static Settings settings;
    return settings;
}

std::string Utf8(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    const int written = length == 0 ? 0
                                    : WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(),
                                                          static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<size_t>(written));
    return bytes;
}

std::wstring Now() {
    SYSTEMTIME time;
    GetLocalTime(&time);
    wchar_t text[32];
    wsprintfW(text, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear, time.wMonth, time.wDay, time.wHour,
              time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
}

} // namespace

void* Log_GetDefaultHandle() {
    return &Current();
}

uint32_t Log_GetLogLevel(void* handle, const wchar_t* module) {
    const auto& settings = *static_cast<Settings*>(handle);
    for (const auto& [name, level] : settings.modules) {
        if (name == module) {
            return level;
        }
    }
    return settings.level;
}

uint32_t Log_Flush(void* handle, const wchar_t* module, uint32_t level, const wchar_t* file, uint32_t line,
                   const wchar_t* text, uint32_t bytes) {
    const auto& settings = *static_cast<Settings*>(handle);
    const std::wstring message =
        text == nullptr ? std::wstring() : std::wstring(text, bytes / sizeof(wchar_t));
    const std::string record = Utf8(Now() + L" " + std::to_wstring(level) + L" " + module + L" " + file +
                                    L":" + std::to_wstring(line) + L" " + message + L"\r\n");
    // One append write per line, so that several processes can share a file.
    const HANDLE out = settings.file.empty() ? GetStdHandle(STD_ERROR_HANDLE)
                                             : CreateFileW(settings.file.c_str(), FILE_APPEND_DATA,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (out == INVALID_HANDLE_VALUE || out == nullptr) {
        return 1;
    }
    DWORD written = 0;
    const BOOL stored = WriteFile(out, record.data(), static_cast<DWORD>(record.size()), &written, nullptr);
    if (!settings.file.empty()) {
        CloseHandle(out);
    }
    return stored ? 0 : 1;
}
