#pragma once

#include <string>

namespace steward::configtool {

// One value, in UTF-8, from standard input: from a console one line, which is not shown; from a file or pipe
// all of it, without a byte-order mark and the last line break.
std::string ReadValue();

} // namespace steward::configtool
