// What the compiler's runtime library leaves behind when a DLL is unloaded.
#include <windows.h>

// Frees the memory that is set aside at the start for exceptions when no other is left (73 KB). The library
// calls it nowhere.
namespace __gnu_cxx {

void __freeres();

} // namespace __gnu_cxx

// Not while the process ends, which `processEnds` tells: a thread that was ended may have held the heap's
// lock.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, void* processEnds) {
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
        __gnu_cxx::__freeres();
    }
    return TRUE;
}
