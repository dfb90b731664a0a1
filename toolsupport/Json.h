#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace steward::tools {

using Json = nlohmann::ordered_json; // members in the order in which they are written

// The document as indented ASCII with a line end. Ill-formed UTF-8 becomes U+FFFD.
template <typename Document> std::string Dump(const Document& document) {
    return document.dump(2, ' ', true, Document::error_handler_t::replace) + "\n";
}

} // namespace steward::tools
