// Runs the scenarios of the file that STEWARD_SCENARIOS names against the shipped DLL, each as a test.
// expand.py made that file for this Windows version.
//
// Arrange    clean | platform yes|no | stop <driver>... | unregister <driver>...
//            number <key> <name> <value> | remove <key> <name> | attributes <file> <number>
//            copy <package/file> <folder> | package <name> [<file that it lacks>...] (as C:\package\)
//            delete <file> | hold <file> | client <mailslot> | catalogs <package>
//            given <action> <package> [<compare state>]   an action whose log is of no interest
//            fail <import>[@<call>] <error>   faults, see Fault.h
//            refuse <function>            likewise, of one that is looked up at run time
//            mend                         no more faults
//            ticks <milliseconds> | config <text> | installdir yes|no | reload
// Act        act <action> <package> [<compare state>], then the log that it must leave; the result must be
//            what the log's last line says
//            report <state> [<version>], likewise
// Log        <source><level> <text>; the sources are in kSources. Compared whole and in order; a line "..."
//            at the beginning stands for what went before.
// Machine    = <line of MachineState()>; compared with the machine's lines that begin with the same words.
//
// $package, $drivers, $catalogs, $services and $config stand for folders and the key of the services, $none
// for nothing.
#include "e2e/CellReport.h"
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "support/ConfigFolder.h"
#include "support/Fault.h"
#include "util/Handles.h"
#include "util/RegKey.h"
#include "util/Utf8.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <wincrypt.h>

#include <mscat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

namespace steward::test {

namespace fs = std::filesystem;

namespace {

const std::wstring kCopiedPackage = L"C:\\package\\";
constexpr char kWhatWentBefore[] = "...";

// Module tag and file of log lines.
const std::map<char, std::string> kSources = {
    {'d', "System Driver Installation driverSteward.cpp: "},
    {'m', "System Driver Installation drivermanage.cpp: "},
    {'i', "System Driver Installation drvinstance.cpp: "},
    {'f', "Util COMMON Std_Utils_File.cpp: "},
    {'p', "Util COMMON util_PriviRestrict.cpp: "},
    {'c', "Util COMMON util_OrplDataCrypto.cpp: "},
    {'s', "Core Config Repository core\\coreConfigRepository\\SysConfigManager.cpp: "},
};

const std::map<std::wstring, uint32_t> kActions = {
    {L"install", INSTALL}, {L"update", UPDATE}, {L"uninstall", UNINSTALL}, {L"equal-update", EQUAL_UPDATE}};

using Arguments = std::vector<std::wstring>;

struct Line {
    std::string place; // "<file>:<number>"
    std::string text;
};

struct Scenario {
    std::string name;
    std::vector<Line> lines;
};

std::vector<Scenario> ReadScenarios(const char* path) {
    constexpr std::string_view kBegin = "scenario ";
    std::vector<Scenario> scenarios;
    std::ifstream file(path == nullptr ? "" : path);
    for (std::string line; std::getline(file, line);) {
        const size_t end = line.find(": ");
        const std::string text = line.substr(end + 2);
        if (text.starts_with(kBegin)) {
            scenarios.push_back({text.substr(kBegin.size()), {}});
        } else {
            scenarios.back().lines.push_back({line.substr(0, end), text});
        }
    }
    return scenarios;
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), {}};
}

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

uint32_t Number(const std::wstring& text) {
    return static_cast<uint32_t>(std::stoul(text, nullptr, 0));
}

void CopyPackage(const Arguments& arguments) {
    fs::remove_all(kCopiedPackage);
    fs::copy(fs::path(Package(arguments.at(0))).parent_path(), kCopiedPackage);
    std::for_each(arguments.begin() + 1, arguments.end(),
                  [](const std::wstring& lacking) { fs::remove(kCopiedPackage + lacking); });
}

void CopyFromPackage(const Arguments& arguments) {
    const fs::path source = Package(L".") + arguments.at(0);
    fs::copy_file(source, arguments.at(1) / source.filename(), fs::copy_options::overwrite_existing);
}

// The catalogs of a package in the system's catalog database, or none of the drivers'.
void InstallCatalogs(const std::wstring& package) {
    HCATADMIN admin = nullptr;
    CryptCATAdminAcquireContext(&admin, nullptr, 0);
    for (const std::wstring& driver : kDrivers) {
        std::wstring name = driver + L".cat";
        std::wstring path = Package(package) + name;
        if (package.empty()) {
            CryptCATAdminRemoveCatalog(admin, name.c_str(), 0);
        } else {
            const HCATINFO added = CryptCATAdminAddCatalog(admin, path.data(), name.data(), 0);
            EXPECT_NE(added, nullptr) << GetLastError();
            CryptCATAdminReleaseCatalogContext(admin, added, 0);
        }
    }
    CryptCATAdminReleaseContext(admin, 0);
}

class Run : public testing::Test {
  public:
    explicit Run(const Scenario& scenario) : scenario_(scenario) {}
    ~Run() override { Mend(); }

    void TestBody() override {
        for (const Line& line : scenario_.lines) {
            if (line.text == "skip") {
                GTEST_SKIP();
            }
            CarryOut(line);
        }
        Settle();
    }

  private:
    [[nodiscard]] std::string Resolved(std::string line) const {
        const std::pair<std::string, std::wstring> values[] = {
            {"$package", package_},      {"$drivers", kDriversFolder},   {"$catalogs", kCatalogFolder},
            {"$config", config_.Path()}, {"$services", ServiceKey(L"")}, {"$none", L""}};
        for (const auto& [name, value] : values) {
            for (size_t at = 0; (at = line.find(name)) != std::string::npos;) {
                line.replace(at, name.size(), Utf8FromWide(value));
            }
        }
        return line;
    }

    void CarryOut(const Line& at) {
        const std::string line = Resolved(at.text);
        const bool isLog =
            line.size() > 2 && kSources.contains(line[0]) && isdigit(line[1]) && line[2] == ' ';
        if (isLog) {
            expectedLog_.push_back(line.substr(1, 2) + kSources.at(line[0]) + line.substr(3));
        } else if (line == kWhatWentBefore) {
            expectedLog_.push_back(line);
        } else if (line.starts_with("= ")) {
            expectedState_.push_back(line.substr(2));
        } else {
            Settle();
            Command(at, line);
        }
    }

    void Command(const Line& at, const std::string& line) {
        SCOPED_TRACE(at.place + " " + line);
        const auto words = Words(line);
        rest_ = line.substr(std::min(line.size(), words[0].size() + 1));
        Arguments arguments;
        std::transform(words.begin() + 1, words.end(), std::back_inserter(arguments), Wide);
        try {
            commands_.at(words[0])(arguments);
        } catch (const std::exception& problem) {
            throw std::runtime_error(at.place + " " + line + ": " + problem.what());
        }
        action_ = at;
    }

    // Compares log and machine with what is expected after the last line.
    void Settle() {
        SCOPED_TRACE(action_.place + " " + action_.text);
        if (!log_.empty() && !expectedLog_.empty() && expectedLog_[0] == kWhatWentBefore) {
            expectedLog_.erase(expectedLog_.begin());
            EXPECT_FALSE(expectedLog_.empty()) << "nothing follows what went before";
            log_.erase(log_.begin(), log_.end() - std::min(std::ssize(log_), std::ssize(expectedLog_)));
        }
        EXPECT_TRUE(SameTranscript(std::exchange(log_, {}), std::exchange(expectedLog_, {})));
        if (!expectedState_.empty()) {
            CompareMachine();
            expectedState_.clear();
        }
    }

    // Compares what the scenario speaks of: the lines of the machine with the same first word.
    void CompareMachine() {
        Transcript state = MachineState();
        std::erase_if(state, [this](const std::string& line) {
            return std::none_of(
                expectedState_.begin(), expectedState_.end(),
                [&](const std::string& expected) { return Words(expected)[0] == Words(line)[0]; });
        });
        std::sort(state.begin(), state.end());
        std::sort(expectedState_.begin(), expectedState_.end());
        EXPECT_TRUE(SameTranscript(state, expectedState_));
    }

    void Act(const Arguments& arguments) {
        plugin_->Log();
        const auto action = kActions.find(arguments.at(0));
        const bool isPath = arguments.at(1).find(L':') != std::wstring::npos;
        const std::wstring folder = isPath ? arguments[1] : Package(arguments[1]);
        package_ = (fs::path(folder) / "").make_preferred();
        const uint32_t result = plugin_->Act(action == kActions.end() ? Number(arguments[0]) : action->second,
                                             folder, arguments.size() > 2 ? Number(arguments[2]) : 2);
        RecordAction(rest_, result, plugin_->Lines());
        log_ = plugin_->Log();
        const std::string last = log_.empty() ? "" : log_.back();
        const size_t said = last.find("asStatus = 0x");
        EXPECT_EQ(result, said == std::string::npos ? uint32_t{DS_FAILED_BATCH_ABORTED}
                                                    : Number(Wide(last.substr(last.find("0x", said)))));
    }

    void Given(const Arguments& arguments) {
        Act(arguments);
        ASSERT_THAT(log_.back(), testing::HasSubstr("asStatus = 0x2")) << "given " << rest_;
        log_.clear();
    }

    void Report(const Arguments& arguments) {
        plugin_->Log();
        const DriverStateReport report = plugin_->Report();
        RecordAction("report", report.state, plugin_->Lines());
        log_ = plugin_->Log();
        EXPECT_EQ(report.report_tag, 0x22000100U);
        EXPECT_EQ(report.valid, 1U);
        EXPECT_EQ(Wide(report.version), arguments.size() > 1 ? arguments[1] : L"");
        EXPECT_EQ(report.state, std::stoul(arguments.at(0), nullptr, 16));
    }

    void Fail(const Arguments& arguments) {
        const std::string import = Utf8FromWide(arguments.at(0));
        const size_t at = import.find('@');
        const int call = at == std::string::npos ? Fault::kEveryCall : std::stoi(import.substr(at + 1));
        faults_.emplace_back(plugin_->Module(), import.substr(0, at), Number(arguments.at(1)), call);
    }

    void Hold(const std::wstring& file) {
        held_.emplace_back(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held_.back());
    }

    void OpenMailslot(const std::wstring& name) {
        held_.emplace_back(CreateMailslotW((L"\\\\.\\mailslot\\" + name).c_str(), 0, 0, nullptr));
    }

    void Refuse(const std::string& function) {
        constexpr auto kRefusal = [] { return SetLastError(ERROR_ACCESS_DENIED), INT_PTR{0}; };
        lookUp_.emplace(plugin_->Module(), "GetProcAddress", [=](const Tap::Call& call) {
            const bool isIt = function == reinterpret_cast<const char*>(call.arguments[1]);
            return isIt ? reinterpret_cast<uint64_t>(+kRefusal) : call.Run();
        });
    }

    // In reverse order: faults of one import lie upon one another.
    void Mend() {
        lookUp_.reset();
        while (!faults_.empty()) {
            faults_.pop_back();
        }
    }

    void StopClock(uint32_t ticks) {
        clock_.emplace(plugin_->Module(), "GetTickCount", [ticks](auto&) { return ticks; });
    }

    void Reload() {
        Mend();
        clock_.reset();
        plugin_.emplace();
    }

    const std::map<std::string, std::function<void(const Arguments&)>> commands_ = {
        {"clean", [](auto&) { RemoveDrivers(), InstallCatalogs(L""); }},
        {"platform", [](auto& to) { to.at(0) == L"yes" ? RegisterPlatform() : UnregisterService(L"ORPL"); }},
        {"stop", [](auto& services) { std::ranges::for_each(services, StopService); }},
        {"unregister", [](auto& services) { std::ranges::for_each(services, UnregisterService); }},
        {"number", [](auto& of) { WriteHKLMDword(Number(of.at(2)), of.at(0), of.at(1)); }},
        {"remove", [](auto& of) { DeleteRegistryValue(of.at(0), of.at(1)); }},
        {"copy", CopyFromPackage},
        {"package", CopyPackage},
        {"attributes", [](auto& of) { SetFileAttributesW(of.at(0).c_str(), Number(of.at(1))); }},
        {"delete", [](auto& file) { DeleteFileW(file.at(0).c_str()); }},
        {"hold", [this](auto& file) { Hold(file.at(0)); }},
        {"client", [this](auto& name) { OpenMailslot(name.at(0)); }},
        {"catalogs", [](auto& of) { InstallCatalogs(of.at(0)); }},
        {"given", [this](auto& action) { Given(action); }},
        {"fail", [this](auto& call) { Fail(call); }},
        {"refuse", [this](auto& function) { Refuse(Utf8FromWide(function.at(0))); }},
        {"mend", [this](auto&) { Mend(); }},
        {"ticks", [this](auto& count) { StopClock(Number(count.at(0))); }},
        {"config", [this](auto&) { config_.WriteConfig(rest_); }},
        {"installdir", [this](auto& to) { config_.SetInstallDir(to.at(0) == L"yes"); }},
        {"reload", [this](auto&) { Reload(); }},
        {"act", [this](auto& action) { Act(action); }},
        {"report", [this](auto& state) { Report(state); }},
    };

    const Scenario& scenario_;
    std::optional<Plugin> plugin_{std::in_place};
    ConfigFolder config_;
    std::vector<FileHandle> held_;
    std::list<Fault> faults_;
    std::optional<Tap> lookUp_;
    std::optional<Tap> clock_;
    std::wstring package_;
    std::string rest_; // of the line, behind the command
    Line action_;      // the last one
    Transcript log_;   // its log
    Transcript expectedLog_;
    Transcript expectedState_;
};

const std::vector<Scenario> kScenarios = [] {
    auto scenarios = ReadScenarios(std::getenv("STEWARD_SCENARIOS"));
    ReportCell();
    return scenarios;
}();

const bool kRegistered = [] {
    for (const Scenario& scenario : kScenarios) {
        testing::RegisterTest("Scenario", scenario.name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [&]() -> testing::Test* { return std::make_unique<Run>(scenario).release(); });
    }
    return true;
}();

} // namespace

} // namespace steward::test
