// What a package lacks for an action.
#include "Preflight.h"

#include "WindowsFiles.h"

#include "service/InfCommand.h"
#include "service/OsVersion.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>

namespace steward::host {

namespace {

constexpr size_t kLongestFileName = 12; // "qxactmon.inf"

class PackageCheck {
  public:
    explicit PackageCheck(const Preflight& preflight)
        : preflight_(preflight), package_(preflight.package), procedure_(preflight.procedure) {}

    std::vector<Finding> Find() {
        if (procedure_ == Procedure::Rejected) {
            findings_.Refuse("compare-state", "",
                             "the plug-in rejects compare state " +
                                 std::to_string(preflight_.request.compareState),
                             "give another, or none");
        }
        if (const size_t tooMany = CharactersTooMany(); tooMany != 0) {
            const size_t length = package_.folder.size() - 1; // without the backslash at its end
            findings_.Refuse("path-too-long", "",
                             "the package folder's path has " + std::to_string(length) +
                                 " characters, too many for setup",
                             "move the package to a path of at most " + std::to_string(length - tooMany));
        } else if (!package_.exists) {
            findings_.Refuse("folder-missing", "", "there is no folder " + Utf8FromWide(package_.folder),
                             "check the path");
        } else {
            for (size_t i = 0; i < package_.drivers.size(); ++i) {
                CheckDriver(package_.drivers[i], preflight_.machine.drivers[i]);
            }
        }
        return findings_.Take();
    }

  private:
    // Of the folder's path, for the longest file name, and for the longest command line to setup.
    [[nodiscard]] size_t CharactersTooMany() const {
        size_t longest = package_.folder.size() + kLongestFileName;
        for (size_t i = 0; i < package_.drivers.size(); ++i) {
            const tools::PackageDriver& driver = package_.drivers[i];
            if (RunsInf(driver, preflight_.machine.drivers[i])) {
                const std::wstring section = WideFromUtf8(SectionOf(driver));
                longest = std::max(longest, InfCommandLine(section.c_str(), driver.inf.path.c_str()).size());
            }
        }
        return longest > kLongestPath ? longest - kLongestPath : 0;
    }

    // That would be run.
    [[nodiscard]] std::string SectionOf(const tools::PackageDriver& driver) const {
        return procedure_ == Procedure::Uninstall ? Utf8FromWide(kUninstallSection) : driver.section;
    }

    [[nodiscard]] bool RunsInf(const tools::PackageDriver& driver, const tools::DriverView& view) const {
        switch (procedure_) {
        case Procedure::Install:
            return true;
        case Procedure::Uninstall:
            return !preflight_.IsKept(driver.name);
        case Procedure::Update:
        case Procedure::Migrate:
            return !view.service.isInstalled;
        default:
            return false;
        }
    }

    void CheckDriver(const tools::PackageDriver& driver, const tools::DriverView& view) {
        if (RunsInf(driver, view)) {
            CheckInf(driver);
        }
        if (procedure_ != Procedure::Uninstall) {
            CheckSys(driver, view);
            CheckCatalog(driver);
            CheckSignature(driver);
        }
    }

    void CheckInf(const tools::PackageDriver& driver) {
        const std::string file = Utf8FromWide(driver.inf.path);
        const bool hasSection =
            procedure_ == Procedure::Uninstall ? driver.hasUninstallSection : driver.hasSection;
        if (!driver.inf.exists) {
            findings_.Refuse("inf-missing", driver.name, "there is no " + file, "complete the package");
        } else if (!driver.infProblem.empty()) {
            findings_.Refuse("inf-unreadable", driver.name, file + ": " + driver.infProblem,
                             "replace the file");
        } else if (!hasSection) {
            findings_.Refuse("section-missing", driver.name,
                             file + " has no section [" + SectionOf(driver) + "]",
                             "use a package for this Windows version");
        }
    }

    void CheckSys(const tools::PackageDriver& driver, const tools::DriverView& view) {
        const std::string file = Utf8FromWide(driver.sys.path);
        if (!driver.sys.exists) {
            findings_.Refuse("sys-missing", driver.name, "there is no " + file, "complete the package");
        } else if (!driver.sysProblem.empty()) {
            findings_.Refuse("sys-unusable", driver.name, file + ": " + driver.sysProblem,
                             "replace the file");
        } else if (tools::IsOlder(driver.version, view.fileVersion) &&
                   preflight_.request.command != L"rollback") {
            findings_.Add(Severity::Warning, "older", driver.name,
                          "the package's " + driver.version + " is older than the installed " +
                              view.fileVersion,
                          "use rollback to go back");
        }
    }

    void CheckCatalog(const tools::PackageDriver& driver) {
        if (driver.cat.exists) {
            return;
        }
        const bool isCopied = procedure_ == Procedure::Update && CatalogsAreKept();
        findings_.Add(isCopied ? Severity::Refusal : Severity::Warning, "cat-missing", driver.name,
                      "there is no " + Utf8FromWide(driver.cat.path), "complete the package");
    }

    void CheckSignature(const tools::PackageDriver& driver) {
        const tools::PolicyView& policy = preflight_.machine.policy;
        if (!driver.sys.exists || driver.signature.kind != tools::SignatureView::Kind::None) {
            return;
        }
        const std::string file = Utf8FromWide(driver.sys.path);
        if (policy.isOn && policy.graceSeconds == 0) {
            findings_.Refuse("unsigned", driver.name,
                             file + " carries no valid signature, and the policy demands one",
                             "use a signed package");
        } else {
            findings_.Add(Severity::Warning, "unsigned", driver.name, file + " carries no valid signature",
                          policy.isOn ? "it is accepted only until the machine has been up for two minutes"
                                      : "it is accepted because the policy is off");
        }
    }

    const Preflight& preflight_;
    const tools::PackageView& package_;
    Procedure procedure_;
    Findings findings_;
};

} // namespace

std::vector<Finding> FindPackageFaults(const Preflight& preflight) {
    return PackageCheck(preflight).Find();
}

} // namespace steward::host
