// The lines of a log as the development stand-in of the logging library writes them:
//
//   2026-11-25 02:54:10.123456 5 System Driver Installation drivermanage.cpp:129 OpenService failed,
//   err=0x424
//
// Knows nothing of Windows, so that it is fuzzed natively.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace steward::tools {

struct LogLine {
    int64_t microseconds = 0; // of the writer's wall clock; only differences mean something
    uint32_t level = 0;       // 2 progress, 3 condition, 5 failed call, 6 failed security call
    std::string module;       // tag, with its blanks
    std::string file;
    uint32_t line = 0;
    std::string message; // UTF-8 as it stands in the log
};

struct Log {
    std::vector<LogLine> lines;
    size_t unreadable = 0; // lines that are no log lines, or damaged at their beginning
};

// Milliseconds or microseconds, LF or CR LF. What cannot be read is counted and left out; a record that
// begins behind a damaged one on the same line is found. Ill-formed UTF-8 stays as it is.
Log ReadLog(std::string_view text);

} // namespace steward::tools
