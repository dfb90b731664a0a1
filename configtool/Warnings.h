#pragma once

#include "Configuration.h"

#include <string>
#include <vector>

namespace steward::configtool {

// A line for each signature switch whose value is neither 0 nor 1: what the plug-in takes it for.
std::vector<std::string> WarningsFor(const std::vector<Setting>& settings);

} // namespace steward::configtool
