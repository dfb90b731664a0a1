#include "Console.h"

#include "util/Utf8.h"

#include <algorithm>
#include <string_view>

namespace steward::tools {

namespace {

constexpr size_t kConsoleUnits =
    8'192; // a console of Windows 7 takes 64 KB at most, shared with other programs
constexpr size_t kFileBytes = 1 << 20;

bool IsHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool PrintToConsole(HANDLE console, std::wstring_view text) {
    while (!text.empty()) {
        size_t units = std::min(text.size(), kConsoleUnits);
        if (units > 1 && IsHighSurrogate(text[units - 1])) {
            --units; // a character is not written in two halves
        }
        DWORD written = 0;
        if (WriteConsoleW(console, text.data(), static_cast<DWORD>(units), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

bool PrintToFile(HANDLE file, std::string_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        const auto bytes = static_cast<DWORD>(std::min(text.size(), kFileBytes));
        if (WriteFile(file, text.data(), bytes, &written, nullptr) == FALSE || written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

} // namespace

bool Print(DWORD standardHandle, const std::string& utf8) {
    const HANDLE output = GetStdHandle(standardHandle);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != FALSE ? PrintToConsole(output, WideFromUtf8(utf8))
                                                  : PrintToFile(output, utf8);
}

void KeepLogOffTheConsole() {
    if (GetEnvironmentVariableW(L"TRACESINK_FILE", nullptr, 0) == 0) {
        SetEnvironmentVariableW(L"TRACESINK_FILE", L"NUL");
    }
}

} // namespace steward::tools
