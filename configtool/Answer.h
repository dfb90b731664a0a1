#pragma once

#include "Configuration.h"

#include <string>
#include <vector>

namespace steward::configtool {

// What a command has to say, as text or as JSON, whichever is asked for. Texts are UTF-8.
struct Answer {
    std::string text;              // standard output; empty for a command that only does something
    std::string file;              // full path of the configuration
    std::vector<Setting> settings; // what was asked for
    std::vector<std::string> warnings;
};

} // namespace steward::configtool
