#include "e2e/CellReport.h"

#include "CallTree.h"
#include "WindowsFiles.h"
#include "e2e/Machine.h"
#include "support/LogCapture.h"
#include "util/Handles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace steward::test {

namespace {

using Json = nlohmann::ordered_json;

Json actions = Json::array(); // of the scenario at hand

double Milliseconds() {
    LARGE_INTEGER ticks;
    LARGE_INTEGER perSecond;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&perSecond);
    return 1000.0 * static_cast<double>(ticks.QuadPart) / static_cast<double>(perSecond.QuadPart);
}

// A change that changes nothing is refused for a service that goes at the restart.
bool IsMarkedForDeletion(const std::wstring& name) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_CHANGE_CONFIG));
    return service &&
           !ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) &&
           GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
}

Json NumberOrNull(const std::wstring& key, const std::wstring& name) {
    const auto number = RegistryNumber(key, name);
    return number ? Json(*number) : Json();
}

Json Driver(const std::wstring& name) {
    return {{"name", Utf8(name)},
            {"service", ServiceState(name)},
            {"start", NumberOrNull(ServiceKey(name), L"Start")},
            {"section", RegistryText(ServiceKey(name), L"InstallSection")},
            {"file", VersionOf(kDriversFolder + name + L".sys")},
            {"catalog", FileExists(kCatalogFolder + name + L".cat")},
            {"marked for deletion", IsMarkedForDeletion(name)}};
}

Json RenamedFile(const std::wstring& path, const std::vector<std::wstring>& pending) {
    const auto identity = tools::IdentityOf(path);
    return {{"path", Utf8(path)},
            {"was", identity ? Utf8(identity->originalName) : ""},
            {"version", identity ? identity->version : ""},
            {"pending", std::find(pending.begin(), pending.end(), path) != pending.end()}};
}

Json Machine() {
    Json drivers = Json::array();
    for (const std::wstring& name : kDrivers) {
        drivers.push_back(Driver(name));
    }
    const auto pending = tools::FilesDeletedAtRestart();
    Json deletions = Json::array();
    for (const std::wstring& path : pending) {
        deletions.push_back(Utf8(path));
    }
    Json renamed = Json::array();
    for (const std::wstring& path : RenamedFiles()) {
        renamed.push_back(RenamedFile(path, pending));
    }
    const std::wstring shared = ServiceKey(L"qxcomm");
    return {{"plug-in", VersionOf(L"driverSteward.dll")},
            {"drivers", drivers},
            {"registry",
             {{"PermCount", NumberOrNull(shared, L"PermCount")},
              {"InstalledByOrpl", NumberOrNull(shared, L"InstalledByOrpl")},
              {"DeleteFlag", NumberOrNull(shared, L"DeleteFlag")},
              {"M9TZ", NumberOrNull(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ")},
              {"SSCFE", NumberOrNull(ServiceKey(L"qxactmon") + L"\\Parameters", L"SSCFE")}}},
            {"renamed", renamed},
            {"pending deletions", deletions}};
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
        before_ = Machine();
    }

    void OnTestEnd(const testing::TestInfo& test) override {
        const Json cell = {{"step", test.name()}, {"skipped", test.result()->Skipped()},
                           {"actions", actions},  {"before", before_},
                           {"after", Machine()},  {"failures", FailuresOf(*test.result())}};
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
        lines_.push_back({static_cast<int64_t>(1000 * (Milliseconds() - began_)), level, Utf8(module),
                          Utf8(file), line, Utf8(units)});
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
