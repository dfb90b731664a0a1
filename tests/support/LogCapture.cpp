#include "support/LogCapture.h"

#include "util/Utf8.h"

#include <cstdint>

namespace steward::test {

std::string LogLine(uint32_t level, std::wstring_view module, std::wstring_view file,
                    std::wstring_view text) {
    return std::to_string(level) + " " + Utf8FromWide(module) + " " + Utf8FromWide(file) + ": " +
           Utf8FromWide(text);
}

testing::AssertionResult SameTranscript(const Transcript& actual, const Transcript& expected) {
    if (actual == expected) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "expected (-) and actual (+) lines:\n"
           << testing::internal::edit_distance::CreateUnifiedDiff(expected, actual);
}

std::string Joined(const Transcript& lines, const char* separator) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + separator;
    }
    return text;
}

LogCapture::LogCapture(HMODULE module, uint32_t threshold)
    : level_(module, [threshold](void*, const wchar_t*) { return threshold; }),
      flush_(module,
             [this](void*, const wchar_t* tag, uint32_t level, const wchar_t* file, uint32_t,
                    const wchar_t* text, uint32_t bytes) -> uint32_t {
                 const std::wstring_view message(text == nullptr ? L"" : text, bytes / sizeof(wchar_t));
                 lines_.push_back(LogLine(level, tag, file, message));
                 // The library may change last-error; the system must not let that through.
                 SetLastError(0xDEAD);
                 return 0;
             }) {}

std::string LogCapture::TakeTexts() {
    std::string texts;
    for (const std::string& line : Take()) {
        texts += line.substr(0, line.find(' ')) + line.substr(line.find(": ") + 1) + "\n";
    }
    return texts;
}

} // namespace steward::test
