// Development stand-in for the platform's logging library: one line per record, in UTF-8, appended to the
// file that TRACESINK_FILE names, or to standard error:
//
//     YYYY-MM-DD HH:MM:SS.uuuuuu <level> <module tag> <file>:<line> <message>
//
// in local time, ended by CR LF. A control character or line separator inside a record is written as its code
// in two or four hexadecimal digits between angle brackets, so that no message forges a line: CR LF is
// "<0D><0A>".
//
// Thresholds: TRACESINK_LEVEL for every module (default 2), overridden by TRACESINK_LEVEL_<n> = "<level>
// <module>" for n = 1, 2, ... up to the first that is not set.
#include "traceSink.h"

#include <windows.h>

#include <cstdint>
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

std::wstring Digits(uint64_t value, size_t width = 1) {
    std::wstring digits;
    for (; value != 0 || digits.size() < width; value /= 10) {
        digits.insert(digits.begin(), L"0123456789"[value % 10]);
    }
    return digits;
}

struct Settings {
    std::wstring file = Environment(L"TRACESINK_FILE");
    uint32_t level = kDefaultLevel;
    std::vector<std::pair<std::wstring, uint32_t>> modules;

    Settings() {
        if (const std::wstring text = Environment(L"TRACESINK_LEVEL"); !text.empty()) {
            level = LevelIn(text);
        }
        for (uint64_t n = 1;; ++n) {
            const std::wstring entry = Environment((L"TRACESINK_LEVEL_" + Digits(n)).c_str());
            const size_t blank = entry.find(L' ');
            if (blank == std::wstring::npos) {
                return;
            }
            modules.emplace_back(entry.substr(blank + 1), LevelIn(entry));
        }
    }
};

// Made when the library is loaded, as all that is made once here: what guards the first use in a function
// imports younger functions than Windows XP has.
Settings current;

std::string Utf8(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    const int written = length == 0 ? 0
                                    : WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(),
                                                          static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<size_t>(written));
    return bytes;
}

bool IsControl(wchar_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
}

std::wstring Escaped(const std::wstring& text) {
    std::wstring escaped;
    for (const wchar_t unit : text) {
        if (IsControl(unit)) {
            escaped += L'<';
            for (int shift = unit > 0xFF ? 12 : 4; shift >= 0; shift -= 4) {
                escaped += L"0123456789ABCDEF"[(unit >> shift) & 0xF];
            }
            escaped += L'>';
        } else {
            escaped += unit;
        }
    }
    return escaped;
}

constexpr uint64_t kTicksPerSecond = 10'000'000; // of a FILETIME

uint64_t Ticks(const FILETIME& time) {
    return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

uint64_t Counter(BOOL(WINAPI* query)(LARGE_INTEGER*)) {
    LARGE_INTEGER value{};
    query(&value);
    return static_cast<uint64_t>(value.QuadPart);
}

uint64_t CoarseTime() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    return Ticks(time);
}

// Before Windows 8 the system time moves in steps of some milliseconds; the performance counter tells what
// has passed since the library was loaded.
const uint64_t counterFrequency = Counter(QueryPerformanceFrequency);
const uint64_t counterStart = Counter(QueryPerformanceCounter);
const uint64_t startTime = CoarseTime();

uint64_t TimeByCounter() {
    const uint64_t passed = Counter(QueryPerformanceCounter) - counterStart;
    return startTime + passed / counterFrequency * kTicksPerSecond +
           passed % counterFrequency * kTicksPerSecond / counterFrequency;
}

using PreciseTime = void(WINAPI*)(FILETIME*);
const auto preciseTime = reinterpret_cast<PreciseTime>(reinterpret_cast<void*>(
    GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetSystemTimePreciseAsFileTime")));

uint64_t SystemTime() {
    if (preciseTime == nullptr) {
        return TimeByCounter();
    }
    FILETIME time;
    preciseTime(&time);
    return Ticks(time);
}

std::wstring Now() {
    const uint64_t ticks = SystemTime();
    const FILETIME utc{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    FILETIME local;
    SYSTEMTIME time;
    FileTimeToLocalFileTime(&utc, &local);
    FileTimeToSystemTime(&local, &time);
    return Digits(time.wYear, 4) + L"-" + Digits(time.wMonth, 2) + L"-" + Digits(time.wDay, 2) + L" " +
           Digits(time.wHour, 2) + L":" + Digits(time.wMinute, 2) + L":" + Digits(time.wSecond, 2) + L"." +
           Digits(ticks % kTicksPerSecond / 10, 6);
}

// One append write per line, so that several processes can share a file.
bool Append(const Settings& settings, const std::string& record) {
    const HANDLE out = settings.file.empty() ? GetStdHandle(STD_ERROR_HANDLE)
                                             : CreateFileW(settings.file.c_str(), FILE_APPEND_DATA,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (out == INVALID_HANDLE_VALUE || out == nullptr) {
        return false;
    }
    DWORD written = 0;
    const BOOL stored = WriteFile(out, record.data(), static_cast<DWORD>(record.size()), &written, nullptr);
    if (!settings.file.empty()) {
        CloseHandle(out);
    }
    return stored && written == record.size();
}

const wchar_t* TextOr(const wchar_t* text, const wchar_t* otherwise) {
    return text == nullptr ? otherwise : text;
}

} // namespace

// Callers are plain C: nothing may be thrown at them.

void* Log_GetDefaultHandle() try { return &current; } catch (...) {
    return nullptr;
}

uint32_t Log_GetLogLevel(void* handle, const wchar_t* module) {
    if (handle == nullptr) {
        return 0;
    }
    const auto& settings = *static_cast<Settings*>(handle);
    for (const auto& [name, level] : settings.modules) {
        if (name == TextOr(module, L"")) {
            return level;
        }
    }
    return settings.level;
}

uint32_t Log_Flush(void* handle, const wchar_t* module, uint32_t level, const wchar_t* file, uint32_t line,
                   const wchar_t* text, uint32_t bytes) try {
    if (handle == nullptr) {
        return 1;
    }
    const std::wstring message(TextOr(text, L""), text == nullptr ? 0 : bytes / sizeof(wchar_t));
    const std::wstring record = Digits(level) + L" " + TextOr(module, L"?") + L" " + TextOr(file, L"?") +
                                L":" + Digits(line) + L" " + message;
    return Append(*static_cast<Settings*>(handle), Utf8(Now() + L" " + Escaped(record) + L"\r\n")) ? 0 : 1;
} catch (...) {
    return 1;
}
