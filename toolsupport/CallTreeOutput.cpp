// The call tree as text and as JSON.
#include "CallTree.h"

#include <nlohmann/json.hpp>

#include <cstdint>

namespace steward::tools {

namespace {

constexpr size_t kNameWidth = 46;
constexpr size_t kMillisecondsWidth = 5;
constexpr uint32_t kFailureLevel = 5;

// Control characters in a log must not reach a console as such.
std::string Printable(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            printable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            printable += c;
        }
    }
    return printable;
}

std::string PaddedLeft(const std::string& text, size_t width) {
    return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

std::string TitleOf(const CallNode& call) {
    if (call.detail.empty()) {
        return call.text;
    }
    const bool action = call.detail.starts_with("action ");
    return call.text + (action ? "(" : " (") + call.detail + ")";
}

std::string ResultText(const CallNode& call) {
    if (call.left || call.failed) {
        return (call.failed ? "! " : "") + call.result;
    }
    return "no exit line";
}

TreeRow RowOfCall(const CallNode& call, size_t depth) {
    const std::string time = call.entered && call.left ? std::to_string(call.took / 1000) : "?";
    std::string name = std::string(2 * depth, ' ') + Printable(TitleOf(call));
    const std::string result = Printable(ResultText(call));
    if (!result.empty()) {
        name += std::string(name.size() + 2 <= kNameWidth ? kNameWidth - name.size() : 2, ' ') + result;
    }
    return {call.failed ? TreeRow::Mark::Failure : TreeRow::Mark::None,
            PaddedLeft(time, kMillisecondsWidth) + " ms  " + name};
}

TreeRow RowOfLine(const CallNode& line, size_t depth) {
    const bool failure = line.level >= kFailureLevel;
    return {failure ? TreeRow::Mark::Failure : TreeRow::Mark::Condition,
            (failure ? "   ! " : "   - ") + std::to_string(line.level) + "    " +
                std::string(2 * depth, ' ') + Printable(line.text)};
}

void AddRows(const CallTree& nodes, size_t depth, std::vector<TreeRow>& rows) {
    for (const CallNode& node : nodes) {
        rows.push_back(node.isCall ? RowOfCall(node, depth) : RowOfLine(node, depth));
        AddRows(node.children, depth + 1, rows);
    }
}

nlohmann::ordered_json JsonOfNode(const CallNode& node) {
    if (!node.isCall) {
        return {{"level", node.level}, {"text", node.text}};
    }
    const bool timed = node.entered && node.left;
    return {{"call", node.text},
            {"detail", node.detail},
            {"milliseconds", timed ? nlohmann::ordered_json(static_cast<double>(node.took) / 1000) : nullptr},
            {"result", node.result},
            {"failed", node.failed},
            {"entered", node.entered},
            {"left", node.left},
            {"children", JsonOf(node.children)}};
}

} // namespace

std::vector<TreeRow> RowsOf(const CallTree& tree) {
    std::vector<TreeRow> rows;
    AddRows(tree, 0, rows);
    return rows;
}

std::string TextOf(const CallTree& tree) {
    std::string text;
    for (const TreeRow& row : RowsOf(tree)) {
        text += row.text + "\n";
    }
    return text;
}

nlohmann::ordered_json JsonOf(const CallTree& tree) {
    nlohmann::ordered_json nodes = nlohmann::json::array();
    for (const CallNode& node : tree) {
        nodes.push_back(JsonOfNode(node));
    }
    return nodes;
}

} // namespace steward::tools
