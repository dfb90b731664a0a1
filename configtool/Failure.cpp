#include "Failure.h"

#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace steward::configtool {

void Fail(const std::wstring& message) {
    std::wstring line = message;
    std::replace_if(line.begin(), line.end(), [](wchar_t c) { return c < L' '; }, L'?');
    throw Failure(Utf8FromWide(line));
}

std::wstring LastErrorText() {
    const DWORD error = GetLastError();
    wchar_t text[512] = {};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    const std::wstring_view message(text, length);
    return L"error " + std::to_wstring(error) + L": " +
           std::wstring(message.substr(0, message.find_last_not_of(L"\r\n. ") + 1));
}

} // namespace steward::configtool
