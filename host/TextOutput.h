// What the host prints for people, in UTF-8.
#pragma once

#include "Results.h"

#include <string>

namespace steward::host {

std::string TextOf(const ActionsResult& result);
std::string TextOf(const StatusResult& result);
std::string TextOf(const Preflight& preflight);
std::string TextOf(const VersionResult& version);

// What these are made of: the drivers and the machine, the plug-in's own report.
std::string MachineText(const tools::MachineView& machine);
std::string ReportText(const DriverStateReport& report);

// Why a record failed, and where the log of a failure is.
std::string ReasonText(const RecordResult& record);
std::string LogText(const ActionsResult& result);

// The refusals and warnings of the records, each one line for standard error, and what a refusal left undone.
std::string ComplaintsOf(const ActionsResult& result);

} // namespace steward::host
