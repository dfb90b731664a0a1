#include "Console.h"

#include "util/Utf8.h"

#include <io.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace steward::tools {

namespace {

HANDLE answers = nullptr; // standard output as the program was given it, once it is kept

HANDLE StreamOf(DWORD standardHandle) {
    return standardHandle == STD_OUTPUT_HANDLE && answers != nullptr ? answers : GetStdHandle(standardHandle);
}

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

bool IsConsoleHandle(HANDLE stream) {
    DWORD mode = 0;
    return GetConsoleMode(stream, &mode) != FALSE;
}

} // namespace

bool Print(DWORD standardHandle, const std::string& utf8) {
    const HANDLE stream = StreamOf(standardHandle);
    return IsConsoleHandle(stream) ? PrintToConsole(stream, WideFromUtf8(utf8)) : PrintToFile(stream, utf8);
}

void KeepStandardOutputForAnswers() {
    HANDLE kept = nullptr;
    const HANDLE process = GetCurrentProcess();
    if (answers != nullptr || !DuplicateHandle(process, GetStdHandle(STD_OUTPUT_HANDLE), process, &kept, 0,
                                               FALSE, DUPLICATE_SAME_ACCESS)) {
        return;
    }
    answers = kept;
    constexpr int kOutput = 1;
    constexpr int kError = 2;
    std::fflush(stdout);
    _dup2(kError, kOutput); // what a library prints through the C runtime that this program uses
    SetStdHandle(STD_OUTPUT_HANDLE,
                 GetStdHandle(STD_ERROR_HANDLE)); // and through Windows, or another runtime
}

bool IsConsole(DWORD standardHandle) {
    return IsConsoleHandle(StreamOf(standardHandle));
}

void KeepLogOffTheConsole() {
    if (GetEnvironmentVariableW(L"TRACESINK_FILE", nullptr, 0) == 0) {
        SetEnvironmentVariableW(L"TRACESINK_FILE", L"NUL");
    }
}

} // namespace steward::tools
