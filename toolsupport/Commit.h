// Which source a tool was made of.
#pragma once

namespace steward::tools {

// Twelve digits of the commit, with " with changes" behind them where the source was not as committed;
// "unknown" where it was built outside of git.
extern const char* const kCommit;

} // namespace steward::tools
