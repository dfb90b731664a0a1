// The logging facade over traceSink.dll.
//
// A source file names itself once,
//     constexpr LogSource kLog{kDriverModule, L"drivermanage.cpp"};
// and logs with
//     STEWARD_LOG(5, L"OpenService failed, err=", GetLastError());
//
// A statement below the module's threshold evaluates none of its pieces. The thread's last-error value is the
// same for every piece as it was before the statement, and again after it. Numbers are written as "0x" and
// lower-case hexadecimal (zero as "0"), booleans as "1" or "0", texts as they are.
#pragma once

#include "util/LastError.h"

#include "traceSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace steward {

inline constexpr wchar_t kDriverModule[] = L"System Driver Installation";
inline constexpr wchar_t kUtilModule[] = L"Util COMMON";
inline constexpr wchar_t kConfigModule[] = L"Core Config Repository";

struct LogSource {
    const wchar_t* module; // module tag
    const wchar_t* file;   // source file name as the log shows it
};

// Bytes in a buffer that allocates only when the text outgrows `Capacity` bytes.
template <size_t Capacity> class InlineBuffer {
  public:
    void Append(const void* data, size_t bytes);
    [[nodiscard]] const wchar_t* Text() const {
        return reinterpret_cast<const wchar_t*>(heap_ ? heap_.get() : local_);
    }
    [[nodiscard]] size_t Bytes() const { return used_; }

  private:
    alignas(wchar_t) std::byte local_[Capacity];
    std::unique_ptr<std::byte[]> heap_;
    size_t capacity_ = Capacity;
    size_t used_ = 0;
};

// One line on its way to the library; handed over when the record is destroyed.
class LogRecord {
  public:
    LogRecord(const LogSource& source, uint32_t level, uint32_t line);
    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;
    ~LogRecord();

    LogRecord& Append(const wchar_t* text); // null appends nothing
    LogRecord& Append(std::wstring_view text);
    LogRecord& Append(const std::wstring& text) { return Append(std::wstring_view(text)); }
    LogRecord& Append(std::string_view ansi); // converted from the system's ANSI code page
    LogRecord& Append(const char* ansi) { return Append(std::string_view(ansi)); }
    LogRecord& Append(bool value) { return Append(value ? L"1" : L"0"); }
    LogRecord& Append(int value) { return AppendHex(static_cast<unsigned>(value)); }
    LogRecord& Append(unsigned value) { return AppendHex(value); }
    LogRecord& Append(long value) { return AppendHex(static_cast<unsigned long>(value)); }
    LogRecord& Append(unsigned long value) { return AppendHex(value); }
    LogRecord& Append(long long value) { return AppendHex(static_cast<unsigned long long>(value)); }
    LogRecord& Append(unsigned long long value) { return AppendHex(value); }

    template <typename... Pieces> void AppendAll(const Pieces&... pieces) { (Append(pieces), ...); }

  private:
    LogRecord& AppendHex(unsigned long long value);

    void* handle_;
    InlineBuffer<64> module_;
    uint32_t level_;
    const wchar_t* file_;
    uint32_t line_;
    InlineBuffer<1024> message_;
};

// Whether the library wants lines of this level of this module. May change last-error.
inline bool IsLogWanted(const LogSource& source, uint32_t level) {
    void* const handle = Log_GetDefaultHandle();
    return handle != nullptr && Log_GetLogLevel(handle, source.module) != 0 &&
           Log_GetLogLevel(handle, source.module) <= level;
}

} // namespace steward

#define STEWARD_LOG(level, ...)                                                                              \
    do {                                                                                                     \
        const ::steward::LastErrorKeeper stewardLastError;                                                   \
        if (::steward::IsLogWanted(kLog, (level))) {                                                         \
            ::steward::LogRecord stewardRecord(kLog, (level), __LINE__);                                     \
            stewardLastError.Restore();                                                                      \
            stewardRecord.AppendAll(__VA_ARGS__);                                                            \
        }                                                                                                    \
    } while (false)
