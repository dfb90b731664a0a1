#pragma once

#include <string>
#include <string_view>

namespace steward {

// Ill-formed input becomes U+FFFD, as the system converts it.
std::string Utf8FromWide(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

} // namespace steward
