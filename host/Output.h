// What the host prints, in UTF-8.
#pragma once

#include "CommandLine.h"
#include "DriverView.h"

#include <string>
#include <vector>

namespace steward::host {

struct RecordResult {
    Request request;
    uint32_t code;
};

std::string TextOf(const std::vector<RecordResult>& records, size_t requested,
                   const DriverStateReport& report, const std::vector<DriverView>& drivers);
std::string JsonOf(const std::vector<RecordResult>& records, const DriverStateReport& report,
                   const std::vector<DriverView>& drivers);

} // namespace steward::host
