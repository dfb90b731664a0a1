#include "Reasons.h"

#include "ReasonTable.h"
#include "WindowsError.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>

namespace steward::host {

namespace {

using tools::LogLine;

constexpr uint32_t kFailureLevel = 5;

const KnownReason* FindKnown(const LogLine& line) {
    for (const KnownReason& known : kKnownReasons) {
        if (line.message.find(known.mark) != std::string::npos) {
            return &known;
        }
    }
    return nullptr;
}

// "Windows error 32, The process cannot access the file ...", from the number behind the last '=' or, for the
// line that has none, behind the full stop.
std::string ErrorIn(const std::string& line, std::string_view behind) {
    const size_t at = line.rfind(behind);
    if (at == std::string::npos) {
        return "";
    }
    size_t number = line.find_first_not_of(' ', at + behind.size());
    const bool hex = number != std::string::npos && line.compare(number, 2, "0x") == 0;
    number += hex ? 2 : 0;
    uint32_t error = 0;
    if (number >= line.size() ||
        std::from_chars(&line[number], line.data() + line.size(), error, hex ? 16 : 10).ec != std::errc()) {
        return "";
    }
    const std::string message = tools::SystemMessage(error);
    const std::string code = error < 0x10000 ? std::to_string(error) : line.substr(number - 2, 10);
    return "Windows error " + code + (message.empty() ? "" : ", " + message);
}

std::string InBrackets(const std::string& text) {
    return text.empty() ? "" : " (" + text + ")";
}

// What the line names behind its mark: a driver, a file.
std::string SubjectIn(const std::string& line, const KnownReason& known) {
    std::string subject = line.substr(line.find(known.mark) + known.mark.size());
    return subject.substr(0, subject.find_first_of(known.subjectEnds));
}

std::string Filled(std::string_view words, const std::string& subject, const std::string& error) {
    std::string text(words);
    if (const size_t at = text.find("%s"); at != std::string::npos) {
        text.replace(at, 2, subject);
    }
    if (const size_t at = text.find("%e"); at != std::string::npos) {
        text.replace(at, 2, InBrackets(error));
    }
    return text;
}

Reason ReasonOf(const LogLine& line) {
    if (const KnownReason* const known = FindKnown(line)) {
        const std::string error = ErrorIn(line.message, known->errorBehind);
        return {std::string(known->id), Filled(known->words, SubjectIn(line.message, *known), error),
                line.message, known->decides};
    }
    const bool isRestriction = line.file.find("util_PriviRestrict") != std::string::npos; // decides nothing
    return {"unknown", line.message + InBrackets(ErrorIn(line.message, "=")), line.message, !isRestriction};
}

// The plug-in looks whether a service exists, and logs at level 5 that it does not.
constexpr std::string_view kJustAbsent = "OpenService failed. GetLastError() = 0x424";

bool IsReason(const LogLine& line) {
    if (line.message == kJustAbsent) {
        return false;
    }
    if (line.level >= kFailureLevel) {
        return true;
    }
    const KnownReason* const known = FindKnown(line);
    return known != nullptr && known->counts == CountsFrom::AnyLevel;
}

std::vector<Reason> DecidingFirst(const std::vector<Reason>& reasons) {
    std::vector<Reason> ordered;
    for (const bool decides : {true, false}) {
        std::copy_if(reasons.begin(), reasons.end(), std::back_inserter(ordered),
                     [&](const Reason& each) { return each.decides == decides; });
    }
    return ordered;
}

} // namespace

std::vector<Reason> ReasonsIn(const std::vector<LogLine>& lines) {
    std::vector<Reason> reasons;
    size_t beforeFile = 0; // reasons known when the look at a signature began
    for (const LogLine& line : lines) {
        if (line.message.starts_with("==> ForcePreIncludeQXFile,")) {
            beforeFile = reasons.size();
        } else if (line.message.starts_with("<== ForcePreIncludeQXFile,Is signed? Yes")) {
            reasons.resize(std::min(beforeFile, reasons.size()));
        } else if (IsReason(line)) {
            Reason reason = ReasonOf(line);
            if (std::none_of(reasons.begin(), reasons.end(),
                             [&](const Reason& each) { return each.text == reason.text; })) {
                reasons.push_back(std::move(reason));
            }
        }
    }
    return DecidingFirst(reasons);
}

} // namespace steward::host
