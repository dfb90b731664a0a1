#include "util/RegKey.h"

#include "support/Fault.h"
#include "support/ImportPatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace steward::test {

namespace {

constexpr wchar_t kPath[] = L"SOFTWARE\\stewardTestKey";

class RegKeyTest : public testing::Test {
  protected:
    RegKeyTest() { key_.Create(HKEY_LOCAL_MACHINE, kPath, nullptr, 0, KEY_ALL_ACCESS, nullptr); }
    ~RegKeyTest() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPath); }

    LONG Find(const wchar_t* name) const { return RegKey().Open(key_.Get(), name, KEY_READ); }

    RegKey key_;
};

} // namespace

// Faults: the default view first, or alone; the first status returned; the held key lost when both fail.
TEST_F(RegKeyTest, OpensTheSixtyFourBitViewFirstAndThenTheDefaultOne) {
    constexpr REGSAM kFirst = KEY_READ | KEY_WOW64_64KEY;
    std::vector<REGSAM> masks;
    size_t failures = 0; // the first so many attempts answer their number
    const ImportPatch<"RegOpenKeyExW", decltype(RegOpenKeyExW)> open(
        kSelf, [&](auto parent, auto path, auto options, auto mask, auto key) {
            masks.push_back(mask);
            return masks.size() > failures ? open.Original(parent, path, options, mask, key)
                                           : static_cast<LSTATUS>(masks.size());
        });
    for (const LONG status : {0, 0, 2}) {
        const HKEY held = key_.Get();
        masks.clear();
        EXPECT_EQ(key_.Open(HKEY_LOCAL_MACHINE, kPath, KEY_READ), status);
        EXPECT_EQ(masks, failures == 0 ? std::vector{kFirst} : std::vector({kFirst, REGSAM{KEY_READ}}));
        EXPECT_EQ(key_.Get() == held, status != ERROR_SUCCESS);
        ++failures;
    }
}

// Faults: the walk goes on behind a child that stays, or its status is lost; a length that is not set anew
// hides longer names; every second child survives; an absent key counts as deleted.
TEST_F(RegKeyTest, RecurseDeleteKeyTakesTheWholeTreeOrEnds) {
    for (const wchar_t* const path : {L"tree\\a", L"tree\\b\\x\\deep", L"tree\\bLongerName", L"beside"}) {
        RegKey child;
        ASSERT_EQ(child.Create(key_.Get(), path, nullptr, 0, KEY_ALL_ACCESS, nullptr), ERROR_SUCCESS);
    }
    const Fault remove(kSelf, "RegDeleteKeyW", ERROR_ACCESS_DENIED, 2);
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(remove.Calls(), 2);
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_SUCCESS);
    EXPECT_EQ(Find(L"tree"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Find(L"beside"), ERROR_SUCCESS);
    EXPECT_EQ(key_.RecurseDeleteKey(L"tree"), ERROR_FILE_NOT_FOUND);
}

// Faults: the stored type is checked, or the size is not; a stored text without its end is read past it; a
// text is stored without its end.
TEST_F(RegKeyTest, ValuesAreReadBySizeNotByType) {
    uint32_t number = 0;
    key_.SetValue("\x78\x56\x34\x12", L"binary", REG_BINARY, 4);
    EXPECT_TRUE(ReadHKLMDword(number, kPath, L"binary"));
    EXPECT_EQ(number, 0x12345678U);
    key_.SetStringValue(L"12", L"text", REG_BINARY); // the registry completes texts by itself
    EXPECT_FALSE(ReadHKLMDword(number, kPath, L"text"));
    DWORD bytes = 0;
    EXPECT_EQ(key_.QueryBinaryValue(L"text", nullptr, bytes), ERROR_SUCCESS);
    EXPECT_EQ(bytes, 6U);

    std::wstring text;
    key_.SetValue(L"openEnded", L"text", REG_SZ, 4 * sizeof(wchar_t));
    EXPECT_TRUE(ReadHKLMString(text, kPath, L"text"));
    EXPECT_EQ(text, L"open");
}

} // namespace steward::test
