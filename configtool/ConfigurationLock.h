#pragma once

#include "util/Handles.h"

#include <string>

namespace steward::configtool {

// Whoever changes a configuration holds this from reading to replacing, against other processes of whatever
// session. It is a file beside the configuration: all names of the folder lead to it, and Windows removes it
// with its holder, however that ends.
class ConfigurationLock {
  public:
    // Waits so many seconds for another holder; fails then and names it.
    ConfigurationLock(const std::wstring& configuration, unsigned seconds);

  private:
    FileHandle file_;
};

} // namespace steward::configtool
