// Makes an imported function of a module fail, for one scope and by its name alone.
//
//     const Fault fault(module, "StartServiceW", ERROR_FILE_NOT_FOUND, 2); // the second call
//
// A failing call leaves the error in last-error and answers what the function answers on failure. What a
// function closes is closed all the same. Where an answer must be computed, see ImportPatch.
#pragma once

#include "support/Tap.h"

namespace steward::test {

class Fault {
  public:
    static constexpr int kEveryCall = 0;
    static constexpr int kNoCall = -1; // only counts

    Fault(HMODULE module, const std::string& import, DWORD error, int call = kEveryCall);

    [[nodiscard]] int Calls() const { return calls_; }

  private:
    int calls_ = 0;
    Tap tap_;
};

// A failing call of the function, and the error that it fails with unless another one is wanted.
uint64_t Fail(const std::string& import, const Tap::Call& call, DWORD error);
DWORD UsualError(const std::string& import);
// Whether it closes or releases something.
bool IsCloser(const std::string& import);

} // namespace steward::test
