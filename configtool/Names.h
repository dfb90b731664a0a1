#pragma once

#include "Options.h"

#include <string>
#include <utility>

namespace steward::configtool {

// The group and the key, in UTF-8, that the first two operands name. Throws UsageError for what cannot be
// one.
std::pair<std::string, std::string> NamesOf(const tools::ReadLine& line);

[[noreturn]] void FailForMissing(const std::string& group, const std::string& key, const std::wstring& path);

} // namespace steward::configtool
