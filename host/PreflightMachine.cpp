// What on the machine stands against an action.
#include "Preflight.h"

#include "PlatformLibraries.h"

#include "lifecycle/Locations.h"
#include "service/OsVersion.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>

namespace steward::host {

namespace {

using tools::DriverView;

constexpr size_t kLongestFileName = 16; // "qxactmon1A2B.tmp"

// Whether Windows keeps the file from being written to, as it does with the image of a loaded driver.
bool IsLocked(const std::wstring& path) {
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return !file && GetLastError() == ERROR_SHARING_VIOLATION;
}

class MachineCheck {
  public:
    explicit MachineCheck(const Preflight& preflight)
        : preflight_(preflight), machine_(preflight.machine), procedure_(preflight.procedure) {}

    std::vector<Finding> Find() {
        if (!machine_.isElevated) {
            findings_.Refuse("not-elevated", "", "this needs an administrator's rights",
                             "start it from an administrator's prompt");
        }
        CheckFolders();
        for (const DriverView& driver : machine_.drivers) {
            CheckDriver(driver);
        }
        CheckSharedDriver();
        return findings_.Take();
    }

  private:
    void CheckFolders() {
        if (!tools::IsSetupKitThere()) {
            findings_.Refuse("setupkit-missing", "", tools::WhyNoSetupKit(), "");
            return;
        }
        const std::wstring drivers = DriversFolder();
        CheckLength(drivers, "drivers");
        if (CatalogsAreKept()) {
            CheckLength(CatalogFolder(), "catalog");
        }
        if (procedure_ != Procedure::Uninstall) {
            CheckSpace(drivers);
        }
    }

    void CheckLength(const std::wstring& folder, const char* which) {
        if (folder.empty() || folder.size() + kLongestFileName > kLongestPath) {
            findings_.Refuse("path-too-long", "",
                             std::string("the path of Windows' ") + which +
                                 " folder leaves no room for file names of " + std::to_string(kLongestPath) +
                                 " characters",
                             "this machine's drivers cannot be managed");
        }
    }

    void CheckSpace(const std::wstring& folder) {
        uint64_t needed = 0;
        for (const tools::PackageDriver& driver : preflight_.package.drivers) {
            needed += driver.sys.bytes + driver.cat.bytes;
        }
        ULARGE_INTEGER left{};
        if (GetDiskFreeSpaceExW(folder.c_str(), &left, nullptr, nullptr) && left.QuadPart < needed) {
            findings_.Refuse("no-space", "",
                             "the drive of " + Utf8FromWide(folder) + " has " +
                                 std::to_string(left.QuadPart) + " bytes left, and the package needs " +
                                 std::to_string(needed),
                             "make room");
        }
    }

    void CheckDriver(const DriverView& driver) {
        if (driver.service.error != 0) {
            findings_.Refuse("service-unreadable", driver.name,
                             "the service is " + driver.service.StateInWords(), "mend that first");
        } else if (procedure_ == Procedure::Uninstall) {
            CheckBeforeRemoval(driver);
        } else {
            CheckBeforeChange(driver);
        }
    }

    void CheckBeforeRemoval(const DriverView& driver) {
        if (!driver.service.isInstalled && !preflight_.IsKept(driver.name)) {
            findings_.Refuse("not-installed", driver.name,
                             "it is not installed: the removal ends there with 0xE01A000C",
                             "install the package, then uninstall it");
        } else if (driver.next == tools::NextStart::IsRemoved) {
            findings_.Add(Severity::Warning, "removal-pending", driver.name,
                          "it will be removed at the next restart anyway", "restart instead");
        }
    }

    void CheckBeforeChange(const DriverView& driver) {
        if (driver.next == tools::NextStart::IsRemoved) {
            findings_.Refuse("removal-pending", driver.name,
                             driver.isDeletedAtRestart ? "its file is deleted at the next restart"
                                                       : "its service is marked for deletion",
                             "restart first");
        } else if (procedure_ == Procedure::Update && !DriversAreStoppedForChange() && !ImagesAreRenamed() &&
                   driver.hasFile && IsLocked(driver.path)) {
            findings_.Refuse("in-use", driver.name,
                             Utf8FromWide(driver.path) +
                                 " is in use, and this Windows version neither stops nor renames it",
                             "stop the drivers (sc stop qxactmon, then qxevtmgr, then qxcomm), then update");
        } else if (driver.WaitsForRestart()) {
            findings_.Add(Severity::Warning, "restart-pending", driver.name,
                          "an earlier change waits for the next restart",
                          "restart first unless this one is to take its place");
        } else if (procedure_ == Procedure::Install && driver.isLoaded) {
            findings_.Add(Severity::Note, "running", driver.name, "it runs already and keeps its image",
                          "use update to replace it");
        }
    }

    void CheckSharedDriver() {
        const std::string& name = machine_.drivers[0].name;
        if (machine_.shared.IsHeldByOthers() && procedure_ == Procedure::Uninstall) {
            findings_.Add(Severity::Note, "held-by-others", name,
                          std::to_string(machine_.shared.holders.value_or(0)) + " products hold it: it stays",
                          "");
        }
        const bool isStopped = DriversAreStoppedForChange() && machine_.drivers[0].isLoaded &&
                               (procedure_ == Procedure::Update ||
                                (procedure_ == Procedure::Uninstall && !machine_.shared.IsHeldByOthers()));
        if (!machine_.shared.hasClients || !isStopped) {
            return;
        }
        // An equal update goes on past it, but ends at an image that is in use.
        const bool goesOn = procedure_ == Procedure::Update && preflight_.request.command != L"update" &&
                            !IsLocked(machine_.drivers[0].path);
        findings_.Add(goesOn ? Severity::Warning : Severity::Refusal, "clients", name,
                      "programs use it, so that it cannot be stopped", "end these programs first");
    }

    const Preflight& preflight_;
    const tools::MachineView& machine_;
    Procedure procedure_;
    Findings findings_;
};

} // namespace

std::vector<Finding> FindMachineFaults(const Preflight& preflight) {
    return MachineCheck(preflight).Find();
}

} // namespace steward::host
