// Scenarios as text, so that they read like the log that they expect.
//
//     block <name>                 lines that others call by "@<name> <arguments>"; $1, $2, ... in them, "-"
//     for
//                                  an argument that is left out
//     scenario <name> [<where>]    lines in their order; without <where> on every Windows version
//
// A line may start with "[<where>]". <where> is one of the conditions in Script.cpp; "!" in front negates.
// "@each <block>" and "@backwards <block>" call a block for every driver, whose name is its first argument;
// of an argument with commas each driver gets its part. A file's own blocks hide those of blocks.txt. What
// the lines mean: Scenarios.cpp.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace steward::test {

struct Line {
    std::string text;
    std::string file;
    int number = 0;
};

struct Scenario {
    Line name;
    bool applies; // to the running Windows version
    std::vector<Line> lines;
};

class Script {
  public:
    // Reads `file` and the blocks.txt beside it. What is wrong is thrown as "<file>:<line>: <reason>".
    explicit Script(const std::string& file);

    [[nodiscard]] const std::vector<Scenario>& Scenarios() const { return scenarios_; }
    // A block of the file (if it has it), every call in it expanded and conditions that do not hold dropped.
    [[nodiscard]] std::vector<Line> Block(const std::string& name) const;
    // Likewise the lines of a scenario.
    [[nodiscard]] std::vector<Line> Expand(const std::vector<Line>& lines) const;

  private:
    void Read(const std::string& file);
    void Append(std::vector<Line>& expanded, Line line, const std::vector<std::string>& arguments) const;
    void Call(std::vector<Line>& expanded, const std::vector<std::string>& words, const Line& line) const;

    std::vector<Scenario> scenarios_;
    std::map<std::string, std::vector<Line>> blocks_;
};

std::vector<std::string> Words(const std::string& line, char separator = ' ');
[[noreturn]] void ThrowAt(const Line& line, const std::string& reason);

} // namespace steward::test
