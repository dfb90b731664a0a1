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
#include <type_traits>
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
        : replacement_(std::move(replacement)), tap_(module, Name.text, [this](const Tap::Call& call) {
              return Answer(call, std::index_sequence_for<A...>());
          }) {}

    // What would be called without this patch: the one around it, or the function itself.
    R Original(A... arguments) const { return reinterpret_cast<R (*)(A...)>(tap_.Original())(arguments...); }

  private:
    // Integers and pointers, as they travel in registers.
    template <size_t... I> uint64_t Answer(const Tap::Call& call, std::index_sequence<I...>) const {
        if constexpr (std::is_void_v<R>) {
            return replacement_((A)call.arguments[I]...), 0;
        } else {
            return (uint64_t)replacement_((A)call.arguments[I]...);
        }
    }

    std::function<R(A...)> replacement_;
    Tap tap_;
};

} // namespace steward::test
