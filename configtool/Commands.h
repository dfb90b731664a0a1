#pragma once

#include "CommandLine.h"

#include <stdexcept>
#include <string>

namespace steward::configtool {

// The message says what was wrong and what to do, in UTF-8 and one line.
class Failure : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Carries a command out; the result is what it prints, in UTF-8. Throws Failure, nothing changed then.
std::string Run(const CommandLine& line);

} // namespace steward::configtool
