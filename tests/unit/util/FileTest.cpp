#include "support/Fault.h"
#include "support/ToolRun.h"
#include "util/Std_Utils_File.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace steward::test {

namespace {

constexpr wchar_t kSource[] = L"C:\\test.bin";
constexpr wchar_t kDestination[] = L"C:\\test.moved";

// The files' contents; null for none.
void Start(const char* source, const char* destination) {
    for (const auto& [path, content] : {std::pair(kSource, source), {kDestination, destination}}) {
        DeleteFileW(path);
        if (content != nullptr) {
            std::ofstream(std::filesystem::path(path)) << content;
        }
    }
}

std::string Contents() {
    return ReadWholeFile(kSource) + "," + ReadWholeFile(kDestination);
}

} // namespace

// A path without a drive lies on another drive than one with a drive.
TEST(File, MoveFallsBackWithoutTheExtendedMove) {
    SetCurrentDirectoryW(L"C:\\");
    const wchar_t* const same = L"c:\\test.moved";
    const wchar_t* const other = L"test.moved";
    struct Case {
        const char* fault;
        const wchar_t* destination;
        DWORD flags;
        const char* before; // content of the destination
        const char* after;  // contents of both files
        int failingDeletion = Fault::kNoCall;
    };
    const Case cases[] = {
        {"splits a null destination", nullptr, 4, "old", "new,old"},
        {"tells drives apart by case", same, 0, nullptr, ",new"},
        {"replaces by another flag", same, 6, "old", "new,old"},
        {"does not replace", same, 1, "old", ",new"},
        {"minds the deletion", same, 1, nullptr, ",new"},
        {"copies without leave", other, 1, nullptr, "new,"},
        {"does not copy, or leaves the source", other, 2, nullptr, ",new"},
        {"overwrites without leave, or deletes what was not copied", other, 2, "old", "new,old"},
        {"does not overwrite", other, 3, "old", ",new"},
        {"hides a source left behind", other, 3, "old", "new,new", 1},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        Start("new", each.before);
        const Fault split(kSelf, "_wsplitpath", 0, Fault::kNoCall);
        const Fault extended(kSelf, "MoveFileExW", ERROR_CALL_NOT_IMPLEMENTED);
        const Fault deletion(kSelf, "DeleteFileW", ERROR_ACCESS_DENIED, each.failingDeletion);
        EXPECT_EQ(MoveFileWithFallback(kSource, each.destination, each.flags, false),
                  std::string(each.after) == ",new");
        EXPECT_EQ(Contents(), each.after);
        EXPECT_EQ(split.Calls() == 0, each.destination == nullptr);
    }
    Start(nullptr, nullptr);
}

} // namespace steward::test
