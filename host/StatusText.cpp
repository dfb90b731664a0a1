// Status and check in words.
#include "TextOutput.h"
#include "TextTable.h"

#include "util/Utf8.h"

namespace steward::host {

namespace {

using tools::DriverView;
using tools::MachineView;
using tools::SignatureView;

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string FileInWords(const DriverView& driver) {
    return driver.path.empty() ? "unknown" : !driver.hasFile ? "none" : OrDash(driver.fileVersion);
}

std::string LoadedInWords(const DriverView& driver) {
    return !driver.isLoaded ? "-" : driver.loadedVersion ? OrDash(*driver.loadedVersion) : "unknown";
}

std::string SignerInWords(const SignatureView& signature) {
    switch (signature.kind) {
    case SignatureView::Kind::Embedded:
        return signature.signer.empty() ? "signed" : signature.signer;
    case SignatureView::Kind::Catalog:
        return (signature.signer.empty() ? "signed" : signature.signer) + " (catalog)";
    default:
        return "unsigned";
    }
}

std::string RestrictionInWords(const DriverView& driver) {
    if (!driver.service.isInstalled) {
        return "-";
    }
    switch (driver.service.restriction) {
    case tools::Restriction::Restricted:
        return "restricted";
    case tools::Restriction::Open:
        return "open";
    default:
        return "not visible";
    }
}

// Only the shared driver is counted.
std::string HoldersInWords(const MachineView& machine, const DriverView& driver) {
    if (driver.name != machine.drivers[0].name || !machine.shared.holders) {
        return "-";
    }
    return std::to_string(*machine.shared.holders) +
           (machine.shared.isInstalledByPlatform ? ", platform" : ", another product");
}

std::string PolicyInWords(const tools::PolicyView& policy) {
    const std::string grace = policy.graceSeconds == 0 ? ""
                                                       : "; every file is trusted for another " +
                                                             std::to_string(policy.graceSeconds) + " s";
    return (policy.isOn ? "on: " : "off: ") + policy.why + grace;
}

std::string RestartInWords(const MachineView& machine) {
    std::string reasons;
    for (const std::string& reason : machine.restartReasons) {
        reasons += (reasons.empty() ? "" : ", ") + reason;
    }
    const std::string others =
        machine.otherMovesAtRestart == 0
            ? ""
            : " (" + std::to_string(machine.otherMovesAtRestart) + " files of other programs wait for one)";
    return (reasons.empty() ? "none" : reasons) + others;
}

std::string DriversTable(const MachineView& machine) {
    std::vector<std::vector<std::string>> rows{{"driver", "service", "start", "file", "loaded",
                                                "after a restart", "signer", "holders", "restriction"}};
    for (const DriverView& driver : machine.drivers) {
        rows.push_back({driver.name, driver.service.StateInWords(), OrDash(driver.service.StartInWords()),
                        FileInWords(driver), LoadedInWords(driver), driver.NextInWords(),
                        driver.hasFile ? SignerInWords(driver.signature) : "-",
                        HoldersInWords(machine, driver), RestrictionInWords(driver)});
    }
    return TableText(rows, "");
}

std::string PackageTable(const Preflight& preflight) {
    std::vector<std::vector<std::string>> rows{
        {"driver", "package", "installed", "INF section", "signer", "catalog"}};
    for (size_t i = 0; i < preflight.package.drivers.size(); ++i) {
        const tools::PackageDriver& driver = preflight.package.drivers[i];
        rows.push_back({driver.name, driver.sys.exists ? OrDash(driver.version) : "none",
                        FileInWords(preflight.machine.drivers[i]),
                        !driver.inf.exists  ? "no INF"
                        : driver.hasSection ? driver.section
                                            : "no " + driver.section,
                        driver.sys.exists ? SignerInWords(driver.signature) : "-",
                        driver.cat.exists ? "there" : "none"});
    }
    return TableText(rows, "");
}

std::string FindingsText(const Preflight& preflight) {
    constexpr const char* kWords[] = {"note: ", "warning: ", "REFUSED: "};
    std::string text;
    for (const Finding& finding : preflight.findings) {
        text += kWords[static_cast<size_t>(finding.severity)] + finding.Text() + "\n";
    }
    return text;
}

std::string StepsText(const Preflight& preflight) {
    std::string text;
    for (const std::string& step : preflight.steps) {
        text += (text.empty() ? "would: " : ", ") + step;
    }
    return text.empty() ? "" : text + "\n";
}

} // namespace

std::string MachineText(const MachineView& machine) {
    return DriversTable(machine) +
           TableText(
               {{"policy", PolicyInWords(machine.policy)},
                {"elevated", machine.isElevated ? "yes" : "NO: services and files are seen in part only"},
                {"Windows", machine.windows + ", code " + std::to_string(machine.windowsCode)},
                {"restart", RestartInWords(machine)}},
               "");
}

std::string ReportText(const DriverStateReport& report) {
    const CodeMeaning state = MeaningOf(report.state);
    return std::string(state.name) + ": " + state.meaning + " (" + HexCode(report.state) + ")" +
           (report.version[0] == '\0' ? "" : std::string(", version ") + report.version) + "\n";
}

std::string TextOf(const StatusResult& result) {
    return (result.report ? ReportText(*result.report) : "") + MachineText(result.machine);
}

std::string TextOf(const Preflight& preflight) {
    const std::string verdict = preflight.IsRefused()    ? "would be refused"
                                : preflight.needsRestart ? "would succeed and need a restart"
                                                         : "would succeed";
    return Utf8FromWide(preflight.request.command) + " " + Utf8FromWide(preflight.package.folder) + "\n" +
           PackageTable(preflight) + FindingsText(preflight) +
           (preflight.IsRefused() ? "" : StepsText(preflight)) + "verdict: " + verdict + "\n";
}

} // namespace steward::host
