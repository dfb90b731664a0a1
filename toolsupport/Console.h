// What the command-line tools share.
#pragma once

#include <windows.h>

#include <string>

namespace steward::tools {

// UTF-8 to a file or pipe, Unicode to a console, in pieces that each of them takes. False when not everything
// was written: full disk, closed pipe. `standardHandle`: STD_OUTPUT_HANDLE or STD_ERROR_HANDLE.
bool Print(DWORD standardHandle, const std::string& utf8);

// From now on standard output carries what Print writes there and nothing else: whatever the rest of the
// program and its libraries write to it, through Windows or the C runtime, goes to standard error.
void KeepStandardOutputForAnswers();

// Whether somebody reads this on a console.
bool IsConsole(DWORD standardHandle);

// Without a file that somebody named for it, the log would stand between a tool's answers.
void KeepLogOffTheConsole();

} // namespace steward::tools
