#include "Json.h"

#include <cstdio>

namespace steward::tools {

std::string JsonText(std::string_view utf8) {
    std::string quoted = "\"";
    for (const char c : utf8) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            quoted += escape;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

} // namespace steward::tools
