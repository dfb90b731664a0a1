// Changes what one imported function answers, in one module, for one scope.
//
//     ImportPatch<"StartServiceW", decltype(StartServiceW)> start(module, [&](SC_HANDLE, DWORD, LPCWSTR*) {
//         SetLastError(ERROR_FILE_NOT_FOUND);
//         return FALSE;
//     });
//
// `module` is the module whose imports change: the shipped DLL, or the test executable
// (GetModuleHandle(nullptr)). The replacement may call `start.Original(...)`. Patches of one function nest.
#pragma once

#include "support/Tap.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace steward::test {

template <size_t N> struct ImportName {
    char text[N] = {};
    constexpr ImportName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

template <ImportName Name, typename Signature> class ImportPatch;

template <ImportName Name, typename R, typename... A> class ImportPatch<Name, R(A...)> {
  public:
    ImportPatch(HMODULE module, std::function<R(A...)> replacement)
        : slot_(FindImportSlot(module, Name.text)), outer_(std::exchange(current_, std::move(replacement))),
          original_(reinterpret_cast<R (*)(A...)>(ExchangeImport(slot_, reinterpret_cast<void*>(&Thunk)))) {}
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ~ImportPatch() {
        ExchangeImport(slot_, reinterpret_cast<void*>(original_));
        current_ = std::move(outer_);
    }

    // What would be called without this patch: the one around it, or the function itself.
    R Original(A... arguments) const { return outer_ ? outer_(arguments...) : original_(arguments...); }

  private:
    static R Thunk(A... arguments) { return current_(arguments...); }

    static inline std::function<R(A...)> current_;
    void** slot_;
    std::function<R(A...)> outer_;
    R (*original_)(A...);
};

} // namespace steward::test
