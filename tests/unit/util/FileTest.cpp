#include "e2e/Plugin.h"
#include "util/Handles.h"
#include "util/Std_Utils_File.h"
#include "util/Std_Utils_String.h"

#include <gtest/gtest.h>

namespace steward::test {

namespace {

constexpr DWORD kUntouched = 0xBEEF;
constexpr DWORD kProtecting = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

Transcript Lines(std::initializer_list<std::pair<uint32_t, std::wstring>> lines) {
    Transcript transcript;
    for (const auto& [level, text] : lines) {
        transcript.push_back(LogLine(level, L"Util COMMON", L"Std_Utils_File.cpp", text));
    }
    return transcript;
}

std::wstring InTemporaryFolder(const wchar_t* name) {
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + name;
}

class FileTest : public testing::Test {
  protected:
    FileTest() { Clear(); }
    ~FileTest() override { Clear(); }

    void Make(DWORD attributes) const {
        const FileHandle file(CreateFileW(path_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
        SetFileAttributesW(path_.c_str(), attributes);
    }
    void Clear() const {
        for (const std::wstring& path : {path_, other_}) {
            SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileW(path.c_str());
        }
    }

    HMODULE self_ = GetModuleHandleW(nullptr);
    const std::wstring path_ = InTemporaryFolder(L"stewardTest.bin");
    const std::wstring other_ = InTemporaryFolder(L"stewardTest.moved");
};

} // namespace

TEST_F(FileTest, DeleteExistingFile) {
    const Transcript reset =
        Lines({{2, L"Succed to reset  file attributes to FILE_ATTRIBUTE_NORMAL: " + path_}});
    const Transcript notReset = Lines({{5, L"Failed to reset  file attributes to FILE_ATTRIBUTE_NORMAL: " +
                                               path_ + L"GetLastError() = 0x5"}});
    const Transcript notDeleted = {
        reset[0], Lines({{5, L"Delete existing file fail, File: " + path_ + L", GetLastError() = 0x20"}})[0]};
    struct Case {
        const char* fault;
        DWORD attributes; // 0: no file
        bool settable, deletable, result, remains;
        Transcript lines;
    };
    const Case cases[] = {
        {"a missing file is an error", 0, true, true, true, false, {}},
        {"a plain file stays, or is not reset", FILE_ATTRIBUTE_NORMAL, true, true, true, false, reset},
        {"a read-only file stays", FILE_ATTRIBUTE_READONLY, true, true, true, false, reset},
        {"what cannot be reset is deleted", FILE_ATTRIBUTE_NORMAL, false, true, true, true, notReset},
        {"a failed deletion is no error", FILE_ATTRIBUTE_NORMAL, true, false, false, true, notDeleted},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        Clear();
        if (each.attributes != 0) {
            Make(each.attributes);
        }
        const ImportPatch<"SetFileAttributesW", decltype(SetFileAttributesW)> set(
            self_, [&](LPCWSTR path, DWORD attributes) -> WINBOOL {
                SetLastError(ERROR_ACCESS_DENIED);
                return each.settable && set.Original(path, attributes);
            });
        const ImportPatch<"DeleteFileW", decltype(DeleteFileW)> remove(self_, [&](LPCWSTR path) -> WINBOOL {
            SetLastError(ERROR_SHARING_VIOLATION);
            return each.deletable && remove.Original(path);
        });
        LogCapture log;
        SetLastError(kUntouched);
        EXPECT_EQ(DeleteExistingFile(path_.c_str()), each.result);
        EXPECT_TRUE(each.result || GetLastError() == ERROR_SHARING_VIOLATION);
        EXPECT_EQ(Joined(log.Take()), Joined(each.lines));
        EXPECT_EQ(IsFileExist(path_.c_str()), each.remains);
        EXPECT_EQ(ResetFileAttributes(path_.c_str()), each.settable);
    }
}

// Faults: the attributes are reset unasked or without need.
TEST_F(FileTest, MoveResetsAttributesWhenAskedTo) {
    struct Case {
        DWORD attributes;
        bool resetAttributes, reset;
    };
    for (const Case& each : {Case{FILE_ATTRIBUTE_READONLY, false, false},
                             {FILE_ATTRIBUTE_READONLY, true, true},
                             {FILE_ATTRIBUTE_HIDDEN, true, true},
                             {FILE_ATTRIBUTE_SYSTEM, true, true},
                             {FILE_ATTRIBUTE_ARCHIVE, true, false}}) {
        SCOPED_TRACE(each.attributes);
        Clear();
        Make(each.attributes);
        const DWORD before = GetFileAttributesW(path_.c_str());
        LogCapture log;
        EXPECT_TRUE(MoveFileWithFallback(path_.c_str(), other_.c_str(), 0, each.resetAttributes));
        EXPECT_EQ(log.Take(), each.reset
                                  ? Lines({{2, L"Reset file attributes to FILE_ATTRIBUTE_NORMAL: " + path_}})
                                  : Transcript{});
        EXPECT_FALSE(IsFileExist(path_.c_str()));
        const DWORD kept = each.reset ? 0 : before;
        EXPECT_EQ(GetFileAttributesW(other_.c_str()) & kProtecting, kept & kProtecting);
    }
}

TEST_F(FileTest, MoveFallsBackWithoutTheExtendedMove) {
    struct Case {
        const char* fault;
        const wchar_t* destination;
        const char* failing; // call
        const char* calls;
        DWORD flags;
        bool result;
        DWORD moveError = ERROR_CALL_NOT_IMPLEMENTED;
    };
    const wchar_t* const same = L"C:\\b";
    const wchar_t* const other = L"D:\\b";
    const Case cases[] = {
        {"falls back on any error", same, "", "", 3, false, ERROR_ACCESS_DENIED},
        {"splits a null destination", nullptr, "", "", 4, false},
        {"tells drives apart by case", same, "", "move c:\\a C:\\b;", 0, true},
        {"replaces by another flag", same, "", "move c:\\a C:\\b;", 6, true},
        {"does not replace, or minds the deletion", same, "delete", "delete C:\\b;move c:\\a C:\\b;", 1,
         true},
        {"hides a failed move", same, "move", "move c:\\a C:\\b;", 0, false},
        {"copies without leave", other, "", "", 1, false},
        {"overwrites without leave", other, "", "copy c:\\a D:\\b unless there;delete c:\\a;", 2, true},
        {"does not overwrite", other, "", "copy c:\\a D:\\b;delete c:\\a;", 3, true},
        {"deletes what was not copied", other, "copy", "copy c:\\a D:\\b;", 3, false},
        {"hides a source left behind", other, "delete", "copy c:\\a D:\\b;delete c:\\a;", 3, false},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        std::string calls;
        const auto call = [&](const std::string& name, const std::wstring& arguments) -> WINBOOL {
            calls += name + " " + Utf8(arguments) + ";";
            return name != each.failing;
        };
        const ImportPatch<"MoveFileExW", decltype(MoveFileExW)> extended(
            self_, [&](LPCWSTR, LPCWSTR, DWORD flags) -> WINBOOL {
                EXPECT_EQ(flags, each.flags);
                SetLastError(each.moveError);
                return FALSE;
            });
        const ImportPatch<"MoveFileW", decltype(MoveFileW)> move(
            self_, [&](LPCWSTR from, LPCWSTR to) { return call("move", std::wstring(from) + L" " + to); });
        const ImportPatch<"CopyFileW", decltype(CopyFileW)> copy(
            self_, [&](LPCWSTR from, LPCWSTR to, WINBOOL failIfExists) {
                return call("copy", std::wstring(from) + L" " + to + (failIfExists ? L" unless there" : L""));
            });
        const ImportPatch<"DeleteFileW", decltype(DeleteFileW)> remove(
            self_, [&](LPCWSTR path) { return call("delete", path); });
        SetLastError(kUntouched);
        EXPECT_EQ(MoveFileWithFallback(L"c:\\a", each.destination, each.flags, false), each.result);
        EXPECT_EQ(GetLastError(), each.moveError);
        EXPECT_EQ(calls, each.calls);
    }
}

// Faults: the third part of the version taken for the fourth; a failed query reports zeros.
TEST_F(FileTest, QueryFileVersionSkipsTheThirdPart) {
    FileVersion version{1, 2, 3};
    Make(FILE_ATTRIBUTE_NORMAL);
    EXPECT_FALSE(QueryFileVersion(path_.c_str(), version));
    EXPECT_FALSE(QueryFileVersion(other_.c_str(), version));
    EXPECT_EQ(version.build, 3U);
    EXPECT_TRUE(QueryFileVersion((Package(L"v1") + L"qxcomm.sys").c_str(), version));
    EXPECT_EQ(version.major, 5U);
    EXPECT_EQ(version.minor, 5U);
    EXPECT_EQ(version.build, 1256U);
}

} // namespace steward::test
