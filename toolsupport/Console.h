// What the command-line tools share.
#pragma once

#include <windows.h>

#include <string>

namespace steward::tools {

// UTF-8 to a file or pipe, Unicode to a console, in pieces that each of them takes. False when not everything was
// written: full disk, closed pipe.
bool Print(DWORD standardHandle, const std::string& utf8);

// Without a file that somebody named for it, the log would stand between a tool's answers.
void KeepLogOffTheConsole();

} // namespace steward::tools
