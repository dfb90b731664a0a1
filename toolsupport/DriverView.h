// What the machine itself shows of the drivers, without the plug-in.
#pragma once

#include "PackageView.h"
#include "ServiceView.h"

#include <optional>
#include <string>
#include <vector>

namespace steward::tools {

// What Windows does with the driver at its next start.
enum class NextStart {
    Nothing,     // it is not installed
    Loads,       // the file that lies there then
    LoadsNot,    // start on demand, or disabled
    IsRemoved,   // its service is marked for deletion, or its file is deleted at the restart
    FileMissing, // it will not start
    Unknown,     // the service or the folder cannot be looked at
};

struct DriverView {
    std::string name;
    ServiceView service;
    std::wstring path; // of the file in the drivers folder; empty when that folder is not known
    bool hasFile = false;
    std::string fileVersion; // empty without a version resource
    SignatureView signature; // of the file
    bool isLoaded = false;
    std::optional<std::string> loadedVersion; // nothing when not loaded, or when it cannot be told
    bool loadedIsFile = false;                // the loaded image is the file as it lies there
    bool isDeletedAtRestart = false;          // the file
    bool isReplacedAtRestart = false;         // the file, by `nextVersion`
    NextStart next = NextStart::Unknown;
    std::string nextVersion; // of Loads; may be empty

    [[nodiscard]] std::string NextInWords() const;
    [[nodiscard]] bool WaitsForRestart() const;
    // An update installed it, and this Windows version leaves its first start to the restart.
    [[nodiscard]] bool IsFirstLoadedByRestart() const;
};

// One view per driver, in table order.
std::vector<DriverView> LookAtDrivers();

} // namespace steward::tools
