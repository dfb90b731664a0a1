// The exit codes of stewardHost, all of them.
#pragma once

namespace steward::host {

enum ExitCode {
    kSuccess = 0,
    kFailure = 1,            // failed or refused; the line on standard error says why
    kWrongUsage = 2,         // nothing was done
    kRestartRequired = 3010, // done, complete after the next restart (ERROR_SUCCESS_REBOOT_REQUIRED)
};

} // namespace steward::host
