// The tools' reader of logs and the call tree. Faults: a line lost or counted twice, a record that does not
// come back, a tree that nests without bound, control characters that reach a console, JSON that cannot be
// written.
#include "Require.h"

#include "CallTree.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using namespace steward::tools;

constexpr size_t kDeepest = 65;

size_t NonEmptyLines(std::string_view text) {
    size_t lines = 0;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        lines += line.empty() || line == "\r" ? 0 : 1;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

size_t DepthOf(const CallTree& tree) {
    size_t deepest = 0;
    for (const CallNode& node : tree) {
        deepest = std::max(deepest, 1 + DepthOf(node.children));
    }
    return deepest;
}

std::string Record(const LogLine& line) {
    return "2026-11-25 00:00:00.000001 " + std::to_string(line.level) + " " + line.module + " " + line.file +
           ":" + std::to_string(line.line) + " " + line.message + "\r\n";
}

void CheckReadBack(const Log& log) {
    std::string text;
    for (const LogLine& line : log.lines) {
        text += Record(line);
    }
    const Log again = ReadLog(text);
    Require(again.lines.size() == log.lines.size() && again.unreadable == 0, "every record is read back");
    for (size_t i = 0; i < log.lines.size(); ++i) {
        Require(Record(again.lines[i]) == Record(log.lines[i]), "a record is read back equal");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Log log = ReadLog(text);
    Require(std::max(log.lines.size(), log.unreadable) <= NonEmptyLines(text), "no line is counted twice");
    Require(log.lines.size() + log.unreadable >= NonEmptyLines(text), "no line is lost");
    CheckReadBack(log);
    const CallTree tree = TreeOf(log.lines);
    Require(DepthOf(tree) <= kDeepest, "the tree nests within its bound");
    for (const TreeRow& row : RowsOf(tree)) {
        Require(std::none_of(row.text.begin(), row.text.end(),
                             [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }),
                "no control character reaches a console");
    }
    static_cast<void>(CallUnderWay(tree));
    const auto replace = nlohmann::json::error_handler_t::replace;
    const std::string json = JsonOf(tree).dump(2, ' ', true, replace);
    Require(nlohmann::json::accept(json), "the tree's JSON is JSON");
    return 0;
}
