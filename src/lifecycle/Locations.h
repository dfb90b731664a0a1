// Where packages, drivers and their registry keys lie. Folders end in a backslash.
#pragma once

#include "driverSteward.h"

#include <string>

namespace steward {

// The record's package folder, normalised. Reads the record's path to its terminator or its end.
std::wstring PackageFolder(const DrvInfo& record);

std::wstring DriversFolder(); // empty when setupKit.dll does not know it
std::wstring CatalogFolder(); // likewise

// The service key of a driver, under HKEY_LOCAL_MACHINE.
std::wstring DriverServiceKey(const wchar_t* name);

} // namespace steward
