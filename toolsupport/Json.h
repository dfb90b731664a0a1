// JSON output of the tools.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace steward::tools {

// UTF-8 text as a JSON string, quotes included.
std::string JsonText(std::string_view utf8);

// Indented, in ASCII; ill-formed UTF-8 becomes U+FFFD.
template <typename Json> std::string Dump(const Json& value) {
    return value.dump(2, ' ', true, Json::error_handler_t::replace);
}

} // namespace steward::tools
