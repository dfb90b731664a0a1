#include "util/Log.h"

#include "support/Fault.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace steward::test {

namespace {

constexpr LogSource kLog{kDriverModule, L"LogTest.cpp"};
constexpr DWORD kUntouched = 0xBEEF;

template <typename... Pieces> std::string Logged(const Pieces&... pieces) {
    LogCapture log;
    STEWARD_LOG(2, pieces...);
    return log.TakeTexts();
}

} // namespace

// Faults: a question too many or too few; a piece sees another last-error than the caller's; the caller's
// does not survive; a piece of an unwanted line is evaluated; memory is taken.
TEST(Log, CostsOnlyWhatIsWanted) {
    for (const auto& [situation, missingHandle, threshold, asked, written] :
         {std::tuple("no default log", Fault::kEveryCall, 1U, 0, 0),
          {"module off", Fault::kNoCall, 0U, 1, 0},
          {"below the threshold", Fault::kNoCall, 6U, 2, 0},
          {"wanted", Fault::kNoCall, 5U, 2, 1}}) {
        SCOPED_TRACE(situation);
        const auto spoil = [answer = threshold](auto...) {
            SetLastError(0xDEAD);
            return answer;
        };
        const ImportPatch<"Log_GetLogLevel", decltype(Log_GetLogLevel)> level(kSelf, spoil);
        const ImportPatch<"Log_Flush", decltype(Log_Flush)> flush(kSelf, spoil);
        const Fault handles(kSelf, "Log_GetDefaultHandle", 0xDEAD, missingHandle);
        const Fault questions(kSelf, "Log_GetLogLevel", 0, Fault::kNoCall);
        const Fault lines(kSelf, "Log_Flush", 0, Fault::kNoCall);
        const Fault allocations(kSelf, "malloc", 0, Fault::kNoCall);
        int evaluated = 0;
        const auto piece = [&evaluated] {
            EXPECT_EQ(GetLastError(), kUntouched);
            return ++evaluated;
        };
        SetLastError(kUntouched);
        STEWARD_LOG(5, L"OpenService failed, err=", piece(), L", again ", piece(), true, -1LL);
        EXPECT_EQ(GetLastError(), kUntouched);
        EXPECT_EQ(allocations.Calls(), 0);
        EXPECT_EQ(questions.Calls(), asked);
        EXPECT_EQ(lines.Calls(), written);
        EXPECT_EQ(evaluated, 2 * written);
    }
}

// Faults: a pointer to no text; another line number than the statement's.
TEST(Log, EmptyMessageIsFlushedWithoutText) {
    const LogCapture wanted;
    uint32_t written = 0;
    const ImportPatch<"Log_Flush", decltype(Log_Flush)> flush(
        kSelf, [&](auto, auto, auto, auto, uint32_t line, const wchar_t* text, uint32_t bytes) {
            EXPECT_EQ(text, nullptr);
            EXPECT_EQ(bytes, 0U);
            return written = line;
        });
    STEWARD_LOG(5, L"", std::wstring(), "", static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(written, static_cast<uint32_t>(__LINE__ - 1));
}

// Faults: another number format; growing loses or repeats text; a narrow text beyond the conversion's local
// buffer is cut.
TEST(Log, PiecesAreWrittenInTheirFormat) {
    EXPECT_EQ(Logged(0, L" ", 0ULL, L" ", 1060UL, L" ", 30000, L" ", 10U), "2 0 0 0x424 0x7530 0xa\n");
    EXPECT_EQ(Logged(-1, L" ", -1L, L" ", -2LL), "2 0xffffffff 0xffffffff 0xfffffffffffffffe\n");
    EXPECT_EQ(Logged(0x123456789ABCDEF0ULL, true, false), "2 0x123456789abcdef010\n");
    EXPECT_EQ(Logged(std::wstring(L"a\u00e4"), std::string_view("text cut here", 4)), "2 a\u00e4text\n");
    for (const size_t units : {511U, 512U, 513U, 5000U}) {
        const std::string text(units, 'n');
        EXPECT_EQ(Logged(L"<", std::wstring(units, L'n'), L">", 1060, L">"), "2 <" + text + ">0x424>\n");
        EXPECT_EQ(Logged(L"<", text.c_str(), L">"), "2 <" + text + ">\n");
    }
}

} // namespace steward::test
