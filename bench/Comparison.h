// An operation of the product beside what it cannot do without, measured in one run.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace steward::bench {

struct Operation {
    std::function<void()> run; // throws when it did not do what it is measured for
    std::function<void()> prepare = {};
};

struct Comparison {
    std::string name;
    double bar; // at most so many times its floor
    Operation measured;
    Operation floor;
    int repetitions; // of each, in random order; the quickest counts
};

// On a machine without drivers, and with nothing of the product in the process.
std::vector<Comparison> LoadingAndChecking();
// These install and remove the drivers.
std::vector<Comparison> Lifecycle();
// On a machine with the three drivers.
std::vector<Comparison> Reporting();
std::vector<Comparison> Configuration();

} // namespace steward::bench
