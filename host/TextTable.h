#pragma once

#include <string>
#include <vector>

namespace steward::host {

// Rows of cells in columns as wide as their widest cell, two blanks apart; the first row is the heading.
std::string TableText(const std::vector<std::vector<std::string>>& rows, const std::string& indent);

} // namespace steward::host
