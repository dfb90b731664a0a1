// The stand-in of the logging library, by a copy whose settings are its own.
#include "support/ToolRun.h"

#include "traceSink.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <cstdint>
#include <regex>

namespace steward::test {

// Faults: a value forges a line, or hides a part of one; a time without microseconds; what is missing is
// used.
TEST(TraceSink, WritesOneLineForEachRecord) {
    constexpr const wchar_t* kCopy = L"C:\\traceSinkCopy.dll";
    constexpr const wchar_t* kFile = L"C:\\traceSink.log";
    wchar_t original[MAX_PATH] = {};
    GetModuleFileNameW(GetModuleHandleW(L"traceSink.dll"), original, MAX_PATH);
    CopyFileW(original, kCopy, FALSE);
    DeleteFileW(kFile);
    SetEnvironmentVariableW(L"TRACESINK_FILE", kFile);
    const HMODULE copy = LoadLibraryW(kCopy);
    const auto function = [&](auto* type, const char* name) {
        return reinterpret_cast<decltype(type)>(reinterpret_cast<void*>(GetProcAddress(copy, name)));
    };
    void* const handle = function(&Log_GetDefaultHandle, "Log_GetDefaultHandle")();
    const auto flush = function(&Log_Flush, "Log_Flush");
    const std::wstring text = L"C:\\new\r\n2026-01-01 \x1b[31m\t\x7f \x85\u2028 \u263a";
    EXPECT_EQ(flush(handle, L"Util COMMON", 5, L"a.cpp", 70, text.c_str(),
                    static_cast<uint32_t>(text.size() * sizeof(wchar_t))),
              0U);
    EXPECT_EQ(flush(handle, L"M", 2, L"b.h", 0, nullptr, 0), 0U);
    EXPECT_NE(flush(nullptr, nullptr, 2, nullptr, 1, nullptr, 0), 0U);
    EXPECT_EQ(function(&Log_GetLogLevel, "Log_GetLogLevel")(nullptr, nullptr), 0U);
    const std::regex time("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} ");
    EXPECT_EQ(
        std::regex_replace(ReadWholeFile(kFile), time, "T "),
        "T 5 Util COMMON a.cpp:70 C:\\new<0D><0A>2026-01-01 <1B>[31m<09><7F> <85><2028> \xE2\x98\xBA\r\n"
        "T 2 M b.h:0 \r\n");
    FreeLibrary(copy);
    SetEnvironmentVariableW(L"TRACESINK_FILE", nullptr);
    DeleteFileW(kCopy);
    DeleteFileW(kFile);
}

} // namespace steward::test
