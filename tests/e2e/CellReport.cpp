#include "e2e/CellReport.h"

#include "CallTree.h"
#include "ServiceView.h"
#include "e2e/Machine.h"
#include "support/LogCapture.h"
#include "util/Utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace steward::test {

namespace {

Json actions = Json::array(); // of the scenario at hand

double Milliseconds() {
    LARGE_INTEGER ticks;
    LARGE_INTEGER perSecond;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&perSecond);
    return 1000.0 * static_cast<double>(ticks.QuadPart) / static_cast<double>(perSecond.QuadPart);
}

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

Json CodeInDigits(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", code);
    return text;
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

RecordedAction::RecordedAction(HMODULE plugin, const std::string& text) : began_(Milliseconds()) {
    actions.push_back(
        {{"text", text}, {"code", nullptr}, {"ms", 0}, {"tree", Json::array()}, {"log", Json::array()}});
    flush_.emplace(plugin, [this](void* handle, const wchar_t* module, uint32_t level, const wchar_t* file,
                                  uint32_t line, const wchar_t* message, uint32_t bytes) {
        const std::wstring_view units(message == nullptr ? L"" : message, bytes / sizeof(wchar_t));
        lines_.push_back({static_cast<int64_t>(1000 * (Milliseconds() - began_)), level, Utf8FromWide(module),
                          Utf8FromWide(file), line, Utf8FromWide(units)});
        return flush_->Original(handle, module, level, file, line, message, bytes);
    });
}

void RecordedAction::Answered(uint32_t code) {
    Json& action = actions.back();
    action["code"] = CodeInDigits(code);
    action["ms"] = Milliseconds() - began_;
    action["tree"] = Tree(lines_);
    action["log"] = Log(lines_);
}

void ReportCell() {
    if (const char* const file = std::getenv("STEWARD_CELL_REPORT")) {
        testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<Listener>(file).release());
    }
}

} // namespace steward::test
