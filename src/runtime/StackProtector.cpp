// What -fstack-protector-strong calls. The compiler's own library for it ends a process by a message on the
// console.
#include "runtime/FastFail.h"

#include <windows.h>

#include <ntsecapi.h>

#include <cstdint>

extern "C" {

uintptr_t __stack_chk_guard = 0;

// Never while a guarded function runs, whose exit would find another value: this is the first constructor.
[[gnu::constructor(101)]] static void MakeGuardRandom() {
    uintptr_t value = 0;
    LARGE_INTEGER ticks{};
    RtlGenRandom(&value, sizeof value);
    QueryPerformanceCounter(&ticks); // should there be no random numbers, at least no known value
    __stack_chk_guard = value ^ static_cast<uintptr_t>(ticks.QuadPart) ^ reinterpret_cast<uintptr_t>(&value);
}

[[noreturn]] void __stack_chk_fail() {
    steward::FastFail(steward::FastFailCode::StackProtector);
}

} // extern "C"
