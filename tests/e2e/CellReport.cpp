#include "e2e/CellReport.h"

#include "WindowsFiles.h"
#include "e2e/Machine.h"
#include "support/LogCapture.h"
#include "util/Handles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
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
           !ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) &&
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
    const auto plugin = tools::IdentityOf(L"driverSteward.dll");
    return {{"plug-in", plugin ? plugin->version : ""},
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

class Listener : public testing::EmptyTestEventListener {
  public:
    explicit Listener(std::string file) : file_(std::move(file)) {}

    void OnTestStart(const testing::TestInfo&) override {
        actions = Json::array();
        before_ = Machine();
    }

    void OnTestEnd(const testing::TestInfo& test) override {
        const Json cell = {{"step", test.name()},
                           {"skipped", test.result()->Skipped()},
                           {"actions", actions},
                           {"before", before_},
                           {"after", Machine()},
                           {"failures", FailuresOf(*test.result())}};
        std::ofstream(file_, std::ios::binary) << cell.dump(1, ' ', true, Json::error_handler_t::replace);
    }

  private:
    std::string file_;
    Json before_;
};

} // namespace

RecordedAction::RecordedAction(HMODULE plugin, const std::string& text) : began_(Milliseconds()) {
    actions.push_back({{"text", text}, {"code", nullptr}, {"ms", 0}, {"log", Json::array()}});
    flush_.emplace(plugin, [this](void* handle, const wchar_t* module, uint32_t level,
                                                          const wchar_t* file, uint32_t line,
                                                          const wchar_t* message, uint32_t bytes) {
        const std::wstring_view units(message == nullptr ? L"" : message, bytes / sizeof(wchar_t));
        actions.back()["log"].push_back({{"ms", Milliseconds() - began_},
                                         {"level", level},
                                         {"module", Utf8(module)},
                                         {"file", Utf8(file)},
                                         {"line", line},
                                         {"text", Utf8(units)}});
        return flush_->Original(handle, module, level, file, line, message, bytes);
    });
}

RecordedAction::~RecordedAction() {
    actions.back()["ms"] = Milliseconds() - began_;
    if (code_) {
        char text[16];
        std::snprintf(text, sizeof text, "%08X", *code_);
        actions.back()["code"] = text;
    }
}

void ReportCell() {
    if (const char* const file = std::getenv("STEWARD_CELL_REPORT")) {
        testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<Listener>(file).release());
    }
}

} // namespace steward::test
