#include "Console.h"

#include "util/Utf8.h"

namespace steward::tools {

bool Print(DWORD standardHandle, const std::string& utf8) {
    const HANDLE output = GetStdHandle(standardHandle);
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(output, &mode) != FALSE) {
        const std::wstring text = WideFromUtf8(utf8);
        return WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) !=
               FALSE;
    }
    return WriteFile(output, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr) != FALSE &&
           written == utf8.size();
}

void KeepLogOffTheConsole() {
    if (GetEnvironmentVariableW(L"TRACESINK_FILE", nullptr, 0) == 0) {
        SetEnvironmentVariableW(L"TRACESINK_FILE", L"NUL");
    }
}

} // namespace steward::tools
