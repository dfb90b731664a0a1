// Stands between a module and one function that it imports, for one scope: sees every call, whatever the
// function's type, and may answer in its place. Taps of one function lie upon one another.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace steward::test {

inline const HMODULE kSelf = GetModuleHandleW(nullptr); // the test program

struct Import {
    std::string library;
    std::string name;
    void** slot; // of the import address table
};
std::vector<Import> ImportsOf(HMODULE module);

class Tap {
  public:
    struct Call {
        std::array<uint64_t, 12> arguments; // as many as the function has
        void* function;

        uint64_t Run() const; // the function itself
    };
    using Around = std::function<uint64_t(const Call&)>; // what the module gets for an answer

    // Throws when the module does not import it: a patch that does nothing must not look like one that works.
    Tap(HMODULE module, const std::string& import, Around around);
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;
    ~Tap();

    uint64_t Answer(const std::array<uint64_t, 12>& arguments) const {
        return around_({arguments, original_});
    }
    [[nodiscard]] void* Original() const { return original_; }

  private:
    Around around_;
    void** slot_;
    void* original_;
    Tap** entry_;
};

} // namespace steward::test
