#include "Failure.h"

#include "WindowsError.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>

namespace steward::configtool {

void Fail(const std::wstring& message) {
    std::wstring line = message;
    std::replace_if(line.begin(), line.end(), [](wchar_t c) { return c < L' '; }, L'?');
    throw Failure(Utf8FromWide(line));
}

std::wstring LastErrorText() {
    const DWORD error = GetLastError();
    return L"error " + std::to_wstring(error) + L": " + WideFromUtf8(tools::SystemMessage(error));
}

} // namespace steward::configtool
