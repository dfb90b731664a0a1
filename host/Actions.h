// Hands records to the plug-in, one by one.
#pragma once

#include "ActionLog.h"
#include "CommandLine.h"
#include "Interrupt.h"
#include "PluginLibrary.h"
#include "Results.h"

namespace steward::host {

// Each record's preflight comes right before it. What a package lacks keeps the first record from being
// started. Ends as the plug-in's own batch does, at a refusal and at an interrupt.
ActionsResult RunRecords(const PluginLibrary& plugin, const CommandLine& line, const Interrupt& interrupt,
                         ActionLog& log);

// The only line for a program without an administrator's rights.
extern const char kNotElevated[];

} // namespace steward::host
