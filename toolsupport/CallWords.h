// What the entry and exit lines of the traced functions say, in words for a person.
#pragma once

#include <string>
#include <string_view>

namespace steward::tools {

// What the call is about, from the text behind the comma of its entry line.
std::string DetailOf(std::string_view function, std::string_view arguments);

struct CallResult {
    std::string text;
    bool failed = false;
};

// From the text behind the comma of an exit line.
CallResult ResultOf(std::string_view text);

// The text behind `label`, and nothing when it does not begin with it.
std::string_view Behind(std::string_view text, std::string_view label);

} // namespace steward::tools
