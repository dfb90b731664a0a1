#pragma once

#include <cstdint>

namespace steward {

// Registers the platform as one more holder of the shared communication driver and puts the service's
// settings into the platform's form. False only when the service key cannot be opened.
bool ModifyQxcommRegistry();

// True when another product put the shared driver on this machine.
bool IsQxcommInstalledByOthers();

// Boot start (0) or system start (1).
uint32_t QxcommStartType(int32_t osVersionCode, uint32_t minor, uint8_t productType);

} // namespace steward
