#pragma once

#include <string>
#include <string_view>

namespace steward::tools {

// UTF-8 text as a JSON string, quotes included.
std::string JsonText(std::string_view utf8);

} // namespace steward::tools
