// The plug-in as a host sees it.
#pragma once

#include "driverSteward.h"

#include <array>
#include <cstdint>
#include <string>

namespace steward::host {

// The full path of the plug-in that was named on the command line: relative to the current folder, as any
// path; driverSteward.dll beside the program when none was.
std::wstring PluginPath(const std::wstring& asTyped);

class PluginLibrary {
  public:
    // Loads the plug-in and looks its exports up. What it needs is looked for in its own folder first, and
    // the platform's libraries from now on as well. Throws std::runtime_error with one line for the user,
    // which names the DLLs that are missing. `path` is a full one.
    explicit PluginLibrary(const std::wstring& path);
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    ~PluginLibrary();

    uint32_t Run(const DrvInfo& record) const { return doAction_(&record, 1); }
    [[nodiscard]] DriverStateReport Report() const;
    [[nodiscard]] uint32_t OwnerModuleId() const { return ownerModuleId_(); }
    [[nodiscard]] std::array<uint32_t, 3> Version() const;

  private:
    template <typename Function>
    void LookUp(Function& function, const char* name, std::string& missing) const;

    void* module_;
    DriversDoActionFunction doAction_ = nullptr;
    EnumerateDriversInfoFunction enumerate_ = nullptr;
    GetHelperOwnerModuleIDFunction ownerModuleId_ = nullptr;
    GetModuleVersionFunction version_ = nullptr;
};

} // namespace steward::host
