#include "Warnings.h"

#include "config/SignatureSettings.h"
#include "util/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace steward::configtool {

namespace {

constexpr uint32_t kSwitches[] = {SP_RESTART_ND_REVERT, SP_MODULE_LOAD, SP_MAIN_OBJECTIVE};

bool IsSwitch(const Setting& setting) {
    return WideFromUtf8(setting.group) == kSignaturePolicyGroup &&
           std::any_of(std::begin(kSwitches), std::end(kSwitches),
                       [&](uint32_t id) { return WideFromUtf8(setting.key) == SignaturePolicyNameOf(id); });
}

} // namespace

std::vector<std::string> WarningsFor(const std::vector<Setting>& settings) {
    std::vector<std::string> warnings;
    for (const Setting& setting : settings) {
        if (IsSwitch(setting) && setting.value != "0" && setting.value != "1") {
            warnings.push_back(setting.key + " is '" + setting.value + "', which means " +
                               (MeansOn(WideFromUtf8(setting.value)) ? "on" : "off") +
                               ": only a text that begins with the number 1 means on; write 1 or 0");
        }
    }
    return warnings;
}

} // namespace steward::configtool
