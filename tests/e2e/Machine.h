// What an action leaves behind on the machine, read without the plug-in's help.
#pragma once

#include "Json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace steward::test {

inline const std::vector<std::wstring> kDrivers = {L"qxcomm", L"qxevtmgr", L"qxactmon"};
inline const std::wstring kCatalogFolder =
    L"C:\\windows\\system32\\CatRoot\\{F750E6C3-38EE-11D1-85E5-00C04FC295EE}\\";
inline const std::wstring kDriversFolder = L"C:\\windows\\system32\\drivers\\";

std::string ServiceState(const std::wstring& name); // "running", "stopped", "absent" or a number
std::string VersionOf(const std::wstring& path);    // "5.5.0.1256", "absent" or "none"

void DeleteRegistryValue(const std::wstring& key, const std::wstring& name);
std::wstring ServiceKey(const std::wstring& driver);

using tools::Json;
// All that the actions leave behind: drivers, registry marks, files that were renamed away, files that the
// next boot deletes. Null stands for what is absent.
Json Machine();

// The same line by line: per driver the service's state and the version on disk;
// start types; install sections; registry marks; catalogs; files that were renamed away and how many of them
// the next boot deletes. "-" stands for what is absent.
std::vector<std::string> MachineState();

uint32_t OpenHandles(); // of this process

void StopService(const std::wstring& name);
void RegisterPlatform(); // the service by which the plug-in recognises the platform
void UnregisterService(const std::wstring& name);
void RemoveDrivers(); // services, files and registry marks, whatever state they are in

} // namespace steward::test
