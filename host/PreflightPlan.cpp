// What an action would do, in the order in which the plug-in does it.
#include "Preflight.h"

#include "lifecycle/Locations.h"
#include "service/OsVersion.h"
#include "util/Std_Utils_File.h"
#include "util/Utf8.h"

#include <algorithm>

namespace steward::host {

namespace {

using tools::DriverView;

class Plan {
  public:
    explicit Plan(Preflight& preflight) : preflight_(preflight), drivers_(preflight.machine.drivers) {}

    void Make() {
        switch (preflight_.procedure) {
        case Procedure::Install:
            Install();
            break;
        case Procedure::Uninstall:
            Uninstall();
            break;
        case Procedure::Update:
            Update();
            break;
        case Procedure::Migrate:
            Migrate();
            break;
        default:
            break;
        }
        if (preflight_.needsRestart) {
            preflight_.steps.emplace_back("then a restart");
        }
    }

  private:
    // "run [DefaultInstall] of 3 INF files"; nothing for 0.
    void Step(const std::string& verb, size_t count, const std::string& one, const std::string& several) {
        if (count != 0) {
            preflight_.steps.push_back(verb + " " + std::to_string(count) + " " +
                                       (count == 1 ? one : several));
        }
    }

    template <typename Condition> [[nodiscard]] size_t CountDrivers(Condition condition) const {
        return static_cast<size_t>(std::count_if(drivers_.begin(), drivers_.end(), condition));
    }
    [[nodiscard]] size_t CountLoaded() const {
        return CountDrivers([](const DriverView& driver) { return driver.isLoaded; });
    }
    [[nodiscard]] size_t CountMissing() const {
        return CountDrivers([](const DriverView& driver) { return !driver.service.isInstalled; });
    }

    void Install() {
        Step("run the install section of", drivers_.size(), "INF file", "INF files");
        Step("start", CountDrivers([](const DriverView& driver) { return !driver.isLoaded; }), "driver",
             "drivers");
    }

    void Uninstall() {
        const bool keepsShared = preflight_.machine.shared.IsHeldByOthers();
        const size_t count = drivers_.size() - (keepsShared ? 1 : 0);
        const size_t loaded = CountLoaded() - (keepsShared && drivers_[0].isLoaded ? 1 : 0);
        if (DriversAreStoppedForChange()) {
            Step("stop", loaded, "driver", "drivers");
        }
        Step("run the uninstall section of", count, "INF file", "INF files");
        if (CatalogsAreKept() && !keepsShared) {
            Step("delete", CountFiles(CatalogFolder(), L".cat"), "catalog", "catalogs");
        }
        if (keepsShared) {
            preflight_.steps.push_back("leave " + drivers_[0].name + " to its other holders");
        }
        preflight_.needsRestart = ChangesNeedRestart() && loaded != 0;
    }

    void Update() {
        const bool leavesRunning =
            DriversAreStoppedForChange() && preflight_.machine.shared.hasClients && drivers_[0].isLoaded;
        if (DriversAreStoppedForChange()) {
            Step("stop", CountLoaded() - (leavesRunning ? 1 : 0), "driver", "drivers");
        }
        Step("run the install section of", CountMissing(), "INF file", "INF files");
        if (ImagesAreRenamed()) {
            // An INF file that is run for a missing driver puts an image there first.
            Step("rename", CountDrivers([](const DriverView& driver) {
                     return driver.hasFile || !driver.service.isInstalled;
                 }),
                 "image", "images");
        }
        const std::string count = std::to_string(drivers_.size());
        preflight_.steps.push_back("copy " + count + " .sys" +
                                   (CatalogsAreKept() ? " and " + count + " .cat" : ""));
        if (!ChangesNeedRestart()) {
            Step("start", drivers_.size(), "driver", "drivers");
        }
        preflight_.needsRestart = ChangesNeedRestart() || leavesRunning;
    }

    void Migrate() {
        preflight_.steps.push_back("keep what is there (" + drivers_[0].name +
                                   " belongs to another product)");
        Step("run the install section of", CountMissing(), "INF file", "INF files");
        Step("start", CountDrivers([](const DriverView& driver) { return !driver.isLoaded; }), "driver",
             "drivers");
    }

    [[nodiscard]] size_t CountFiles(const std::wstring& folder, const wchar_t* extension) const {
        return CountDrivers([&](const DriverView& driver) {
            return !folder.empty() && IsFileExist((folder + WideFromUtf8(driver.name) + extension).c_str());
        });
    }

    Preflight& preflight_;
    const std::vector<DriverView>& drivers_;
};

} // namespace

void PlanSteps(Preflight& preflight) {
    Plan(preflight).Make();
}

} // namespace steward::host
