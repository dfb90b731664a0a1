#pragma once

#include "Configuration.h"

#include <string>

namespace steward::configtool {

// Writes the configuration to `path`, in place of what is there. Fails, nothing changed, when it would be
// read back as another one. Whoever calls this holds the lock.
void Store(const Configuration& configuration, const std::wstring& path);

} // namespace steward::configtool
