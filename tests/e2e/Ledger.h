// What a module has opened and not yet closed, by the calls that it makes. Memory is counted by the module's
// own calls: the system's blocks in the same heap come and go as it likes.
#pragma once

#include "support/Tap.h"

#include <map>
#include <memory>

namespace steward::test {

class Ledger {
  public:
    explicit Ledger(HMODULE module);

    // "heap block", "registry key" and the like, with how many of each; negative when too many were closed.
    [[nodiscard]] std::map<std::string, int> Open() const;

  private:
    std::map<std::string, int> open_;
    std::vector<std::unique_ptr<Tap>> taps_;
};

} // namespace steward::test
