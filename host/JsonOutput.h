#pragma once

#include "Results.h"

#include <string>

namespace steward::host {

std::string JsonOf(const ActionsResult& result);
std::string JsonOf(const StatusResult& result);

} // namespace steward::host
