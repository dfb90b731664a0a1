#pragma once

namespace steward {

// True when no client of the driver is alive. Clients hold a mailslot each, named after the driver and an
// instance number from 0 to 15. Last-error is unspecified afterwards.
bool CanStopDriverService(const wchar_t* name);

} // namespace steward
