#include "WindowsError.h"

#include "util/Utf8.h"

#include <windows.h>

#include <cstdint>

namespace steward::tools {

std::string SystemMessage(uint32_t error) {
    wchar_t text[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    std::wstring message(text, length);
    message.resize(message.find_last_not_of(L". \r\n") + 1); // npos + 1 is 0
    return Utf8FromWide(message);
}

} // namespace steward::tools
