// What each action does to the three drivers. Every procedure returns a result code of driverSteward.h;
// nothing that it did is undone when a later step fails.
#pragma once

#include "driverSteward.h"

#include <cstdint>

namespace steward {

// Installs and starts the drivers of the record's package and records the platform's hold on them.
uint32_t InstallDrvFromDrvInfo(const DrvInfo& record);

// Removes the drivers, the shared one only when no other product holds it.
uint32_t UninstallDrvFromDrvInfo(const DrvInfo& record);

// Brings the drivers to the versions in the record's package. `equalUpdate` goes on past a driver that
// refuses to stop.
uint32_t UpdateDrvFromDrvInfo(const DrvInfo& record, bool equalUpdate);

// Returns to the package's drivers; migrates when the shared driver belongs to another product.
uint32_t RollbackDrvFromDrvInfo(const DrvInfo& record);

// Keeps the drivers that are there, installs the missing ones and takes over the shared driver's registry.
uint32_t MigrateDrvFromDrvInfo(const DrvInfo& record);

} // namespace steward
