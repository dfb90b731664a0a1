// Parts of the compiler's runtime library that the product replaces: the linker takes these first.
#include "runtime/FastFail.h"

// std::terminate ends the process at once, for a crash dump to be taken. The library's own handler prints the
// exception's name, and brings 47 KB that take names apart.
namespace __gnu_cxx {

[[noreturn]] void __verbose_terminate_handler();

void __verbose_terminate_handler() {
    steward::FastFail(steward::FastFailCode::FatalExit);
}

} // namespace __gnu_cxx

// The start-up code calls it to patch addresses of imported data. Nothing here is linked that needs it, and
// the library's own makes code writable for that.
extern "C" void _pei386_runtime_relocator() {}
