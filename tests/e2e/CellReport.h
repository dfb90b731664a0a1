// What one scenario did, as JSON for the lab's report: written to the file that STEWARD_CELL_REPORT names, by
// a program that runs one scenario. Without that variable nothing is recorded.
#pragma once

#include "LogReader.h"
#include "support/ImportPatch.h"

#include "traceSink.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace steward::test {

// One action of the plug-in: the log lines that it writes while this lives, each with its time.
class RecordedAction {
  public:
    // `text` says what is done, as the scenario does ("update v2"). The lines go on to whoever caught them
    // before.
    RecordedAction(HMODULE plugin, const std::string& text);
    RecordedAction(const RecordedAction&) = delete;
    RecordedAction& operator=(const RecordedAction&) = delete;

    // Its result code, or the state that it reported, when it is done.
    void Answered(uint32_t code);

  private:
    using Flush = ImportPatch<"Log_Flush", decltype(Log_Flush)>;

    double began_ = 0; // milliseconds
    std::vector<tools::LogLine> lines_;
    std::optional<Flush> flush_;
};

// Listens to the tests of this program: the machine before and after, the actions between, what failed.
void ReportCell();

} // namespace steward::test
