#include "LogReader.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>

namespace steward::tools {

namespace {

constexpr size_t kTimeLength = 20; // up to the point before the fraction
constexpr size_t kLongestHead = 512;
constexpr int kFractionDigits = 6;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool StartsWithTime(std::string_view text) {
    constexpr std::string_view kShape = "0000-00-00 00:00:00.";
    if (text.size() <= kTimeLength || !IsDigit(text[kTimeLength])) {
        return false;
    }
    for (size_t i = 0; i < kShape.size(); ++i) {
        if (kShape[i] == '0' ? !IsDigit(text[i]) : text[i] != kShape[i]) {
            return false;
        }
    }
    return true;
}

// Takes a number off the text's beginning.
std::optional<uint32_t> TakeNumber(std::string_view& text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return value;
}

bool TakeBlank(std::string_view& text) {
    if (text.empty() || text[0] != ' ') {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

int64_t TakeTime(std::string_view& text) {
    const auto number = [&](size_t at, size_t digits) {
        std::string_view part = text.substr(at, digits);
        return static_cast<int>(TakeNumber(part).value_or(0));
    };
    const std::chrono::year_month_day date{std::chrono::year(number(0, 4)),
                                           std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                           std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    const int64_t days = date.ok() ? std::chrono::sys_days(date).time_since_epoch().count() : 0;
    int64_t time = ((days * 24 + number(11, 2)) * 60 + number(14, 2)) * 60 + number(17, 2);
    text.remove_prefix(kTimeLength);
    for (int i = 0; i < kFractionDigits; ++i) {
        const bool written = !text.empty() && IsDigit(text[0]);
        time = time * 10 + (written ? text[0] - '0' : 0);
        text.remove_prefix(written ? 1 : 0);
    }
    return time;
}

// The module tag has blanks; it ends before the first word of the form <file>:<line>.
bool TakeOrigin(std::string_view& text, LogLine& line) {
    for (size_t word = 0; word < text.size() && word < kLongestHead;) {
        const size_t end = std::min(text.find(' ', word), text.size());
        const size_t colon = text.substr(word, end - word).rfind(':');
        if (colon != std::string_view::npos && colon > 0) {
            std::string_view digits = text.substr(word + colon + 1, end - word - colon - 1);
            const auto number = TakeNumber(digits);
            if (number && digits.empty()) {
                line.module = text.substr(0, word == 0 ? 0 : word - 1);
                line.file = text.substr(word, colon);
                line.line = *number;
                text.remove_prefix(end);
                return true;
            }
        }
        word = end + 1;
    }
    return false;
}

std::optional<LogLine> ParseLine(std::string_view text) {
    LogLine line;
    line.microseconds = TakeTime(text);
    if (!TakeBlank(text)) {
        return std::nullopt;
    }
    const auto level = TakeNumber(text);
    if (!level || !TakeBlank(text) || !TakeOrigin(text, line)) {
        return std::nullopt;
    }
    line.level = *level;
    TakeBlank(text);
    line.message = text;
    return line;
}

// A message may contain what looks like a record, so that only damage lets one begin in the middle of a line.
void ReadLine(std::string_view text, Log& log) {
    for (size_t at = 0; at < text.size(); ++at) {
        if (!StartsWithTime(text.substr(at))) {
            continue;
        }
        if (auto line = ParseLine(text.substr(at))) {
            log.lines.push_back(*std::move(line));
            log.unreadable += at == 0 ? 0 : 1;
            return;
        }
    }
    ++log.unreadable;
}

} // namespace

Log ReadLog(std::string_view text) {
    Log log;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            ReadLine(line, log);
        }
    }
    return log;
}

} // namespace steward::tools
