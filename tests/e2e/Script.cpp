#include "e2e/Script.h"

#include "e2e/WindowsVersion.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace steward::test {

namespace {

constexpr std::array kDriverNames = {"qxcomm", "qxevtmgr", "qxactmon"};

bool Holds(std::string where) {
    std::replace(where.begin(), where.end(), ',', ' ');
    const auto names = Words(where);
    return names.empty() || std::any_of(names.begin(), names.end(), [](const std::string& name) {
               const bool negated = name.starts_with("!");
               return IsRunningVersion(name.substr(negated ? 1 : 0)) != negated;
           });
}

// "$1" and the like; an argument that is not given, or is "-", is empty.
std::string Substitute(std::string line, const std::vector<std::string>& arguments) {
    for (size_t at = 0; (at = line.find('$', at)) != std::string::npos; ++at) {
        const size_t number = at + 1 < line.size() ? static_cast<size_t>(line[at + 1] - '0') : 0;
        if (number >= 1 && number <= 9) {
            const bool given = number <= arguments.size() && arguments[number - 1] != "-";
            line.replace(at, 2, given ? arguments[number - 1] : "");
        }
    }
    return line;
}

} // namespace

std::vector<std::string> Words(const std::string& line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

Script::Script(const std::string& file) {
    Read(file.substr(0, file.find_last_of("/\\") + 1) + "blocks.txt");
    Read(file);
}

void Script::Read(const std::string& file) {
    std::ifstream text(file);
    if (!text) {
        throw std::runtime_error("there is no scenario file " + file);
    }
    std::vector<std::string>* lines = nullptr;
    for (std::string line; std::getline(text, line);) {
        const size_t start = line.find_first_not_of(' ');
        const auto words = Words(line);
        if (start == std::string::npos || line[start] == '#' || words[0] == "restart") {
            continue;
        }
        if (words[0] == "scenario") {
            const std::string where = line.substr(line.find(words[1]) + words[1].size());
            lines = &scenarios_.emplace_back(Scenario{words[1], Holds(where), {}}).lines;
        } else if (words[0] == "block") {
            lines = &(blocks_[words[1]] = {});
        } else if (lines != nullptr) {
            lines->push_back(line.substr(start));
        } else {
            throw std::runtime_error(file + ": a line stands before the first block or scenario: " + line);
        }
    }
}

std::vector<std::string> Script::Block(const std::string& name) const {
    return blocks_.contains(name) ? Expand(blocks_.at(name)) : std::vector<std::string>();
}

std::vector<std::string> Script::Expand(const std::vector<std::string>& lines) const {
    std::vector<std::string> expanded;
    for (const std::string& line : lines) {
        Append(expanded, line, {});
    }
    return expanded;
}

void Script::Append(std::vector<std::string>& expanded, std::string line,
                    const std::vector<std::string>& arguments) const {
    line = Substitute(std::move(line), arguments);
    while (line.starts_with("[")) {
        const size_t end = line.find(']');
        if (!Holds(line.substr(1, end - 1))) {
            return;
        }
        line.erase(0, line.find_first_not_of(' ', end + 1));
    }
    if (line.starts_with("@")) {
        Call(expanded, Words(line.substr(1)));
    } else {
        expanded.push_back(line);
    }
}

void Script::Call(std::vector<std::string>& expanded, const std::vector<std::string>& words) const {
    if (words[0] == "each" || words[0] == "backwards") {
        auto drivers = kDriverNames;
        if (words[0] == "backwards") {
            std::reverse(drivers.begin(), drivers.end());
        }
        for (const char* const driver : drivers) {
            std::vector<std::string> call{words[1], driver};
            call.insert(call.end(), words.begin() + 2, words.end());
            Call(expanded, call);
        }
        return;
    }
    const auto block = blocks_.find(words[0]);
    if (block == blocks_.end()) {
        throw std::runtime_error("there is no block " + words[0]);
    }
    for (const std::string& line : block->second) {
        Append(expanded, line, {words.begin() + 1, words.end()});
    }
}

} // namespace steward::test
