#include "Progress.h"

#include "Console.h"

#include <windows.h>

#include <cstdint>

namespace steward::host {

namespace {

constexpr DWORD kLookEveryMs = 500;
constexpr uint32_t kSilentSeconds = 1; // what takes less is not worth a line

bool IsConsole() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

} // namespace

std::string ProgressText(const tools::CallTree& tree, uint32_t seconds) {
    const tools::CallNode* const call = tools::CallUnderWay(tree);
    if (call == nullptr || seconds < kSilentSeconds || call->detail.empty()) {
        return "";
    }
    const std::string since = ", " + std::to_string(seconds) + " s";
    const size_t blank = call->detail.find(' ');
    if (call->text == "WaitForServiceState" && blank != std::string::npos) {
        return "waiting for " + call->detail.substr(blank + 1) + " to " + call->detail.substr(0, blank) +
               since;
    }
    if (call->text.ends_with("DriverByInf")) {
        return "setup works on " + call->detail + since;
    }
    return "";
}

Progress::Progress(const ActionLog& log) : log_(log) {
    if (log.File().empty() || !IsConsole()) {
        return;
    }
    done_.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    thread_.Reset(CreateThread(nullptr, 0, Follow, this, 0, nullptr));
}

Progress::~Progress() {
    if (thread_.Get() != nullptr && done_.Get() != nullptr) {
        SetEvent(done_.Get());
        WaitForSingleObject(thread_.Get(), INFINITE);
    }
}

DWORD WINAPI Progress::Follow(void* self) {
    auto& progress = *static_cast<Progress*>(self);
    try {
        while (WaitForSingleObject(progress.done_.Get(), kLookEveryMs) == WAIT_TIMEOUT) {
            progress.Look();
        }
        progress.Show("");
    } catch (const std::exception&) {
        return 1; // out of memory: the action goes on without a word
    }
    return 0;
}

void Progress::Look() {
    const tools::CallTree tree = tools::TreeOf(tools::ReadLog(log_.Unread()).lines);
    const tools::CallNode* const call = tools::CallUnderWay(tree);
    if (const int64_t began = call == nullptr ? 0 : call->began; began != call_) {
        call_ = began;
        callSince_ = GetTickCount();
    }
    Show(ProgressText(tree, (GetTickCount() - callSince_) / 1000));
}

void Progress::Show(const std::string& text) {
    if (text == shown_) {
        return;
    }
    const std::string rest(shown_.size() > text.size() ? shown_.size() - text.size() : 0, ' ');
    tools::Print(STD_ERROR_HANDLE, "\r" + text + rest + (text.empty() ? "\r" : ""));
    shown_ = text;
}

} // namespace steward::host
