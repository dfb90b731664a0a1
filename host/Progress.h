// On a console, a line says which driver is waited for while the plug-in works.
#pragma once

#include "ActionLog.h"
#include "CallTree.h"

#include "util/Handles.h"

#include <cstdint>
#include <string>

namespace steward::host {

// "waiting for qxactmon to stop, 12 s"; empty when nothing worth saying is under way.
std::string ProgressText(const tools::CallTree& tree, uint32_t seconds);

class Progress {
  public:
    // Follows the log from where its reader stands, on a thread of its own; nothing off a console. The log
    // outlives this object, and nobody takes from it meanwhile.
    explicit Progress(const ActionLog& log);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress(); // erases the line

  private:
    static DWORD WINAPI Follow(void* self);
    void Look();
    void Show(const std::string& text);

    const ActionLog& log_;
    FileHandle done_{nullptr};
    FileHandle thread_{nullptr};
    int64_t call_ = 0;    // the call under way, by its time
    DWORD callSince_ = 0; // tick count
    std::string shown_;
};

} // namespace steward::host
