#include "TextTable.h"

#include <algorithm>

namespace steward::host {

std::string TableText(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : rows) {
        text += indent;
        for (size_t i = 0; i < row.size(); ++i) {
            const bool isLast = i + 1 == row.size();
            text += row[i] + (isLast ? "" : std::string(widths[i] - row[i].size() + 2, ' '));
        }
        text += '\n';
    }
    return text;
}

} // namespace steward::host
