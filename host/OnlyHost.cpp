#include "OnlyHost.h"

#include "util/Utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>

namespace steward::host {

namespace {

constexpr wchar_t kMutex[] = L"Global\\driverSteward.host";
constexpr wchar_t kNotice[] = L"Global\\driverSteward.host.notice";

struct Notice {
    DWORD process;
    wchar_t work[128]; // zero-terminated
};

struct Unmapping {
    void operator()(Notice* view) const { UnmapViewOfFile(view); }
};
using NoticeView = std::unique_ptr<Notice, Unmapping>;

NoticeView MapNotice(HANDLE memory, DWORD access) {
    return NoticeView(static_cast<Notice*>(MapViewOfFile(memory, access, 0, 0, sizeof(Notice))));
}

std::string WhoIsAtWork() {
    const FileHandle memory(OpenFileMappingW(FILE_MAP_READ, FALSE, kNotice));
    const NoticeView view = memory.Get() == nullptr ? nullptr : MapNotice(memory.Get(), FILE_MAP_READ);
    if (view == nullptr || view->process == 0) {
        return "another host";
    }
    Notice notice = *view;
    notice.work[std::size(notice.work) - 1] = L'\0';
    return "process " + std::to_string(notice.process) + " (" + Utf8FromWide(notice.work) + ")";
}

} // namespace

OnlyHost::OnlyHost(const std::wstring& work, uint32_t waitSeconds, HANDLE interrupt)
    : mutex_(CreateMutexW(nullptr, FALSE, kMutex)) {
    if (mutex_.Get() == nullptr) {
        throw std::runtime_error("another host may be at work, of another account (Windows error " +
                                 std::to_string(GetLastError()) + "); try again when it has finished");
    }
    const std::array<HANDLE, 2> awaited{mutex_.Get(), interrupt};
    switch (WaitForMultipleObjects(2, awaited.data(), FALSE, waitSeconds * 1000)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED_0: // the other host was ended in the middle; its work is visible in the status
        Announce(work);
        return;
    case WAIT_OBJECT_0 + 1:
        throw std::runtime_error("interrupted while waiting for " + WhoIsAtWork() + "; nothing was done");
    default:
        throw std::runtime_error(WhoIsAtWork() +
                                 " is at work on the drivers; try again when it has finished, or use --wait");
    }
}

OnlyHost::~OnlyHost() {
    if (const NoticeView view = MapNotice(notice_.Get(), FILE_MAP_WRITE)) {
        view->process = 0;
    }
    ReleaseMutex(mutex_.Get());
}

void OnlyHost::Announce(const std::wstring& work) {
    notice_ = FileHandle(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Notice), kNotice));
    if (const NoticeView view = MapNotice(notice_.Get(), FILE_MAP_WRITE)) {
        Notice notice{GetCurrentProcessId(), {}};
        std::copy_n(work.begin(), std::min(work.size(), std::size(notice.work) - 1), notice.work);
        *view = notice;
    }
}

} // namespace steward::host
