// Every function that the shipped DLL imports, at every call that an action makes: once it fails as the
// function fails, once the host's process ends there. lab/sweep runs this, with the restarts. STEWARD_SAMPLE
// takes so many calls of two actions that STEWARD_SEED chooses.
#include "e2e/Actions.h"
#include "e2e/Ledger.h"
#include "e2e/Machine.h"
#include "support/Fault.h"
#include "support/ToolRun.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>

namespace steward::test {

namespace {

constexpr unsigned kEnded = 77;
constexpr char kEndAt[] = "STEWARD_END_AT";
const std::filesystem::path kSeen = std::filesystem::absolute("crashes.txt"); // where the program was started
constexpr uint32_t kCodes[] = {
    DS_SUCCESS,           DS_SUCCESS_RESTART_REQUIRED, DS_ALL_RUNNING,      DS_NOT_ALL_RUNNING,
    DS_NONE_PRESENT,      DS_UNSUPPORTED_REQUEST,      DS_PROCEDURE_FAILED, DS_FAILED_BATCH_ABORTED,
    DS_DRIVER_NOT_STOPPED};

struct Case {
    std::string import;
    int call;       // of this import
    size_t number;  // among all calls, from 1
    bool isParsing; // the configuration, which is decrypted
};

unsigned Environment(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? 0 : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

std::string NameOf(What what) {
    return kActions[static_cast<size_t>(what)].name;
}

class Sweep : public testing::TestWithParam<What> {
  protected:
    Sweep() {
        if (Environment(kEndAt) == 0) { // otherwise it is on already
            policy_.emplace();
        }
    }
    ~Sweep() override {
        if (!stays_) {
            RemoveDrivers();
        }
    }

    // Whether the sample, if one is wanted, has this action.
    bool IsChosen() {
        const auto chosen = [this] { return static_cast<What>(random_() % std::size(kActions)); };
        return sample_ == 0 || chosen() == GetParam() || chosen() == GetParam();
    }

    // The calls of the undisturbed action, or a sample of them; its result and what it leaves.
    std::vector<Case> Cases() {
        action_.Prepare();
        action_.Run(); // fills what the system fills once
        action_.Prepare();
        std::vector<Case> cases = Watched([](size_t) {});
        all_ = cases.size();
        if (sample_ != 0) {
            std::shuffle(cases.begin(), cases.end(), random_);
            cases.resize(std::min<size_t>(cases.size(), sample_));
        }
        return cases;
    }

    // Runs the action; `before` is told the number of each call.
    std::vector<Case> Watched(const std::function<void(size_t)>& before) {
        std::vector<Case> cases;
        std::map<std::string, int> calls;
        bool isParsing = false;
        const Ledger ledger(action_.Module());
        std::vector<std::unique_ptr<Tap>> taps;
        for (const std::string& import : SweptImports(action_.Module())) {
            taps.push_back(
                std::make_unique<Tap>(action_.Module(), import, [&, import](const Tap::Call& call) {
                    isParsing = import == "CryptReleaseContext" || (isParsing && import == "malloc");
                    cases.push_back({import, ++calls[import], cases.size() + 1, isParsing});
                    before(cases.size());
                    return call.Run();
                }));
        }
        result_ = action_.Run();
        outcome_ = action_.Outcome();
        EXPECT_THAT(ledger.Open(), testing::IsEmpty());
        return cases;
    }

    // What was disturbed is done again, and ends as if it never had been. A mark of the shared driver that
    // could not be read counts as another product's, by the system's own rule: the platform is then counted
    // as a holder once more.
    void RunAgain(const std::string& disturbed = "") {
        action_.Load();
        action_.Stop(); // a migration started them
        uint32_t result = action_.Run();
        // An uninstallation that ended behind a removed driver goes no further: install, then uninstall.
        if (GetParam() == What::Uninstall && result == DS_FAILED_BATCH_ABORTED) {
            EXPECT_EQ(action_.Run(What::Install), DS_SUCCESS);
            action_.Stop();
            result = action_.Run();
        }
        EXPECT_EQ(result >> 31, result_ >> 31);
        if (GetParam() != What::Migration) { // which is a rollback once the driver is taken over
            EXPECT_EQ(result, result_);
            EXPECT_TRUE(
                SameTranscript(Compared(action_.Outcome(), disturbed), Compared(outcome_, disturbed)));
        }
    }

    static Transcript Compared(Transcript outcome, const std::string& disturbed) {
        std::erase_if(outcome, [&](const std::string& line) {
            return disturbed.starts_with("Reg") &&
                   (line.starts_with("PermCount") || line.starts_with("Start"));
        });
        return outcome;
    }

    void Print(const char* what, const std::vector<Case>& cases) const {
        std::map<std::string, int> calls;
        for (const Case& each : cases) {
            ++calls[each.import];
        }
        std::printf("%s: %s at %zu of %zu calls, seed %u:", NameOf(GetParam()).c_str(), what, cases.size(),
                    all_, Environment("STEWARD_SEED"));
        for (const auto& [import, count] : calls) {
            std::printf(" %s %d", import.c_str(), count);
        }
        std::printf("\n");
    }

    Action action_{GetParam()};
    uint32_t result_ = 0;
    Transcript outcome_;
    bool stays_ = false; // the machine as it is

  private:
    std::optional<PolicyOn> policy_;
    unsigned sample_ = Environment("STEWARD_SAMPLE");
    std::mt19937 random_{Environment("STEWARD_SEED")};
    size_t all_ = 0;
};

class FaultSweep : public Sweep {
  protected:
    void Disturb(const Case& each) {
        action_.Prepare();
        if (each.import == "malloc") { // the first exception costs the runtime some blocks for ever
            const Fault fault(action_.Module(), "malloc", 0, 1);
            action_.Run(What::Policy);
        }
        const DWORD handles = OpenHandles();
        uint32_t result = 0;
        {
            const Ledger ledger(action_.Module());
            const Fault fault(action_.Module(), each.import, UsualError(each.import), each.call);
            result = action_.Run();
            auto open = ledger.Open();
            if (each.isParsing && each.import == "malloc") {
                open.erase("heap block"); // TinyXML loses the node that it is building
            }
            EXPECT_THAT(open, testing::IsEmpty());
        }
        EXPECT_THAT(kCodes, testing::Contains(result));
        EXPECT_EQ(OpenHandles(), handles);
        if (GetParam() == What::Policy && result != result_) {
            // A tampered package was let through: the policy was read as off, and stays off in this process.
            EXPECT_EQ(action_.Run(), DS_UNSUPPORTED_REQUEST) << "the gate passed with the policy on";
        }
        if (result != result_ || action_.Outcome() != outcome_) {
            RunAgain(each.import);
        }
    }
};

// An undisturbed run, and each one that ended early and was made up for, is followed by a restart of the
// machine, unless it was restarted from the same state before. A restart ends this program, too: what is
// known is kept in files.
class CrashSweep : public Sweep {
  protected:
    CrashSweep() {
        std::ifstream file(kSeen);
        file >> next_;
        for (std::string line; std::getline(file >> std::ws, line);) {
            seen_.push_back(line);
        }
    }

    // False when the machine was restarted from its state before.
    bool NeedsRestart(size_t next) {
        const std::string state = Joined(MachineState(), " | ");
        if (std::find(seen_.begin(), seen_.end(), state) != seen_.end()) {
            return false;
        }
        seen_.push_back(state);
        std::ofstream(kSeen) << next << "\n" << Joined(seen_);
        return true;
    }

    // The host of a test: dies at one call.
    void EndAt(size_t number) {
        SetEnvironmentVariableA(kEndAt, std::to_string(number).c_str());
        const std::string name = NameOf(GetParam());
        const ToolRun host =
            RunTool(L"sweep.exe", L"--gtest_also_run_disabled_tests --gtest_filter=*DISABLED_Ends/" +
                                      std::wstring(name.begin(), name.end()));
        SetEnvironmentVariableA(kEndAt, nullptr);
        ASSERT_EQ(host.exitCode, kEnded) << host.output;
    }

    size_t next_ = 0;
    Transcript seen_;
};

} // namespace

TEST_P(FaultSweep, EveryFailingCallIsSurvived) {
    if (!IsChosen()) {
        GTEST_SKIP();
    }
    const std::vector<Case> cases = Cases();
    RunAgain();
    for (const Case& each : cases) {
        SCOPED_TRACE(each.import + " call " + std::to_string(each.call));
        Disturb(each);
    }
    Print("failed", cases);
}

TEST_P(CrashSweep, DISABLED_Ends) {
    const size_t end = Environment(kEndAt);
    action_.Load();
    Watched([end](size_t number) {
        if (number == end) {
            TerminateProcess(GetCurrentProcess(), kEnded);
        }
    });
    FAIL() << "the host lives";
}

// Faults: a file that is neither old nor new; an action that cannot be completed after the host was killed.
TEST_P(CrashSweep, EveryEndIsMadeUpFor) {
    const std::vector<Case> cases = Cases();
    for (size_t i = next_; i <= cases.size(); ++i) {
        if (i > 0) {
            const Case& each = cases[i - 1];
            SCOPED_TRACE(each.import + " call " + std::to_string(each.call));
            action_.Prepare();
            EndAt(each.number);
            RunAgain();
        }
        if (NeedsRestart(i + 1)) {
            std::printf("RESTART\n");
            stays_ = true;
            return;
        }
    }
    Print("ended", cases);
}

TEST_P(CrashSweep, AfterTheRestart) {
    SCOPED_TRACE("before: " + seen_.back());
    ExpectAsBefore(L"restarted.txt", action_.Outcome());
}

INSTANTIATE_TEST_SUITE_P(Actions, CrashSweep, testing::Values(What::Install, What::Update, What::Uninstall),
                         [](auto& action) { return NameOf(action.param); });

INSTANTIATE_TEST_SUITE_P(Actions, FaultSweep,
                         testing::Values(What::Install, What::Update, What::EqualUpdate, What::Rollback,
                                         What::Migration, What::Uninstall, What::Report, What::Policy),
                         [](auto& action) { return NameOf(action.param); });

} // namespace steward::test
