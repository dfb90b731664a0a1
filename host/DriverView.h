// What the machine itself shows of the drivers, without the plug-in.
#pragma once

#include <string>
#include <vector>

namespace steward::host {

struct DriverView {
    std::string name;
    std::string service; // state in words
    std::string file;    // full version of the file in the drivers folder; "none" without one
    std::string loaded;  // version of the loaded image when it is another than the file's, otherwise empty
};

// One view per driver, in table order.
std::vector<DriverView> LookAtDrivers();

} // namespace steward::host
