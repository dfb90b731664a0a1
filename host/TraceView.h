// The call tree on the screen.
#pragma once

#include "CallTree.h"

namespace steward::host {

// To standard output; on a console failures are red and conditions yellow, unless NO_COLOR is set. False when
// not everything could be written.
bool PrintTree(const tools::CallTree& tree);

// What a log that makes no tree should be told its reader: empty when it is well.
std::string WhatIsWrongWith(const tools::Log& log);

} // namespace steward::host
