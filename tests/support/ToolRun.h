// Runs one of the project's programs as a user does.
#pragma once

#include <string>

namespace steward::test {

struct ToolRun {
    unsigned exitCode; // 0xFFFF when the program could not be started or had to be ended
    std::string output;
    std::string errors;
};

// `program` lies beside the test; `arguments` are as typed behind its name.
ToolRun RunTool(const std::wstring& program, const std::wstring& arguments);

// Empty when there is no such file.
std::string ReadWholeFile(const std::wstring& path);

} // namespace steward::test
