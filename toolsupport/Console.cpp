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

// In pieces: the console of older systems refuses much at once.
bool PrintToConsole(HANDLE console, const std::wstring& text) {
    constexpr size_t kPiece = 8000;
    for (size_t at = 0; at < text.size();) {
        const auto units = static_cast<DWORD>(std::min(kPiece, text.size() - at));
        DWORD written = 0;
        if (!WriteConsoleW(console, text.data() + at, units, &written, nullptr) || written == 0) {
            return false;
        }
        at += written;
    }
    return true;
}

bool PrintToFile(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD written = 0;
        if (!WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
            written == 0) {
            return false;
        }
        bytes.remove_prefix(written);
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
