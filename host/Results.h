// What the commands come to; what text and JSON are made of.
#pragma once

#include "ExitCode.h"
#include "MachineView.h"
#include "Preflight.h"
#include "Reasons.h"

#include "CallTree.h"

#include "driverSteward.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace steward::host {

// One record: refused by its preflight, or answered by the plug-in.
struct RecordResult {
    Request request;
    std::optional<Preflight> preflight;   // none with --force
    std::optional<uint32_t> code;         // the plug-in's; none when it was not called
    std::vector<Reason> reasons;          // why it failed
    std::optional<tools::CallTree> trace; // none without a log that can be read
};

// Why no further record was started.
enum class Ending { Complete, BatchAborted, Refused, Interrupted };

struct ActionsResult {
    std::vector<RecordResult> records; // in order, as far as they came
    std::vector<Request> notProcessed;
    Ending ending = Ending::Complete;
    std::optional<DriverStateReport> report; // none when no record reached the plug-in
    tools::MachineView machine;              // afterwards
    std::wstring log;                        // file with the plug-in's log; empty: none is kept
    std::string logProblem;                  // why there is none, or none that can be read

    [[nodiscard]] ExitCode Answer() const;
    [[nodiscard]] std::vector<std::string> Warnings() const; // of every record's preflight
};

struct StatusResult {
    std::optional<DriverStateReport> report; // none without an administrator's rights
    tools::MachineView machine;

    [[nodiscard]] ExitCode StrictAnswer() const;
};

struct VersionResult {
    std::string host;
    std::string problem; // why the plug-in's is not known; then the rest is empty
    std::array<uint32_t, 3> plugin{};
    uint32_t ownerModuleId = 0;
};

struct CodeMeaning {
    uint32_t code;
    const char* name; // stable identifier: "restart required"
    const char* meaning;
};
CodeMeaning MeaningOf(uint32_t code);
std::string HexCode(uint32_t code); // "0x201A0001"

} // namespace steward::host
