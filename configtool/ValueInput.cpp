#include "ValueInput.h"

#include "Console.h"
#include "Failure.h"
#include "util/Utf8.h"

#include <windows.h>

#include <iterator>
#include <string_view>

namespace steward::configtool {

namespace {

constexpr size_t kLongestValue = 1 << 20;

void CheckLength(size_t length) {
    if (length > kLongestValue) {
        Fail(L"what standard input holds is longer than a value may be (1 MB)");
    }
}

std::string WithoutLineBreak(std::string text) {
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    if (text.ends_with('\r')) {
        text.pop_back();
    }
    return text;
}

// A console that shows nothing of what is typed, also given back when Ctrl-C ends the program.
class SilentConsole {
  public:
    explicit SilentConsole(HANDLE input) {
        input_ = input;
        GetConsoleMode(input, &mode_);
        SetConsoleCtrlHandler(OnControl, TRUE);
        SetConsoleMode(input, (mode_ & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) | ENABLE_LINE_INPUT |
                                  ENABLE_PROCESSED_INPUT);
    }
    SilentConsole(const SilentConsole&) = delete;
    SilentConsole& operator=(const SilentConsole&) = delete;
    ~SilentConsole() {
        SetConsoleMode(input_, mode_);
        SetConsoleCtrlHandler(OnControl, FALSE);
    }

  private:
    static BOOL WINAPI OnControl(DWORD /*event*/) {
        SetConsoleMode(input_, mode_);
        return FALSE; // the program ends
    }

    static inline HANDLE input_ = nullptr;
    static inline DWORD mode_ = 0;
};

std::string ReadLineUnseen(HANDLE input) {
    tools::Print(STD_ERROR_HANDLE, "value (not shown while you type): ");
    std::wstring line;
    {
        const SilentConsole silence(input);
        wchar_t piece[256];
        for (DWORD units = 0; !line.ends_with(L'\n'); line.append(piece, units)) {
            if (ReadConsoleW(input, piece, static_cast<DWORD>(std::size(piece)), &units, nullptr) == FALSE ||
                units == 0) {
                Fail(L"nothing can be read from the console (" + LastErrorText() + L")");
            }
            CheckLength(line.size());
        }
    }
    tools::Print(STD_ERROR_HANDLE, "\n");
    return WithoutLineBreak(Utf8FromWide(line));
}

std::string ReadAll(HANDLE input) {
    std::string text;
    char piece[4096];
    for (DWORD bytes = 1; bytes != 0; text.append(piece, bytes)) {
        CheckLength(text.size());
        if (ReadFile(input, piece, sizeof piece, &bytes, nullptr) == FALSE) {
            if (GetLastError() != ERROR_BROKEN_PIPE) { // the end of what was written into it
                Fail(L"standard input cannot be read (" + LastErrorText() + L"); give it the value");
            }
            bytes = 0;
        }
    }
    return text;
}

} // namespace

std::string ReadValue() {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(input, &mode) != FALSE) {
        return ReadLineUnseen(input);
    }
    std::string text = WithoutLineBreak(ReadAll(input));
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) {
        text.erase(0, kByteOrderMark.size());
    }
    if (Utf8FromWide(WideFromUtf8(text)) != text) {
        Fail(
            L"what standard input holds is not UTF-8; switch the console with \"chcp 65001\", or give a file "
            L"in UTF-8");
    }
    return text;
}

} // namespace steward::configtool
