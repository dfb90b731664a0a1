#include "Preflight.h"

#include <algorithm>
#include <iterator>

namespace steward::host {

std::string Finding::Text() const {
    return (driver.empty() ? "" : driver + ": ") + what + (advice.empty() ? "" : "; " + advice);
}

Procedure ProcedureOf(const Request& request, const tools::SharedDriverView& shared) {
    switch (request.action) {
    case INSTALL:
        return Procedure::Install;
    case UNINSTALL:
        return Procedure::Uninstall;
    case EQUAL_UPDATE:
        return Procedure::Update;
    case UPDATE:
        break;
    default:
        return Procedure::Rejected;
    }
    switch (request.compareState) {
    case COMPARE_INVALID:
    case COMPARE_UNKNOWN:
        return Procedure::Rejected;
    case COMPARE_ROLLBACK:
        return shared.isInstalledByPlatform ? Procedure::Update : Procedure::Migrate;
    default:
        return Procedure::Update;
    }
}

bool Preflight::IsRefused() const {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity == Severity::Refusal; });
}

std::vector<std::string> Preflight::Warnings() const {
    std::vector<std::string> warnings;
    for (const Finding& finding : findings) {
        if (finding.severity == Severity::Warning) {
            warnings.push_back(finding.Text());
        }
    }
    return warnings;
}

bool Preflight::IsKept(const std::string& driver) const {
    return machine.shared.IsHeldByOthers() && driver == machine.drivers.front().name;
}

ExitCode Preflight::Answer() const {
    return IsRefused() ? kFailure : needsRestart ? kRestartRequired : kSuccess;
}

Preflight LookBefore(const Request& request) {
    Preflight preflight;
    preflight.request = request;
    preflight.package = tools::LookIntoPackage(request.folder);
    preflight.machine = tools::LookAtMachine();
    preflight.procedure = ProcedureOf(request, preflight.machine.shared);
    preflight.findings = FindPackageFaults(preflight);
    std::ranges::move(FindMachineFaults(preflight), std::back_inserter(preflight.findings));
    PlanSteps(preflight);
    return preflight;
}

} // namespace steward::host
