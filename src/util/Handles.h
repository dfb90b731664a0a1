// One owner type per kind of Win32 handle, all made from one template.
#pragma once

#include "util/LastError.h"

#include <windows.h>

#include <utility>

namespace steward {

// Owns one handle. `Kind` names the handle type, its empty value and its close function. Closing keeps the
// thread's last-error value.
template <typename Kind> class UniqueHandle {
  public:
    using Handle = typename Kind::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, Kind::Empty())) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Reset(std::exchange(other.handle_, Kind::Empty()));
        }
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    [[nodiscard]] Handle Get() const { return handle_; }
    explicit operator bool() const { return handle_ != Kind::Empty(); }

    void Reset(Handle handle = Kind::Empty()) {
        if (handle_ != Kind::Empty()) {
            const LastErrorKeeper keeper;
            Kind::Close(handle_);
        }
        handle_ = handle;
    }

    // Gives the handle up to the caller, who closes it and looks at the result.
    [[nodiscard]] Handle Release() { return std::exchange(handle_, Kind::Empty()); }

    // For functions that hand a handle out through a pointer; closes what was held.
    [[nodiscard]] Handle* Out() {
        Reset();
        return &handle_;
    }

  private:
    Handle handle_ = Kind::Empty();
};

struct ServiceKind {
    using Handle = SC_HANDLE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { CloseServiceHandle(handle); }
};
using ServiceHandle = UniqueHandle<ServiceKind>; // a service or the service control manager

struct FileKind {
    using Handle = HANDLE;
    static Handle Empty() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
using FileHandle = UniqueHandle<FileKind>;

} // namespace steward
