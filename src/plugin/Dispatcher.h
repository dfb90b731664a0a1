#pragma once

#include "driverSteward.h"

#include <cstdint>

namespace steward {

// Refuses a package with an unsigned driver file, then runs the procedure that the record asks for.
uint32_t DoActionFromDrvInfo(const DrvInfo& record);

} // namespace steward
