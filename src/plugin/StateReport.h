#pragma once

#include "driverSteward.h"

namespace steward {

// State and version of the drivers, handed to the host by one call of `callback` (unless it is null).
void ReportDriverState(DriverStateCallback callback, void* context);

} // namespace steward
