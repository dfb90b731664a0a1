#include "TraceView.h"

#include "Console.h"

#include <windows.h>

#include <algorithm>

namespace steward::host {

namespace {

// The console's colour for a while. Attributes, not escape sequences: consoles before Windows 10 know no
// others.
class Colour {
  public:
    Colour() : console_(GetStdHandle(STD_OUTPUT_HANDLE)) {
        CONSOLE_SCREEN_BUFFER_INFO info{};
        const DWORD length = GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0);
        isOn_ = length <= 1 && GetConsoleScreenBufferInfo(console_, &info) != FALSE; // 1: set, but empty
        usual_ = info.wAttributes;
    }
    Colour(const Colour&) = delete;
    Colour& operator=(const Colour&) = delete;
    ~Colour() { Use(tools::TreeRow::Mark::None); }

    void Use(tools::TreeRow::Mark mark) const {
        if (!isOn_) {
            return;
        }
        const WORD background = usual_ & 0xF0;
        const WORD bright = (usual_ & BACKGROUND_INTENSITY) != 0 ? 0 : FOREGROUND_INTENSITY;
        switch (mark) {
        case tools::TreeRow::Mark::None:
            SetConsoleTextAttribute(console_, usual_);
            break;
        case tools::TreeRow::Mark::Condition:
            SetConsoleTextAttribute(console_, background | bright | FOREGROUND_RED | FOREGROUND_GREEN);
            break;
        case tools::TreeRow::Mark::Failure:
            SetConsoleTextAttribute(console_, background | bright | FOREGROUND_RED);
            break;
        }
    }

  private:
    HANDLE console_;
    bool isOn_ = false;
    WORD usual_ = 0;
};

} // namespace

bool PrintTree(const tools::CallTree& tree) {
    const Colour colour;
    bool written = true;
    for (const tools::TreeRow& row : tools::RowsOf(tree)) {
        colour.Use(row.mark);
        written = tools::Print(STD_OUTPUT_HANDLE, row.text + "\n") && written;
    }
    return written;
}

std::string WhatIsWrongWith(const tools::Log& log) {
    if (log.lines.empty()) {
        return log.unreadable == 0 ? "the log is empty" : "this is no log of the development traceSink.dll";
    }
    const bool traced = std::any_of(log.lines.begin(), log.lines.end(), [](const tools::LogLine& line) {
        return line.message.starts_with("==> ");
    });
    if (!traced) {
        return "the log has no entry lines; they are written at log level 1 and 2";
    }
    return log.unreadable == 0 ? ""
                               : std::to_string(log.unreadable) + " damaged or foreign lines are left out";
}

} // namespace steward::host
