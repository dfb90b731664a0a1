#include "util/Log.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

int allocations = 0;

} // namespace

// Not inlined: GCC would take the pair for a mismatch.
[[gnu::noinline]] void* operator new(size_t bytes) {
    ++allocations;
    if (void* const block = std::malloc(bytes)) {
        return block;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
    std::free(block);
}

namespace steward::test {

namespace {

constexpr LogSource kLog{kDriverModule, L"LogTest.cpp"};
constexpr DWORD kUntouched = 0xBEEF;

// A logging library that keeps what it is asked, without an allocation of its own, and spoils last-error.
class FakeLibrary {
  public:
    explicit FakeLibrary(uint32_t threshold, bool hasLog = true)
        : threshold_(threshold), handle_(hasLog ? this : nullptr) {}

    int defaultHandles = 0;
    int levelQuestions = 0;
    int flushes = 0;
    const void* text = &text; // of the last line
    uint32_t bytes = 0;
    uint32_t line = 0;

  private:
    HMODULE self_ = GetModuleHandleW(nullptr);
    uint32_t threshold_;
    void* handle_;
    ImportPatch<"Log_GetDefaultHandle", void*()> default_{self_, [this] {
                                                              ++defaultHandles;
                                                              SetLastError(0xDEAD);
                                                              return handle_;
                                                          }};
    ImportPatch<"Log_GetLogLevel", decltype(Log_GetLogLevel)> level_{
        self_, [this](void* handle, const wchar_t* module) {
            EXPECT_EQ(handle, handle_);
            EXPECT_STREQ(module, L"System Driver Installation");
            ++levelQuestions;
            SetLastError(0xDEAD);
            return threshold_;
        }};
    ImportPatch<"Log_Flush", decltype(Log_Flush)> flush_{
        self_,
        [this](void* handle, const wchar_t* module, uint32_t level, const wchar_t* file, uint32_t sourceLine,
               const wchar_t* message, uint32_t length) -> uint32_t {
            EXPECT_EQ(handle, handle_);
            EXPECT_STREQ(module, L"System Driver Installation");
            EXPECT_EQ(level, 5u);
            EXPECT_STREQ(file, L"LogTest.cpp");
            ++flushes;
            line = sourceLine;
            text = message;
            bytes = length;
            SetLastError(0xDEAD);
            return 1;
        }};
};

template <typename... Pieces> std::string Logged(const Pieces&... pieces) {
    LogCapture log;
    STEWARD_LOG(2, pieces...);
    return log.Take().at(0);
}

std::string Message(const std::wstring& text) {
    return LogLine(2, kDriverModule, L"LogTest.cpp", text);
}

} // namespace

TEST(Log, ThresholdSelectsLevels) {
    struct Case {
        uint32_t threshold;
        std::vector<uint32_t> emitted;
    };
    for (const Case& each : {Case{0, {}}, {1, {2, 3, 5, 6}}, {3, {3, 5, 6}}, {5, {5, 6}}, {7, {}}}) {
        LogCapture log(GetModuleHandleW(nullptr), each.threshold);
        Transcript expected;
        for (const uint32_t level : {2u, 3u, 5u, 6u}) {
            STEWARD_LOG(level, L"line");
        }
        for (const uint32_t level : each.emitted) {
            expected.push_back(LogLine(level, kDriverModule, L"LogTest.cpp", L"line"));
        }
        EXPECT_EQ(log.Take(), expected) << "threshold " << each.threshold;
    }
}

// Faults: a question too many or too few; a piece sees another last-error than the caller's; the caller's
// does not survive; a piece of an unwanted line is evaluated; memory is taken.
TEST(Log, CostsOnlyWhatIsWanted) {
    struct Case {
        const char* situation;
        bool hasLog;
        uint32_t threshold;
        int defaultHandles, levelQuestions, flushes;
    };
    for (const Case& each : {Case{"no default log", false, 1, 1, 0, 0},
                             {"module off", true, 0, 1, 1, 0},
                             {"below the threshold", true, 6, 1, 2, 0},
                             {"wanted", true, 5, 2, 2, 1}}) {
        SCOPED_TRACE(each.situation);
        const FakeLibrary library(each.threshold, each.hasLog);
        std::vector<DWORD> seen;
        seen.reserve(2);
        const auto piece = [&seen] {
            seen.push_back(GetLastError());
            return seen.back();
        };
        const int before = allocations;
        SetLastError(kUntouched);
        STEWARD_LOG(5, L"OpenService failed, err=", piece(), L", again ", piece(), true, -1LL);
        EXPECT_EQ(GetLastError(), kUntouched);
        EXPECT_EQ(allocations, before);
        EXPECT_EQ(seen, std::vector<DWORD>(each.flushes == 0 ? 0 : 2, kUntouched));
        EXPECT_EQ(library.defaultHandles, each.defaultHandles);
        EXPECT_EQ(library.levelQuestions, each.levelQuestions);
        EXPECT_EQ(library.flushes, each.flushes);
    }
}

TEST(Log, EmptyMessageIsFlushedWithoutText) {
    const FakeLibrary library(1);
    STEWARD_LOG(5, L"", std::wstring(), "", static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(library.line, static_cast<uint32_t>(__LINE__ - 1));
    EXPECT_EQ(library.flushes, 1);
    EXPECT_EQ(library.text, nullptr);
    EXPECT_EQ(library.bytes, 0u);
}

TEST(Log, PiecesAreWrittenInTheirFormat) {
    EXPECT_EQ(Logged(0, L" ", 0u, L" ", 0LL), Message(L"0 0 0"));
    EXPECT_EQ(Logged(1060ul, L" ", 30000, L" ", 10u), Message(L"0x424 0x7530 0xa"));
    EXPECT_EQ(Logged(-1, L" ", -1L, L" ", -2LL), Message(L"0xffffffff 0xffffffff 0xfffffffffffffffe"));
    EXPECT_EQ(Logged(0x123456789ABCDEF0ull), Message(L"0x123456789abcdef0"));
    EXPECT_EQ(Logged(true, false), Message(L"10"));
    wchar_t writable[] = L"writable";
    EXPECT_EQ(Logged(std::wstring(L"a\u00e4"), static_cast<const wchar_t*>(nullptr), writable),
              Message(L"a\u00e4writable"));
    EXPECT_EQ(Logged("narrow ", std::string_view("text cut here", 4)), Message(L"narrow text"));
}

// Faults: growing loses or repeats text; a narrow text beyond the conversion's local buffer is cut.
TEST(Log, LongMessagesAreComplete) {
    for (const size_t units : {511u, 512u, 513u, 5000u}) {
        const std::wstring wide(units, L'w');
        EXPECT_EQ(Logged(L"<", wide, L">", 1060, L">"), Message(L"<" + wide + L">0x424>"));
        EXPECT_EQ(Logged(L"<", std::string(units, 'n').c_str(), L">"),
                  Message(L"<" + std::wstring(units, L'n') + L">"));
    }
}

TEST(Log, UnconvertibleNarrowTextIsNotLost) {
    const ImportPatch<"MultiByteToWideChar", decltype(MultiByteToWideChar)> convert(
        GetModuleHandleW(nullptr), [](UINT codePage, DWORD, LPCCH, int, LPWSTR, int) {
            EXPECT_EQ(codePage, static_cast<UINT>(CP_ACP));
            SetLastError(ERROR_NO_UNICODE_TRANSLATION);
            return 0;
        });
    SetLastError(kUntouched);
    EXPECT_EQ(Logged(L"[", "abcd", L"]"), Message(L"[\x6261\x6463]"));
    EXPECT_EQ(GetLastError(), kUntouched);
}

} // namespace steward::test
