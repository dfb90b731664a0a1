#include "support/LogCapture.h"

#include "util/Utf8.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace steward::test {

using namespace std::chrono_literals;

std::string TextOf(const tools::LogLine& line) {
    return std::to_string(line.level) + " " + line.module + " " + line.file + ": " + line.message;
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
             [this](void*, const wchar_t* tag, uint32_t level, const wchar_t* file, uint32_t number,
                    const wchar_t* text, uint32_t bytes) -> uint32_t {
                 const int64_t now = std::chrono::steady_clock::now().time_since_epoch() / 1us;
                 const std::wstring_view message(text == nullptr ? L"" : text, bytes / sizeof(wchar_t));
                 lines_.push_back(
                     {now, level, Utf8FromWide(tag), Utf8FromWide(file), number, Utf8FromWide(message)});
                 // The library may change last-error; the system must not let that through.
                 SetLastError(0xDEAD);
                 return 0;
             }) {}

Transcript LogCapture::Take() {
    Transcript texts;
    std::ranges::transform(std::exchange(lines_, {}), std::back_inserter(texts), TextOf);
    return texts;
}

std::string LogCapture::TakeTexts() {
    std::string texts;
    for (const tools::LogLine& line : std::exchange(lines_, {})) {
        texts += std::to_string(line.level) + " " + line.message + "\n";
    }
    return texts;
}

} // namespace steward::test
