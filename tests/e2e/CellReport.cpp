#include "e2e/CellReport.h"

#include "CallTree.h"
#include "ServiceView.h"
#include "e2e/Machine.h"
#include "util/Utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace steward::test {

namespace {

Json actions = Json::array(); // of the scenario at hand

// With what only a change of the service shows.
Json MachineNow() {
    Json machine = Machine();
    for (Json& driver : machine["drivers"]) {
        const std::wstring name = WideFromUtf8(driver["name"].get<std::string>());
        driver["marked for deletion"] = tools::IsMarkedForDeletion(name.c_str());
    }
    return machine;
}

Json FailuresOf(const testing::TestResult& result) {
    Json failures = Json::array();
    for (int i = 0; i < result.total_part_count(); ++i) {
        const testing::TestPartResult& part = result.GetTestPartResult(i);
        if (part.failed()) {
            failures.push_back(part.message());
        }
    }
    return failures;
}

// As "stewardHost --trace" shows it.
Json Tree(const std::vector<tools::LogLine>& lines) {
    constexpr const char* kMarks[] = {"", "condition", "failure"}; // of TreeRow::Mark
    Json rows = Json::array();
    for (const tools::TreeRow& row : tools::RowsOf(tools::TreeOf(lines))) {
        rows.push_back({{"mark", kMarks[static_cast<size_t>(row.mark)]}, {"text", row.text}});
    }
    return rows;
}

Json Log(const std::vector<tools::LogLine>& lines) {
    Json log = Json::array();
    for (const tools::LogLine& line : lines) {
        log.push_back({{"ms", static_cast<double>(line.microseconds) / 1000},
                       {"level", line.level},
                       {"module", line.module},
                       {"file", line.file},
                       {"line", line.line},
                       {"text", line.message}});
    }
    return log;
}

class Listener : public testing::EmptyTestEventListener {
  public:
    explicit Listener(std::string file) : file_(std::move(file)) {}

    void OnTestStart(const testing::TestInfo&) override {
        actions = Json::array();
        before_ = MachineNow();
    }

    void OnTestEnd(const testing::TestInfo& test) override {
        const Json cell = {{"step", test.name()},   {"skipped", test.result()->Skipped()},
                           {"actions", actions},    {"before", before_},
                           {"after", MachineNow()}, {"failures", FailuresOf(*test.result())}};
        std::ofstream(file_, std::ios::binary) << cell.dump(1, ' ', true, Json::error_handler_t::replace);
    }

  private:
    std::string file_;
    Json before_;
};

} // namespace

void RecordAction(const std::string& text, uint32_t code, std::vector<tools::LogLine> lines) {
    const int64_t began = lines.empty() ? 0 : lines.front().microseconds;
    for (tools::LogLine& line : lines) {
        line.microseconds -= began;
    }
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", code);
    const Json log = Log(lines);
    actions.push_back({{"text", text},
                       {"code", digits},
                       {"ms", log.empty() ? Json(0) : log.back()["ms"]},
                       {"tree", Tree(lines)},
                       {"log", log}});
}

void ReportCell() {
    if (const char* const file = std::getenv("STEWARD_CELL_REPORT")) {
        testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<Listener>(file).release());
    }
}

} // namespace steward::test
