// Ends the process at once, without handlers or clean-up that damaged memory could misuse. Systems before
// Windows 8 do not know this interrupt: there it is an access violation, which ends the process as well.
#pragma once

namespace steward {

enum class FastFailCode : unsigned { StackProtector = 2, FatalExit = 7 }; // FAST_FAIL_... of winnt.h

[[noreturn]] inline void FastFail(FastFailCode code) {
    asm volatile("int $0x29" : : "c"(code) : "memory");
    __builtin_unreachable();
}

} // namespace steward
