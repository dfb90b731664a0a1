// Steps that update and migration share.
#pragma once

#include "plugin/DriverTable.h"

#include <string>

namespace steward {

// Whether the driver is there, after saying so in the log.
bool CheckDriverExists(const wchar_t* name);

// Installs a missing driver from the package folder.
bool InstallMissingDriver(const std::wstring& folder, const DriverRow& row);

// Starts the drivers in table order and ends at the first that does not start.
bool StartNewDrivers();

} // namespace steward
