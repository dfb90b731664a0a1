// Catches the log lines that a module hands to traceSink.dll.
#pragma once

#include "LogReader.h"
#include "support/ImportPatch.h"

#include "traceSink.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace steward::test {

// One line as "<level> <module tag> <file>: <text>", UTF-8, so that a failed comparison prints readably.
using Transcript = std::vector<std::string>;

std::string TextOf(const tools::LogLine& line);

// Equal in every line and in their order; otherwise the message is the difference, line by line.
testing::AssertionResult SameTranscript(const Transcript& actual, const Transcript& expected);

std::string Joined(const Transcript& lines, const char* separator = "\n");

class LogCapture {
  public:
    explicit LogCapture(HMODULE module = kSelf, uint32_t threshold = 1);

    [[nodiscard]] const std::vector<tools::LogLine>& Lines() const { return lines_; }
    // The lines so far; the capture starts over.
    Transcript Take();
    // The same as one text without module tag and file, for tables: "<level> <text>\n" for each line.
    std::string TakeTexts();

  private:
    std::vector<tools::LogLine> lines_;
    ImportPatch<"Log_GetLogLevel", decltype(Log_GetLogLevel)> level_;
    ImportPatch<"Log_Flush", decltype(Log_Flush)> flush_;
};

} // namespace steward::test
