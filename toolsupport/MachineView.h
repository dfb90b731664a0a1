// What a look at the machine shows: the drivers, and all that decides what an action on them comes to.
#pragma once

#include "DriverView.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace steward::tools {

// The signature policy of the platform's configuration.
struct PolicyView {
    bool isOn = false;
    std::string why;
    uint32_t graceSeconds = 0; // for which files are still trusted without a check
};

struct SharedDriverView {
    std::optional<uint32_t> holders; // PermCount
    bool isInstalledByPlatform = false;
    bool hasClients = false; // somebody holds an instance mailslot

    // Other products that keep it when the platform gives it up.
    [[nodiscard]] bool IsHeldByOthers() const { return holders.value_or(0) > 1; }
};

struct MachineView {
    bool isElevated = false;
    std::string windows; // "10.0.19045 workstation"
    int32_t windowsCode = 0;
    PolicyView policy;
    SharedDriverView shared;
    std::vector<DriverView> drivers;
    std::vector<std::string> restartReasons; // empty: no restart is pending for the drivers
    size_t otherMovesAtRestart = 0;          // of files that are not the drivers'
};

bool IsElevated();
MachineView LookAtMachine();

} // namespace steward::tools
