// Runs one of the project's programs as a user does.
#pragma once

#include <filesystem>
#include <string>

namespace steward::test {

struct ToolRun {
    unsigned exitCode; // 0xFFFF when the program could not be started or had to be ended
    std::string output;
    std::string errors;
};

// What is out of the ordinary in a run.
struct ToolStreams {
    std::string input = {};     // what the program finds in its standard input, a file
    bool refusesOutput = false; // standard output cannot be written
    bool isElevated = true;     // false: without an administrator's rights
};

// Where the tests and the product lie.
std::filesystem::path BinFolder();

// `program` lies beside the test, or is a full path; `arguments` are as typed behind its name.
ToolRun RunTool(const std::wstring& program, const std::wstring& arguments, const ToolStreams& streams = {});

// Empty when there is no such file.
std::string ReadWholeFile(const std::wstring& path);

} // namespace steward::test
