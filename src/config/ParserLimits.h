// A look at a text before TinyXML gets it. The parser recurses with the nesting, compares every attribute of
// an element with all before it, and allocates per node; a hostile text would overflow the stack, run for
// hours or take all memory.
#pragma once

#include <cstddef>
#include <string>

namespace steward {

inline constexpr size_t kMaxNesting = 1'000;               // elements; documents nest three deep
inline constexpr size_t kMaxNodes = 2'000'000;             // tags and attributes
inline constexpr size_t kMaxBytesCompared = 1'000'000'000; // of attribute names; documents have none

// The parser steps over a whole UTF-8 sequence when it sees a lead byte, also over the end of the text: so
// many terminators must follow the text's last byte.
inline constexpr size_t kParserSlack = 4;

// Whether TinyXML parses `text`, which ends at its first NUL and is followed by the slack, within the limits.
// Follows the parser's own reading, malformed text included.
bool IsWithinParserLimits(const std::string& text);

} // namespace steward
