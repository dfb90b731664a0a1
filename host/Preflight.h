// What an action would come to on this machine, found out without changing anything.
#pragma once

#include "CommandLine.h"
#include "ExitCode.h"
#include "MachineView.h"
#include "PackageView.h"

#include <string>
#include <utility>
#include <vector>

namespace steward::host {

enum class Severity { Note, Warning, Refusal };

struct Finding {
    Severity severity;
    const char* id;     // stable: "sys-missing"
    std::string driver; // empty: package or machine
    std::string what;   // is wrong
    std::string advice; // what to do; may be empty for a note

    // "qxcomm: there is no C:\...; copy it there"
    [[nodiscard]] std::string Text() const;
};

// Findings as they are made.
class Findings {
  public:
    void Add(Severity severity, const char* id, const std::string& driver, const std::string& what,
             const std::string& advice) {
        list_.push_back({severity, id, driver, what, advice});
    }
    void Refuse(const char* id, const std::string& driver, const std::string& what,
                const std::string& advice) {
        Add(Severity::Refusal, id, driver, what, advice);
    }
    [[nodiscard]] std::vector<Finding> Take() { return std::move(list_); }

  private:
    std::vector<Finding> list_;
};

inline constexpr size_t kLongestPath =
    259; // characters of a file name, and of what setup reads of its command line

// What the plug-in makes of a request.
enum class Procedure { Install, Uninstall, Update, Migrate, Rejected };
Procedure ProcedureOf(const Request& request, const tools::SharedDriverView& shared);

struct Preflight {
    Request request;
    Procedure procedure = Procedure::Rejected;
    tools::PackageView package;
    tools::MachineView machine;
    std::vector<Finding> findings;
    std::vector<std::string> steps; // that would be taken: "rename 3 images"
    bool needsRestart = false;

    [[nodiscard]] bool IsRefused() const;
    [[nodiscard]] std::vector<std::string> Warnings() const;
    // Whether an uninstallation leaves the driver to other products that hold it.
    [[nodiscard]] bool IsKept(const std::string& driver) const;
    [[nodiscard]] ExitCode Answer() const; // of `check`
};

Preflight LookBefore(const Request& request);

// The parts: what the package itself lacks, what on the machine stands against it, what would be done.
std::vector<Finding> FindPackageFaults(const Preflight& preflight);
std::vector<Finding> FindMachineFaults(const Preflight& preflight);
void PlanSteps(Preflight& preflight);

} // namespace steward::host
