// The shipped DLL, driven through its exports as a host does it.
#pragma once

#include "support/LogCapture.h"
#include "support/Tap.h"

#include "driverSteward.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace steward::test {

class Plugin {
  public:
    Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin();

    uint32_t Act(uint32_t action, const std::wstring& folder, uint32_t compareState = 2);
    uint32_t Act(const DrvInfo* records, uint32_t count) { return doAction_(records, count); }
    DriverStateReport Report(DriverStateCallback callback = nullptr);

    [[nodiscard]] HMODULE Module() const { return module_; }
    // The log lines since the last call; file names that the system made replaced by "<temporary>", those
    // that the plug-in made by "<driver and four digits>".
    Transcript Log();
    // The same lines, whole.
    [[nodiscard]] const std::vector<tools::LogLine>& Lines() const { return capture_->Lines(); }

  private:
    // Fails the test when the DLL closes a predefined key, which would be closed for the whole process. As
    // Windows does, a predefined key that is opened without a subkey answers itself.
    struct PredefinedKeyWatch {
        explicit PredefinedKeyWatch(HMODULE module);
        ImportPatch<"RegOpenKeyExW", decltype(RegOpenKeyExW)> open;
        ImportPatch<"RegCloseKey", decltype(RegCloseKey)> close;
    };

    HMODULE module_;
    DriversDoActionFunction doAction_;
    EnumerateDriversInfoFunction enumerate_;
    std::vector<std::unique_ptr<Tap>> closers_; // they may change last-error, as the log may
    std::unique_ptr<LogCapture> capture_;
    std::optional<PredefinedKeyWatch> keys_;
};

// A folder of the sample packages, with its trailing backslash. Throws when STEWARD_PACKAGES is not set.
std::wstring Package(const std::wstring& name);

DrvInfo Record(uint32_t action, const std::wstring& folder, uint32_t compareState = 2);

} // namespace steward::test
