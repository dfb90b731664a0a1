// What the Windows versions of the lab differ in, as far as the plug-in is concerned.
#pragma once

#include <string>

namespace steward::test {

// Whether the version that the lab has set (STEWARD_OS) is, or is one of those that `what` names: a name of
// the lab's, or
//     stops       drivers are stopped for a change (up to Windows 7)
//     restart     changes need a restart (Windows 8 and later)
//     overwrites  images are overwritten under running drivers (8 and 8.1), which Wine refuses
//     renames     images in use are renamed away and catalogs are kept (Windows 10)
//     boot        the shared driver starts at boot (Windows 7 client, 8 and later)
// Throws for anything else, and when the lab has set no version.
bool IsRunningVersion(const std::string& what);

} // namespace steward::test
