#include "util/Log.h"

#include <cstdint>
#include <cstring>

namespace steward {

template <size_t Capacity> void InlineBuffer<Capacity>::Append(const void* data, size_t bytes) {
    if (bytes == 0) {
        return;
    }
    const size_t needed = used_ + bytes;
    if (needed > capacity_) {
        auto grown = std::make_unique<std::byte[]>(needed * 2);
        std::memcpy(grown.get(), Text(), used_);
        heap_ = std::move(grown);
        capacity_ = needed * 2;
    }
    std::memcpy((heap_ ? heap_.get() : local_) + used_, data, bytes);
    used_ = needed;
}

LogRecord::LogRecord(const LogSource& source, uint32_t level, uint32_t line)
    : handle_(Log_GetDefaultHandle()), level_(level), file_(source.file), line_(line) {
    module_.Append(source.module, (std::wcslen(source.module) + 1) * sizeof(wchar_t));
}

LogRecord::~LogRecord() {
    if (handle_ != nullptr) {
        const size_t bytes = message_.Bytes();
        Log_Flush(handle_, module_.Text(), level_, file_, line_, bytes == 0 ? nullptr : message_.Text(),
                  static_cast<uint32_t>(bytes));
    }
}

LogRecord& LogRecord::Append(const wchar_t* text) {
    return text == nullptr ? *this : Append(std::wstring_view(text));
}

LogRecord& LogRecord::Append(std::wstring_view text) {
    message_.Append(text.data(), text.size() * sizeof(wchar_t));
    return *this;
}

LogRecord& LogRecord::Append(std::string_view ansi) {
    constexpr int kLocalUnits = 512;
    wchar_t local[kLocalUnits];
    std::unique_ptr<wchar_t[]> heap;
    wchar_t* wide = local;
    const int length = static_cast<int>(ansi.size());
    int units = MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, local, kLocalUnits);
    if (units == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        units = MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, nullptr, 0);
        heap = std::make_unique<wchar_t[]>(static_cast<size_t>(units));
        wide = heap.get();
        units = MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, wide, units);
    }
    if (units == 0) {
        // A garbled line is better than a lost one.
        message_.Append(ansi.data(), ansi.size());
        return *this;
    }
    return Append(std::wstring_view(wide, static_cast<size_t>(units)));
}

LogRecord& LogRecord::AppendHex(unsigned long long value) {
    if (value == 0) {
        return Append(L"0");
    }
    wchar_t text[64];
    wchar_t* const end = text + std::size(text);
    wchar_t* first = end;
    for (; value != 0; value >>= 4) {
        *--first = L"0123456789abcdef"[value & 0xF];
    }
    *--first = L'x';
    *--first = L'0';
    return Append(std::wstring_view(first, static_cast<size_t>(end - first)));
}

} // namespace steward
