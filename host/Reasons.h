// Why an action failed, from the plug-in's log.
#pragma once

#include "LogReader.h"

#include <string>
#include <vector>

namespace steward::host {

struct Reason {
    std::string id;      // stable: "clients-running"; "unknown" for a line that is not in the table
    std::string text;    // in words, with what to do about it; the line itself when it is unknown
    std::string line;    // of the log
    bool decides = true; // false: beside the point, an action that has this and nothing else succeeds
};

// The level-5 and level-6 lines and the dispatcher's refusals, in the order of the log, each text once; those
// that decide come first. Lines of an embedded signature that a catalog makes good are left out.
std::vector<Reason> ReasonsIn(const std::vector<tools::LogLine>& lines);

} // namespace steward::host
