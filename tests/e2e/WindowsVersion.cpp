#include "e2e/WindowsVersion.h"

#include <cstdlib>
#include <stdexcept>

namespace steward::test {

namespace {
constexpr WindowsVersion kVersions[] = {
    {"winxp64", 1, false},    {"vista", 70, false}, {"win2008", 70, false}, {"win7", 70, true},
    {"win2008r2", 70, false}, {"win8", 80, false},  {"win81", 81, false},   {"win10", 100, false},
};
}

const WindowsVersion& RunningVersion() {
    const char* const name = std::getenv("STEWARD_OS");
    for (const WindowsVersion& version : kVersions) {
        if (name != nullptr && std::string(name) == version.name) {
            return version;
        }
    }
    throw std::runtime_error(
        "STEWARD_OS names no Windows version of the lab; start this through lab/lab.sh on");
}

} // namespace steward::test
