#include "Interrupt.h"

#include "Console.h"

namespace steward::host {

namespace {
Interrupt* current = nullptr;
}

// FileHandle's empty value is no event either: a failed creation leaves a null handle, which is never
// signalled.
Interrupt::Interrupt()
    : come_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), over_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    current = this;
    SetConsoleCtrlHandler(Handle, TRUE);
}

Interrupt::~Interrupt() {
    SetConsoleCtrlHandler(Handle, FALSE);
    SetEvent(over_.Get());
}

bool Interrupt::HasCome() const {
    return WaitForSingleObject(come_.Get(), 0) == WAIT_OBJECT_0;
}

// Runs on a thread of its own. When the console is closed Windows ends the program as soon as this returns.
BOOL WINAPI Interrupt::Handle(DWORD control) {
    if (!current->HasCome()) {
        SetEvent(current->come_.Get());
        tools::Print(STD_ERROR_HANDLE,
                     "stewardHost: interrupted: what is at hand is finished, no further record is started\n");
    }
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) {
        WaitForSingleObject(current->over_.Get(), INFINITE);
    }
    return TRUE;
}

} // namespace steward::host
