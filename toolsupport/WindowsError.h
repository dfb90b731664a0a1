#pragma once

#include <cstdint>
#include <string>

namespace steward::tools {

// What Windows says of one of its error codes (an HRESULT, too), in UTF-8, without the full stop and line
// end; empty when it knows nothing.
std::string SystemMessage(uint32_t error);

} // namespace steward::tools
