#pragma once

#include <stdexcept>
#include <string>

namespace steward::configtool {

// The message says what was wrong and what to do, in UTF-8 and one line. Nothing was changed then, unless the
// message says otherwise.
class Failure : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::wstring& message);

// "error 5: Access denied", for the thread's last-error value.
std::wstring LastErrorText();

} // namespace steward::configtool
