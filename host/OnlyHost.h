// Two hosts at once would act on each other's drivers.
#pragma once

#include "util/Handles.h"

#include <cstdint>
#include <string>

namespace steward::host {

class OnlyHost {
  public:
    // Waits for up to `waitSeconds`, or until `interrupt` is set, for another host to finish. Throws
    // std::runtime_error with one line that says who is at work. `work` is what others are told of this one.
    OnlyHost(const std::wstring& work, uint32_t waitSeconds, HANDLE interrupt);
    OnlyHost(const OnlyHost&) = delete;
    OnlyHost& operator=(const OnlyHost&) = delete;
    ~OnlyHost();

  private:
    void Announce(const std::wstring& work);

    FileHandle mutex_;
    FileHandle notice_; // shared memory that says who holds the mutex
};

} // namespace steward::host
