// Runs the scenarios of the file that STEWARD_SCENARIOS names against the shipped DLL, each as a test.
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
// for nothing. A file's blocks "before" and "after" surround each of its scenarios.
#include "e2e/CellReport.h"
#include "e2e/InstalledCatalogs.h"
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "e2e/Script.h"
#include "support/Fault.h"
#include "unit/config/ConfigFolder.h"
#include "util/Handles.h"
#include "util/RegKey.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace steward::test {

namespace {

constexpr wchar_t kCopiedPackage[] = L"C:\\package\\";
constexpr char kWhatWentBefore[] = "...";
constexpr wchar_t kPlatformKey[] = L"SOFTWARE\\Vexholm\\ORPL";

struct Source {
    const wchar_t* module;
    const wchar_t* file;
};
const std::map<char, Source> kSources = {
    {'d', {L"System Driver Installation", L"driverSteward.cpp"}},
    {'m', {L"System Driver Installation", L"drivermanage.cpp"}},
    {'i', {L"System Driver Installation", L"drvinstance.cpp"}},
    {'f', {L"Util COMMON", L"Std_Utils_File.cpp"}},
    {'p', {L"Util COMMON", L"util_PriviRestrict.cpp"}},
    {'c', {L"Util COMMON", L"util_OrplDataCrypto.cpp"}},
    {'s', {L"Core Config Repository", L"core\\coreConfigRepository\\SysConfigManager.cpp"}},
};

const std::map<std::string, uint32_t> kActions = {
    {"install", INSTALL}, {"update", UPDATE}, {"uninstall", UNINSTALL}, {"equal-update", EQUAL_UPDATE}};

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string Code(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", code);
    return text;
}

uint32_t Number(const std::string& text) {
    return static_cast<uint32_t>(std::stoul(text, nullptr, 0));
}

void CopyPackage(const std::vector<std::string>& words) {
    CreateDirectoryW(kCopiedPackage, nullptr);
    for (const std::wstring& driver : kDrivers) {
        for (const wchar_t* const extension : {L".inf", L".sys", L".cat"}) {
            const std::wstring file = driver + extension;
            CopyFileW((Package(Wide(words.at(1))) + file).c_str(), (kCopiedPackage + file).c_str(), FALSE);
        }
    }
    for (size_t i = 2; i < words.size(); ++i) {
        DeleteFileW((kCopiedPackage + Wide(words[i])).c_str());
    }
}

class Run : public testing::Test {
    using Clock = ImportPatch<"GetTickCount", decltype(GetTickCount)>;
    using LookUp = ImportPatch<"GetProcAddress", decltype(GetProcAddress)>;

  public:
    Run(const Script& script, const Scenario& scenario) : script_(script), scenario_(scenario) {}
    ~Run() override { Mend(); }

    void TestBody() override {
        if (!scenario_.applies) {
            GTEST_SKIP();
        }
        Carry(script_.Block("before"));
        Carry(script_.Expand(scenario_.lines));
        Mend();
        Carry(script_.Block("after"));
    }

  private:
    void Carry(const std::vector<Line>& lines) {
        for (const Line& line : lines) {
            CarryOut(line);
        }
        Settle();
    }

    [[nodiscard]] std::string Resolved(std::string line) const {
        const std::pair<std::string, std::wstring> values[] = {
            {"$package", package_},      {"$drivers", kDriversFolder},   {"$catalogs", kCatalogFolder},
            {"$config", config_.Path()}, {"$services", ServiceKey(L"")}, {"$none", L""}};
        for (const auto& [name, value] : values) {
            for (size_t at = 0; (at = line.find(name)) != std::string::npos;) {
                line.replace(at, name.size(), Utf8(value));
            }
        }
        return line;
    }

    void CarryOut(const Line& at) {
        const std::string line = Resolved(at.text);
        const bool isLog =
            line.size() > 2 && kSources.contains(line[0]) && isdigit(line[1]) && line[2] == ' ';
        if (isLog) {
            const auto& [module, file] = kSources.at(line[0]);
            expectedLog_.push_back(
                LogLine(static_cast<uint32_t>(line[1] - '0'), module, file, Wide(line.substr(3))));
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
        const testing::ScopedTrace trace(at.file.c_str(), at.number, line);
        const auto words = Words(line);
        const auto command = commands_.find(words[0]);
        if (command == commands_.end()) {
            ThrowAt(at, "'" + line + "' is no line of a scenario");
        }
        rest_ = line.substr(std::min(line.size(), words[0].size() + 1));
        try {
            command->second(words);
        } catch (const std::exception& problem) {
            ThrowAt(at, std::string(problem.what()) + ": " + line);
        }
        action_ = at;
    }

    // Compares log and machine with what is expected after the last line.
    void Settle() {
        const testing::ScopedTrace trace(action_.file.c_str(), action_.number, action_.text);
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

    void Act(const std::vector<std::string>& words) {
        plugin_->Log();
        const auto action = kActions.find(words.at(1));
        package_ = words.at(2).find(':') == std::string::npos ? Package(Wide(words[2])) : Wide(words[2]);
        RecordedAction recorded(plugin_->Module(), rest_);
        const uint32_t result = plugin_->Act(action == kActions.end() ? Number(words.at(1)) : action->second,
                                             package_, words.size() > 3 ? Number(words[3]) : 2);
        recorded.Answered(result);
        log_ = plugin_->Log();
        const std::string last = log_.empty() ? "" : log_.back();
        const size_t said = last.find("asStatus = 0x");
        EXPECT_EQ(result, said == std::string::npos ? uint32_t{DS_FAILED_BATCH_ABORTED}
                                                    : Number(last.substr(last.find("0x", said))));
    }

    void Given(const std::vector<std::string>& words) {
        Act(words);
        ASSERT_THAT(log_.back(), testing::HasSubstr("asStatus = 0x2")) << "given " << rest_;
        log_.clear();
    }

    void Report(const std::vector<std::string>& words) {
        plugin_->Log();
        RecordedAction recorded(plugin_->Module(), "report");
        const DriverStateReport report = plugin_->Report();
        recorded.Answered(report.state);
        log_ = plugin_->Log();
        EXPECT_EQ(Code(report.report_tag) + " " + std::to_string(report.valid), "22000100 1");
        EXPECT_EQ(report.version, words.size() > 2 ? words[2] : "");
        EXPECT_EQ(Code(report.state), words.at(1));
    }

    void Fail(const std::vector<std::string>& words) {
        const size_t at = words.at(1).find('@');
        const int call = at == std::string::npos ? Fault::kEveryCall : std::stoi(words.at(1).substr(at + 1));
        faults_.push_back(
            std::make_unique<Fault>(plugin_->Module(), words.at(1).substr(0, at), Number(words[2]), call));
    }

    void Refuse(const std::string& function) {
        lookUp_.reset();
        lookUp_ = std::make_unique<LookUp>(plugin_->Module(), [this, function](HMODULE module, LPCSTR name) {
            return name == function ? reinterpret_cast<FARPROC>(+[] {
                SetLastError(ERROR_ACCESS_DENIED);
                return INT_PTR{0};
            })
                                    : lookUp_->Original(module, name);
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
        clock_.reset();
        clock_ = std::make_unique<Clock>(plugin_->Module(), [ticks] { return ticks; });
    }

    void Reload() {
        Mend();
        clock_.reset();
        plugin_.emplace();
    }

    const std::map<std::string, std::function<void(const std::vector<std::string>&)>> commands_ = {
        {"clean",
         [](auto&) {
             RemoveDrivers();
             InstalledCatalogs::Remove();
         }},
        {"platform",
         [](auto& words) { words.at(1) == "yes" ? RegisterPlatformService() : UnregisterService(L"ORPL"); }},
        {"stop",
         [](auto& words) {
             std::for_each(words.begin() + 1, words.end(), [](auto& name) { StopService(Wide(name)); });
         }},
        {"unregister",
         [](auto& words) {
             std::for_each(words.begin() + 1, words.end(), [](auto& name) { UnregisterService(Wide(name)); });
         }},
        {"number",
         [](auto& words) { SetRegistryNumber(Wide(words.at(1)), Wide(words[2]), Number(words[3])); }},
        {"remove", [](auto& words) { DeleteRegistryValue(Wide(words.at(1)), Wide(words[2])); }},
        {"copy",
         [](auto& words) {
             const size_t slash = words.at(1).find('/');
             const std::wstring file = Wide(words.at(1).substr(slash + 1));
             CopyFileW((Package(Wide(words.at(1).substr(0, slash))) + file).c_str(),
                       (Wide(words[2]) + file).c_str(), FALSE);
         }},
        {"package", CopyPackage},
        {"attributes",
         [](auto& words) { SetFileAttributesW(Wide(words.at(1)).c_str(), Number(words.at(2))); }},
        {"delete", [](auto& words) { DeleteFileW(Wide(words.at(1)).c_str()); }},
        {"hold",
         [this](auto& words) {
             held_.emplace_back(CreateFileW(Wide(words.at(1)).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                            nullptr));
             ASSERT_TRUE(held_.back()) << words.at(1);
         }},
        {"client",
         [this](auto& words) {
             held_.emplace_back(
                 CreateMailslotW((L"\\\\.\\mailslot\\" + Wide(words.at(1))).c_str(), 0, 0, nullptr));
         }},
        {"catalogs", [this](auto& words) { catalogs_.emplace(Package(Wide(words.at(1)))); }},
        {"given", [this](auto& words) { Given(words); }},
        {"fail", [this](auto& words) { Fail(words); }},
        {"refuse", [this](auto& words) { Refuse(words.at(1)); }},
        {"mend", [this](auto&) { Mend(); }},
        {"ticks", [this](auto& words) { StopClock(Number(words.at(1))); }},
        {"config", [this](auto&) { config_.WriteConfig(rest_); }},
        {"installdir",
         [this](auto& words) {
             words.at(1) == "yes"
                 ? static_cast<void>(WriteHKLMString(config_.Path(), kPlatformKey, L"InstallDir"))
                 : DeleteRegistryValue(kPlatformKey, L"InstallDir");
         }},
        {"reload", [this](auto&) { Reload(); }},
        {"act", [this](auto& words) { Act(words); }},
        {"report", [this](auto& words) { Report(words); }},
    };

    const Script& script_;
    const Scenario& scenario_;
    std::optional<Plugin> plugin_{std::in_place};
    ConfigFolder config_;
    std::optional<InstalledCatalogs> catalogs_;
    std::vector<FileHandle> held_;
    std::vector<std::unique_ptr<Fault>> faults_;
    std::unique_ptr<LookUp> lookUp_;
    std::unique_ptr<Clock> clock_;
    std::wstring package_;
    std::string rest_; // of the line, behind the command
    Line action_;      // the last one
    Transcript log_;   // its log
    Transcript expectedLog_;
    Transcript expectedState_;
};

void Register(const Script& script) {
    for (const Scenario& scenario : script.Scenarios()) {
        testing::RegisterTest("Scenario", scenario.name.text.c_str(), nullptr, nullptr,
                              scenario.name.file.c_str(), scenario.name.number, [&]() -> testing::Test* {
                                  return std::make_unique<Run>(script, scenario).release();
                              });
    }
}

const bool kRegistered = [] {
    try {
        const char* const file = std::getenv("STEWARD_SCENARIOS");
        static const Script script(file == nullptr ? "" : file);
        Register(script);
        ReportCell();
        return true;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "the scenarios that STEWARD_SCENARIOS names cannot be read: %s\n",
                     problem.what());
        std::exit(2);
    }
}();

} // namespace

} // namespace steward::test
