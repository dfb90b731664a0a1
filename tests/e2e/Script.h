// Scenarios as text, so that they read like the log that they expect.
//
//     block <name>                 lines that others call by "@<name> <arguments>"; $1, $2, ... in them, "-"
//     for
//                                  an argument that is left out
//     scenario <name> [<where>]    lines in their order; without <where> on every Windows version
//
// A line may start with "[<where>]". <where> names Windows versions or what they have in common, separated by
// commas, one of which must hold; "!" in front negates. "@each <block>" and "@backwards <block>" call a block
// for every driver, whose name is its first argument. A file's own blocks hide those of blocks.txt. What the
// lines mean: Scenarios.cpp.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace steward::test {

struct Scenario {
    std::string name;
    bool applies; // to the running Windows version
    std::vector<std::string> lines;
};

class Script {
  public:
    // Reads `file` and the blocks.txt beside it. Throws when there is no such file.
    explicit Script(const std::string& file);

    [[nodiscard]] const std::vector<Scenario>& Scenarios() const { return scenarios_; }
    // A block of the file (if it has it), every call in it expanded and conditions that do not hold dropped.
    [[nodiscard]] std::vector<std::string> Block(const std::string& name) const;
    // Likewise the lines of a scenario. Throws for a block that does not exist.
    [[nodiscard]] std::vector<std::string> Expand(const std::vector<std::string>& lines) const;

  private:
    void Read(const std::string& file);
    void Append(std::vector<std::string>& expanded, std::string line,
                const std::vector<std::string>& arguments) const;
    void Call(std::vector<std::string>& expanded, const std::vector<std::string>& words) const;

    std::vector<Scenario> scenarios_;
    std::map<std::string, std::vector<std::string>> blocks_;
};

std::vector<std::string> Words(const std::string& line);

} // namespace steward::test
