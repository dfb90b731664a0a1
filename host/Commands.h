// The commands, each from the command line to its answer on standard output.
#pragma once

#include "CommandLine.h"

namespace steward::host {

// Carries the command out and returns the exit code. Throws std::exception with one line for the user.
int Run(const CommandLine& line);

} // namespace steward::host
