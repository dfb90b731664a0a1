// The commands. Each throws Failure, nothing changed then, or UsageError.
#pragma once

#include "Answer.h"
#include "Options.h"

namespace steward::configtool {

Answer Get(const tools::ReadLine& line);
Answer List(const tools::ReadLine& line);
Answer Set(const tools::ReadLine& line);
Answer Export(const tools::ReadLine& line);
Answer Import(const tools::ReadLine& line);

} // namespace steward::configtool
