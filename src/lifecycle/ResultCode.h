#pragma once

#include <cstdint>

namespace steward {

// Procedures judge one another's result codes by the severity's top bit alone.
constexpr bool IsSuccess(uint32_t resultCode) {
    return (resultCode & 0x80000000U) == 0;
}

} // namespace steward
