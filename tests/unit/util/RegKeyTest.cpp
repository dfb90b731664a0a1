#include "util/RegKey.h"
#include "support/ImportPatch.h"

#include <gmock/gmock.h>

#include <vector>

namespace steward::test {

namespace {

constexpr wchar_t kPath[] = L"SOFTWARE\\stewardTestKey";

class RegKeyTest : public testing::Test {
  protected:
    RegKeyTest() { key_.Create(HKEY_LOCAL_MACHINE, kPath, nullptr, 0, KEY_ALL_ACCESS, nullptr); }
    ~RegKeyTest() override {
        RegKey machine;
        machine.Open(HKEY_LOCAL_MACHINE, L"", KEY_ALL_ACCESS);
        machine.RecurseDeleteKey(kPath);
    }

    LONG MakeChild(const wchar_t* name) const {
        RegKey child;
        return child.Create(key_.Get(), name, nullptr, 0, KEY_ALL_ACCESS, nullptr);
    }
    bool HasChild(const wchar_t* name) const {
        RegKey child;
        return child.Open(key_.Get(), name, KEY_READ) == ERROR_SUCCESS;
    }

    HMODULE self_ = GetModuleHandleW(nullptr);
    RegKey key_;
};

using testing::ElementsAre;

} // namespace

// Faults: the default view first, or alone; the first status returned; the held key lost when both fail.
TEST_F(RegKeyTest, OpensTheSixtyFourBitViewFirstAndThenTheDefaultOne) {
    std::vector<REGSAM> masks;
    std::vector<LONG> statuses; // of the attempts, 0: the real one
    const ImportPatch<"RegOpenKeyExW", decltype(RegOpenKeyExW)> open(
        self_, [&](HKEY parent, LPCWSTR path, DWORD options, REGSAM mask, PHKEY key) -> LSTATUS {
            masks.push_back(mask);
            const LONG status = statuses.at(masks.size() - 1);
            return status == ERROR_SUCCESS ? open.Original(parent, path, options, mask, key) : status;
        });
    struct Case {
        std::vector<LONG> statuses;
        LONG result;
        std::vector<REGSAM> masks;
    };
    const Case cases[] = {
        {{0}, 0, {KEY_READ | KEY_WOW64_64KEY}},
        {{ERROR_FILE_NOT_FOUND, 0}, 0, {KEY_READ | KEY_WOW64_64KEY, KEY_READ}},
        {{ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED},
         ERROR_ACCESS_DENIED,
         {KEY_READ | KEY_WOW64_64KEY, KEY_READ}},
    };
    for (const Case& each : cases) {
        masks.clear();
        statuses = each.statuses;
        const HKEY held = key_.Get();
        EXPECT_EQ(key_.Open(HKEY_LOCAL_MACHINE, kPath, KEY_READ), each.result);
        EXPECT_EQ(masks, each.masks);
        EXPECT_EQ(key_.Get() == held, each.result != ERROR_SUCCESS);
    }
}

// Faults: every second child survives; a length that is not set anew hides longer names; an absent key counts
// as deleted.
TEST_F(RegKeyTest, RecurseDeleteKeyTakesTheWholeTree) {
    for (const wchar_t* const path :
         {L"tree\\a\\x", L"tree\\aLongerName\\x\\deep", L"tree\\b\\y", L"tree\\c"}) {
        ASSERT_EQ(MakeChild(path), ERROR_SUCCESS);
    }
    ASSERT_EQ(MakeChild(L"beside"), ERROR_SUCCESS);
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_SUCCESS);
    EXPECT_FALSE(HasChild(L"tree"));
    EXPECT_TRUE(HasChild(L"beside"));
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_FILE_NOT_FOUND);
}

// Faults: the walk goes on behind a child that stays, or the status of the failure is lost.
TEST_F(RegKeyTest, RecurseDeleteKeyEndsAtTheFirstFailure) {
    for (const wchar_t* const path : {L"tree\\a", L"tree\\b", L"tree\\c"}) {
        ASSERT_EQ(MakeChild(path), ERROR_SUCCESS);
    }
    std::vector<std::wstring> deleted;
    const ImportPatch<"RegDeleteKeyW", decltype(RegDeleteKeyW)> remove(
        self_, [&](HKEY parent, LPCWSTR name) -> LSTATUS {
            deleted.emplace_back(name);
            return deleted.size() == 2 ? ERROR_ACCESS_DENIED : remove.Original(parent, name);
        });
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_ACCESS_DENIED);
    EXPECT_THAT(deleted, ElementsAre(L"a", L"b"));
    EXPECT_TRUE(HasChild(L"tree\\b"));
    EXPECT_TRUE(HasChild(L"tree\\c"));
}

// Faults: the size is not reported, a short buffer is written to, the two errors are swapped.
TEST_F(RegKeyTest, QueryBinaryValueAnswersByCapacity) {
    const std::string data = "seven!!";
    key_.SetValue(data.data(), L"binary", REG_BINARY, 7);
    std::string buffer(8, '.');
    struct Case {
        void* buffer;
        DWORD capacity;
        LONG status;
        const char* content;
    };
    const Case cases[] = {
        {nullptr, 0, ERROR_SUCCESS, "........"},
        {buffer.data(), 0, ERROR_SUCCESS, "........"},
        {buffer.data(), 6, ERROR_NOT_ENOUGH_MEMORY, "........"},
        {nullptr, 7, ERROR_INVALID_PARAMETER, "........"},
        {buffer.data(), 8, ERROR_SUCCESS, "seven!!."},
    };
    for (const Case& each : cases) {
        buffer = "........";
        DWORD bytes = each.capacity;
        EXPECT_EQ(key_.QueryBinaryValue(L"binary", each.buffer, bytes), each.status);
        EXPECT_EQ(bytes, 7U);
        EXPECT_EQ(buffer, each.content);
    }
    DWORD bytes = 0;
    EXPECT_EQ(key_.QueryBinaryValue(L"absent", nullptr, bytes), ERROR_FILE_NOT_FOUND);
}

// Faults: the stored type is checked, or the size is not; a stored text without its end is read past it.
TEST_F(RegKeyTest, ValuesAreReadBySizeNotByType) {
    const uint8_t four[] = {0x78, 0x56, 0x34, 0x12};
    key_.SetValue(four, L"binary", REG_BINARY, 4);
    key_.SetStringValue(L"12", L"text");
    uint32_t number = 0;
    EXPECT_EQ(key_.QueryDWORDValue(number, L"binary"), ERROR_SUCCESS);
    EXPECT_EQ(number, 0x12345678U);
    EXPECT_EQ(key_.QueryDWORDValue(number, L"text"), ERROR_MORE_DATA);
    EXPECT_TRUE(ReadHKLMDword(number, kPath, L"binary"));
    EXPECT_FALSE(ReadHKLMDword(number, kPath, L"text"));

    EXPECT_EQ(CreateKeyAndSetQWORD(HKEY_LOCAL_MACHINE, kPath, 0x123456789ABCDEF0ULL, L"wide"), ERROR_SUCCESS);
    uint64_t wide = 0;
    EXPECT_EQ(key_.QueryQWORDValue(wide, L"wide"), ERROR_SUCCESS);
    EXPECT_EQ(wide, 0x123456789ABCDEF0ULL);

    key_.SetValue(L"openEnded", L"text", REG_SZ, 4 * sizeof(wchar_t));
    std::wstring text = L"before";
    EXPECT_EQ(key_.QueryStringValue(L"text", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"open");
    key_.SetValue(L"one\0two", L"text", REG_SZ, 8 * sizeof(wchar_t));
    EXPECT_TRUE(ReadHKLMString(text, kPath, L"text"));
    EXPECT_EQ(text, L"one");
    EXPECT_FALSE(ReadHKLMString(text, kPath, L"absent"));
    EXPECT_EQ(text, L"one");

    EXPECT_TRUE(WriteHKLMString(L"abc", kPath, L"written"));
    DWORD type = 0;
    DWORD bytes = 0;
    EXPECT_EQ(RegQueryValueExW(key_.Get(), L"written", nullptr, &type, nullptr, &bytes), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(bytes, 8U);
    EXPECT_EQ(key_.DeleteValue(L"written"), ERROR_SUCCESS);
    EXPECT_EQ(key_.DeleteValue(L"written"), ERROR_FILE_NOT_FOUND);
}

} // namespace steward::test
