// A property that must hold for every input; the fuzzer keeps the one for which it does not.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}
