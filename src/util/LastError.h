#pragma once

#include <windows.h>

namespace steward {

// Puts the thread's last-error value back when the scope ends.
class LastErrorKeeper {
  public:
    LastErrorKeeper() = default;
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
    ~LastErrorKeeper() { Restore(); }

    void Restore() const { SetLastError(saved_); }

  private:
    DWORD saved_ = GetLastError();
};

} // namespace steward
