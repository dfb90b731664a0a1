// What one scenario did, as JSON for the lab's report: written to the file that STEWARD_CELL_REPORT names, by
// a program that runs one scenario. Without that variable nothing is recorded.
#pragma once

#include "LogReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace steward::test {

// One action of the plug-in: `text` says what is done, as the scenario does ("update v2"), `code` is its
// result, or the state that it reported; it takes as long as its log does.
void RecordAction(const std::string& text, uint32_t code, std::vector<tools::LogLine> lines);

// Listens to the tests of this program: the machine before and after, the actions between, what failed.
void ReportCell();

} // namespace steward::test
