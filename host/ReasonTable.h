// The plug-in's failure lines and what they mean to a person.
#pragma once

#include <span>
#include <string_view>

namespace steward::host {

enum class CountsFrom { Level5, AnyLevel };

struct KnownReason {
    std::string_view mark;  // part of the line; the first entry of the table that fits counts
    std::string_view id;    // stable
    std::string_view words; // "%s" stands for what the line names behind its mark, "%e" for the Windows error
    bool decides = true;
    CountsFrom counts = CountsFrom::Level5;
    std::string_view subjectEnds = "\r";
    std::string_view errorBehind = "=";
};

extern const std::span<const KnownReason> kKnownReasons;

} // namespace steward::host
