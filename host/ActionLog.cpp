#include "ActionLog.h"

#include "LogFolder.h"
#include "WindowsError.h"
#include "WindowsFiles.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include <windows.h>

#include <cstdint>
#include <stdexcept>

namespace steward::host {

namespace {

constexpr wchar_t kFileVariable[] = L"TRACESINK_FILE";
constexpr wchar_t kLevelVariable[] = L"TRACESINK_LEVEL";
constexpr size_t kLogsKept = 20;
constexpr size_t kLongestPath = 1023; // that the stand-in takes

std::wstring FullPath(const std::wstring& path) {
    std::wstring full(32768, L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full;
}

std::wstring FileOfEnvironment() {
    std::wstring file(kLongestPath + 1, L'\0');
    const DWORD length = GetEnvironmentVariableW(kFileVariable, file.data(), static_cast<DWORD>(file.size()));
    file.resize(length < file.size() ? length : 0);
    return file;
}

FileHandle OpenForReading(const std::wstring& file) {
    return FileHandle(CreateFileW(file.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

uint64_t SizeOf(const std::wstring& file) {
    const FileHandle handle = OpenForReading(file);
    LARGE_INTEGER size{};
    return handle && GetFileSizeEx(handle.Get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
}

// Made here and now, so that one that cannot be written is known before anything is done.
void SeeThatItCanBeWritten(const std::wstring& file) {
    const FileHandle handle(CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle || file.size() > kLongestPath) {
        throw std::runtime_error("the log " + Utf8FromWide(file) + " cannot be written: " +
                                 (handle ? "its path is too long" : tools::SystemMessage(GetLastError())) +
                                 "; name another file with --log");
    }
}

std::wstring NameOfNow(const std::wstring& action) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    wchar_t time[32];
    wsprintfW(time, L"%04u%02u%02u-%02u%02u%02u", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
              now.wSecond);
    return std::wstring(time) + L"-" + action + L"-" + std::to_wstring(GetCurrentProcessId()) + L".log";
}

} // namespace

ActionLog::ActionLog(const LogWish& wish) {
    if (!wish.file.empty()) {
        file_ = FullPath(wish.file);
        SeeThatItCanBeWritten(file_);
    } else if (file_ = FileOfEnvironment(); _wcsicmp(file_.c_str(), L"NUL") == 0) {
        file_.clear();
        problem_ = "TRACESINK_FILE asks for no log";
    } else if (file_.empty() && !wish.action.empty()) {
        UseOwnFile(wish.action);
    }
    read_ = SizeOf(file_);
    SetEnvironmentVariableW(kFileVariable, file_.empty() ? L"NUL" : file_.c_str());
    if (wish.level) {
        SetEnvironmentVariableW(kLevelVariable, std::to_wstring(*wish.level).c_str());
    }
}

void ActionLog::UseOwnFile(const std::wstring& action) {
    problem_ = MakeLogFolder();
    if (problem_.empty()) {
        DeleteOldLogs(kLogsKept - 1);
        file_ = LogFolder() + NameOfNow(action);
    }
}

std::string ActionLog::Unread() const {
    const FileHandle file = OpenForReading(file_);
    LARGE_INTEGER start;
    start.QuadPart = static_cast<LONGLONG>(read_);
    const uint64_t size = SizeOf(file_);
    if (!file || size <= read_ || SetFilePointerEx(file.Get(), start, nullptr, FILE_BEGIN) == FALSE) {
        return "";
    }
    std::string text(static_cast<size_t>(size - read_), '\0');
    DWORD bytes = 0;
    ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &bytes, nullptr);
    text.resize(bytes);
    return text;
}

tools::Log ActionLog::TakeNew() {
    const std::string text = Unread();
    read_ += text.size();
    return tools::ReadLog(text);
}

std::string ActionLog::WhyNotReadable() const {
    switch (LoadedLogLibrary()) {
    case LogLibrary::Missing:
        return "there is no traceSink.dll";
    case LogLibrary::Platform:
        return "the log is the platform's own; look there";
    case LogLibrary::StandIn:
        break;
    }
    return problem_;
}

LogLibrary LoadedLogLibrary() {
    const HMODULE library = GetModuleHandleW(L"traceSink.dll");
    if (library == nullptr) {
        return LogLibrary::Missing;
    }
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size())));
    const auto identity = tools::IdentityOf(path);
    return identity && identity->productName == L"driverSteward" ? LogLibrary::StandIn : LogLibrary::Platform;
}

} // namespace steward::host
