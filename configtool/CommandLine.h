// What a command line of stewardConfig may hold, and what is asked of it beyond the form.
#pragma once

#include "Options.h"

#include <string>

namespace steward::configtool {

extern const tools::ToolForm kTool;

// The file that --file names, otherwise the installed one.
std::wstring ConfigurationPath(const tools::ReadLine& line);

// How long to wait for another process that changes the configuration.
unsigned SecondsToWait(const tools::ReadLine& line);

// An operand that must not be empty, as a whole path.
std::wstring OperandPath(const tools::ReadLine& line, size_t index);

// "..., see stewardConfig set --help"
[[noreturn]] void Refuse(const tools::ReadLine& line, const std::string& what);

} // namespace steward::configtool
