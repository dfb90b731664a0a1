#include "e2e/WindowsVersion.h"

#include <cstdlib>
#include <map>
#include <set>
#include <stdexcept>

namespace steward::test {

bool IsRunningVersion(const std::string& what) {
    static const std::map<std::string, std::set<std::string>> kGroups = {
        {"winxp64", {"winxp64", "stops"}},
        {"vista", {"vista", "stops"}},
        {"win2008", {"win2008", "stops"}},
        {"win7", {"win7", "stops", "boot"}},
        {"win2008r2", {"win2008r2", "stops"}},
        {"win8", {"win8", "restart", "overwrites", "boot"}},
        {"win81", {"win81", "restart", "overwrites", "boot"}},
        {"win10", {"win10", "restart", "renames", "boot"}},
        {"win2022", {"win2022", "restart", "renames", "boot"}},
        {"win11", {"win11", "restart", "renames", "boot"}},
    };
    const char* const running = std::getenv("STEWARD_OS");
    if (running == nullptr || !kGroups.contains(running)) {
        throw std::runtime_error(
            "STEWARD_OS names no Windows version of the lab; start this by lab/lab.sh on");
    }
    bool known = false;
    for (const auto& [name, groups] : kGroups) {
        known = known || groups.contains(what);
    }
    if (!known) {
        throw std::runtime_error("'" + what + "' is no Windows version, nor a group of them");
    }
    return kGroups.at(running).contains(what);
}

} // namespace steward::test
