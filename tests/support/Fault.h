// Makes an imported function of a module fail without running it, for one scope and by its name alone.
//
//     const Fault fault(module, "StartServiceW", ERROR_FILE_NOT_FOUND, 2); // the second call
//
// A failing call leaves the error in last-error and answers what the function answers on failure: its error
// code where it returns one, otherwise INVALID_HANDLE_VALUE, null or FALSE. Where an answer must be computed,
// see ImportPatch.
#pragma once

#include <windows.h>

#include <string>

namespace steward::test {

class Fault {
  public:
    static constexpr int kEveryCall = 0;
    static constexpr int kNoCall = -1; // only counts

    Fault(HMODULE module, std::string import, DWORD error, int call = kEveryCall);
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault();

    [[nodiscard]] int Calls() const { return calls_; }

  private:
    // What a call jumps to: the function itself, or code that answers a failure. `arguments`: the first four.
    static void* Choose(Fault* fault, void** arguments);

    std::string import_;
    DWORD error_;
    int failingCall_;
    int calls_ = 0;
    unsigned char* code_;
    void** slot_;
    void* original_;
};

} // namespace steward::test
