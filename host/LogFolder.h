// The folder of the actions' logs.
#pragma once

#include <string>
#include <vector>

namespace steward::host {

// %ProgramData%\driverSteward\logs, with a trailing backslash; empty when Windows names no such folder.
std::wstring LogFolder();

// Makes it for administrators and the system alone. Anybody may make folders in %ProgramData%, so one that is
// there must be a true folder of an administrator, the system or this user. Otherwise one line that says what
// is wrong.
std::string MakeLogFolder();

// Names of the logs, oldest first.
std::vector<std::wstring> LogsInFolder();

// All but the newest ones.
void DeleteOldLogs(size_t kept);

} // namespace steward::host
