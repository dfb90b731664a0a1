// What the Windows versions of the lab differ in, as far as the plug-in is concerned.
#pragma once

#include <string>

namespace steward::test {

struct WindowsVersion {
    const char* name;    // as the lab calls it
    int code;            // the plug-in's own code
    bool windows7Client; // the only version with an install section of its own for the shared driver
};

// The version that the lab has set (STEWARD_OS). Throws when it is none of the lab's.
const WindowsVersion& RunningVersion();

} // namespace steward::test
