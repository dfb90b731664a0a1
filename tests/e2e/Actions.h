// The actions that the sweeps disturb, each on the machine that it starts from, with the signature policy on.
#pragma once

#include "e2e/Plugin.h"
#include "support/ConfigFolder.h"
#include "support/ImportPatch.h"

#include <functional>
#include <optional>

namespace steward::test {

enum class What { Install, Update, EqualUpdate, Rollback, Migration, Uninstall, Report, Policy };
const struct {
    const char* name;
    const wchar_t* package;
    uint32_t action;
    uint32_t compareState = 2;
} kActions[] = {{"Install", L"v1", INSTALL},
                {"Update", L"v2", UPDATE},
                {"EqualUpdate", L"v2", EQUAL_UPDATE},
                {"Rollback", L"v2", UPDATE, COMPARE_ROLLBACK},
                {"Migration", L"v2", UPDATE, COMPARE_ROLLBACK},
                {"Uninstall", L"v1", UNINSTALL},
                {"Report", L"", 0},
                {"Policy", L"tampered", 9}};

// The functions that the plug-in imports and whose failure is its business.
std::vector<std::string> SweptImports(HMODULE module);

// The plug-in on a machine that has been up for longer than the grace in which every file is trusted.
struct LoadedPlugin {
    Plugin plugin;
    ImportPatch<"GetTickCount", decltype(GetTickCount)> clock{plugin.Module(), [] { return DWORD{120'000}; }};
};

class Action {
  public:
    explicit Action(What what) : what_(what) {}

    // Brings the machine to where the action starts and loads the plug-in anew.
    void Prepare();
    // Loads the plug-in anew, which then has not read its policy yet.
    void Load();
    // The result code; of a report its state, of a reading of the policy what becomes of a tampered package.
    uint32_t Run() { return Run(what_); }
    uint32_t Run(What what);
    // Stops what Wine would not replace or remove while it runs.
    void Stop() const;
    [[nodiscard]] HMODULE Module() const { return loaded_->plugin.Module(); }

    // What counts of the machine when the action is through: files that wait for their deletion do not, nor
    // does a count that is one higher for every try of a migration.
    [[nodiscard]] Transcript Outcome() const;

  private:
    What what_;
    std::optional<LoadedPlugin> loaded_;
    Transcript ready_; // the machine when it was last prepared
};

// The platform's folder with a configuration that switches the policy on, for one scope.
struct PolicyOn : ConfigFolder {
    PolicyOn();
};

// Keeps what is seen in a file of the folder that the program was started in; the next one must see the same.
void ExpectAsBefore(const std::wstring& file, const Transcript& machine);

} // namespace steward::test
