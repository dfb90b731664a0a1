#pragma once

#include "driverSteward.h"

#include <cstdint>

namespace steward {

// Procedures judge one another's result codes by the severity's top bit alone.
constexpr bool IsSuccess(uint32_t resultCode) {
    return DS_SUCCEEDED(resultCode);
}

} // namespace steward
