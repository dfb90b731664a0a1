// Where the plug-in's log of one run goes, and what is in it so far.
#pragma once

#include "LogReader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace steward::host {

struct LogWish {
    std::wstring file;             // of --log; empty: not given
    std::optional<uint32_t> level; // of --log-level
    std::wstring action;           // names the file of an action; empty: no log unless asked for
};

class ActionLog {
  public:
    // Chooses the file and tells the development stand-in by TRACESINK_FILE and TRACESINK_LEVEL, so that it
    // has to be made before the stand-in is first used: --log, else the user's own TRACESINK_FILE, else a new
    // file in the log folder, of which the last twenty are kept. A folder that cannot be trusted is not
    // written to: Problem() says so. Throws std::runtime_error when the file of --log cannot be written.
    explicit ActionLog(const LogWish& wish);

    [[nodiscard]] const std::wstring& File() const { return file_; } // empty: nothing is kept
    // Why its lines cannot be read; empty when they can. To be asked when the plug-in is loaded.
    [[nodiscard]] std::string WhyNotReadable() const;

    // What was logged since the last call, or since this object was made.
    tools::Log TakeNew();

    // What lies behind the last TakeNew(), which it leaves where it is. For another thread's use.
    [[nodiscard]] std::string Unread() const;

  private:
    void UseOwnFile(const std::wstring& action);

    std::wstring file_;
    std::string problem_;
    uint64_t read_ = 0; // bytes
};

// Whether the traceSink.dll in this process is the development stand-in, which heeds all of the above. The
// platform's own writes the platform's log, wherever that is.
enum class LogLibrary { Missing, StandIn, Platform };
LogLibrary LoadedLogLibrary();

} // namespace steward::host
