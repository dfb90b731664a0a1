#include "util/Utf8.h"

#include <windows.h>

namespace steward {

std::string Utf8FromWide(std::wstring_view text) {
    const int units = static_cast<int>(text.size());
    const int bytes =
        units == 0 ? 0 : WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string converted(static_cast<size_t>(bytes), '\0');
    if (bytes != 0) {
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, converted.data(), bytes, nullptr, nullptr);
    }
    return converted;
}

std::wstring WideFromUtf8(std::string_view text) {
    const int bytes = static_cast<int>(text.size());
    const int units = bytes == 0 ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring converted(static_cast<size_t>(units), L'\0');
    if (units != 0) {
        MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, converted.data(), units);
    }
    return converted;
}

} // namespace steward
