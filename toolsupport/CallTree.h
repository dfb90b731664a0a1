// The plug-in's log as a tree of calls, made from its "==> name," and "<== name," lines.
#pragma once

#include "LogReader.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace steward::tools {

// A traced function, or a line of level 3 and more.
struct CallNode {
    bool isCall = true;
    std::string text;   // the function's name, or the line
    std::string detail; // what the call was about: "action 1", "stop qxactmon", "qxcomm.inf"; often empty
    std::string result; // "0x201a0001", "ok", "failed", ... ; empty where the exit line says nothing
    bool failed = false;
    bool entered = true;            // its entry line is there
    bool left = false;              // its exit line is there: not so when the process ended meanwhile
    uint32_t level = 0;             // of a line
    int64_t began = 0;              // microseconds, as LogLine's; of a call without entry line its end
    int64_t took = 0;               // microseconds from entry to exit line, 0 when one is missing
    std::vector<CallNode> children; // in the order of the log
};

using CallTree = std::vector<CallNode>;

// One root for each action and for what is logged outside of one. Nests at most 64 deep.
CallTree TreeOf(const std::vector<LogLine>& lines);

// One line of the printed tree, without its end, printable characters only.
struct TreeRow {
    enum class Mark { None, Condition, Failure };
    Mark mark = Mark::None;
    std::string text;
};

std::vector<TreeRow> RowsOf(const CallTree& tree);
std::string TextOf(const CallTree& tree);
nlohmann::ordered_json JsonOf(const CallTree& tree);

// The call at the log's end that has not returned, the innermost one; null when none is under way.
const CallNode* CallUnderWay(const CallTree& tree);

} // namespace steward::tools
