// What the service control manager shows of a driver's service.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace steward::tools {

enum class Restriction {
    Unknown,    // no access list that could be read, or none with an entry for Administrators
    Open,       // Administrators may do everything
    Restricted, // as the plug-in sets it: Administrators may do everything but delete the service
};

struct ServiceView {
    bool isInstalled = false;
    uint32_t error =
        0; // why the service cannot be looked at: a Windows error; 0 when it can, or is not there
    std::string failedCall;        // that answered the error
    uint32_t state = 0;            // SERVICE_RUNNING, ...; 0 when not installed or not readable
    bool isNeverStarted = false;   // since the last start of Windows
    std::optional<uint32_t> start; // SERVICE_BOOT_START, ...
    bool isMarkedForDeletion = false;
    Restriction restriction = Restriction::Unknown;

    [[nodiscard]] std::string StateInWords() const; // "running", "not installed", "unreadable (...)"
    [[nodiscard]] std::string StartInWords() const; // "boot", ...; empty when unknown
};

ServiceView LookAtService(const wchar_t* name);
bool IsMarkedForDeletion(const wchar_t* name); // false also where that cannot be told

} // namespace steward::tools
