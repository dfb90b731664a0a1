// Ctrl-C while an action is under way.
#pragma once

#include "util/Handles.h"

namespace steward::host {

// For its lifetime Ctrl-C, the closing of the console and the end of the session do not end the program: they
// are noted, said in one line on standard error, and left to the program to heed. One at a time.
class Interrupt {
  public:
    Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    ~Interrupt();

    [[nodiscard]] bool HasCome() const;
    [[nodiscard]] HANDLE Event() const { return come_.Get(); } // set when it has come

  private:
    static BOOL WINAPI Handle(DWORD control);

    FileHandle come_;
    FileHandle over_; // the program has done what was to be done
};

} // namespace steward::host
