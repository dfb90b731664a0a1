#pragma once

#include "util/Handles.h"

#include <cstdint>
#include <string>

namespace steward::configtool {

// A file that takes another one's place when it is complete. Until then it vanishes with its process, however
// that ends (before Windows Vista only when the process ends by itself).
class Replacement {
  public:
    enum class Access : uint8_t {
        OwnerAlone, // for secrets: whoever may read the file that is replaced, the new one is the user's
                    // alone
        AsReplaced, // access list and attributes stay as they are; a new file has what the folder gives
    };

    Replacement(std::wstring target, Access access);
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

    // All of the content, read back and compared.
    void Write(const std::string& bytes);

    void TakeOver();

  private:
    [[noreturn]] void FailToWrite() const;
    [[noreturn]] void FailToReplace();
    [[nodiscard]] std::string ReadBack(size_t bytes) const;
    [[nodiscard]] bool MoveToTarget() const;

    std::wstring target_;
    std::wstring path_;
    Access access_;
    FileHandle file_;
    bool isMade_ = false; // and is to be deleted at the end
};

} // namespace steward::configtool
