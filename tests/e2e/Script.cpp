#include "e2e/Script.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace steward::test {

namespace {

constexpr std::array kDriverNames = {"qxcomm", "qxevtmgr", "qxactmon"};

// What the Windows versions differ in, as far as the plug-in is concerned; true where it holds here.
std::map<std::string, bool> Conditions() {
    OSVERSIONINFOEXW system{};
    system.dwOSVersionInfoSize = sizeof system;
    GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&system));
    const DWORD version = system.dwMajorVersion * 100 + system.dwMinorVersion;
    const bool isSeven = version == 601 && system.wProductType == VER_NT_WORKSTATION;
    return {{"seven", isSeven},
            {"stops", version < 602},    // drivers are stopped for a change
            {"restart", version >= 602}, // changes need a restart
            // Images are overwritten under running drivers, which Wine refuses.
            {"overwrites", version >= 602 && version < 1000},
            {"renames", version >= 1000},         // images in use are renamed away and catalogs are kept
            {"boot", isSeven || version >= 602}}; // the shared driver starts at boot
}

bool Holds(const std::string& condition, const Line& line) {
    static const std::map<std::string, bool> conditions = Conditions();
    const bool negated = condition.starts_with("!");
    const auto found = conditions.find(condition.substr(negated ? 1 : 0));
    if (found == conditions.end()) {
        ThrowAt(line, "'" + condition + "' is no condition");
    }
    return found->second != negated;
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

std::vector<std::string> Words(const std::string& line, char separator) {
    std::vector<std::string> words;
    std::istringstream text(line);
    for (std::string word; std::getline(text, word, separator);) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

void ThrowAt(const Line& line, const std::string& reason) {
    throw std::runtime_error(line.file + ":" + std::to_string(line.number) + ": " + reason);
}

Script::Script(const std::string& file) {
    Read(file.substr(0, file.find_last_of("/\\") + 1) + "blocks.txt");
    Read(file);
}

void Script::Read(const std::string& file) {
    std::ifstream text(file);
    Line line{"", file};
    if (!text) {
        ThrowAt(line, "there is no such file");
    }
    std::vector<Line>* lines = nullptr;
    while (std::getline(text, line.text)) {
        ++line.number;
        const auto words = Words(line.text);
        if (words.empty() || words[0][0] == '#' || words[0] == "restart") {
            continue;
        }
        if ((words[0] == "scenario" || words[0] == "block") && words.size() < 2) {
            ThrowAt(line, "a name is missing");
        }
        if (words[0] == "scenario") {
            const bool applies = words.size() < 3 || Holds(words[2], line);
            lines = &scenarios_.emplace_back(Scenario{{words[1], file, line.number}, applies, {}}).lines;
        } else if (words[0] == "block") {
            lines = &(blocks_[words[1]] = {});
        } else if (lines != nullptr) {
            lines->push_back({line.text.substr(line.text.find_first_not_of(' ')), file, line.number});
        } else {
            ThrowAt(line, "a line stands before the first block or scenario");
        }
    }
}

std::vector<Line> Script::Block(const std::string& name) const {
    return blocks_.contains(name) ? Expand(blocks_.at(name)) : std::vector<Line>();
}

std::vector<Line> Script::Expand(const std::vector<Line>& lines) const {
    std::vector<Line> expanded;
    for (const Line& line : lines) {
        Append(expanded, line, {});
    }
    return expanded;
}

void Script::Append(std::vector<Line>& expanded, Line line, const std::vector<std::string>& arguments) const {
    line.text = Substitute(std::move(line.text), arguments);
    while (line.text.starts_with("[")) {
        const size_t end = line.text.find(']');
        if (!Holds(line.text.substr(1, end - 1), line)) {
            return;
        }
        line.text.erase(0, line.text.find_first_not_of(' ', end + 1));
    }
    if (line.text.starts_with("@")) {
        Call(expanded, Words(line.text.substr(1)), line);
    } else {
        expanded.push_back(line);
    }
}

void Script::Call(std::vector<Line>& expanded, const std::vector<std::string>& words,
                  const Line& line) const {
    if (words[0] == "each" || words[0] == "backwards") {
        for (size_t i = 0; i < kDriverNames.size(); ++i) {
            const size_t driver = words[0] == "each" ? i : kDriverNames.size() - 1 - i;
            std::vector<std::string> call{words.at(1), kDriverNames[driver]};
            for (size_t word = 2; word < words.size(); ++word) {
                const auto parts = Words(words[word], ',');
                call.push_back(parts.at(parts.size() == 1 ? 0 : driver));
            }
            Call(expanded, call, line);
        }
        return;
    }
    const auto block = blocks_.find(words[0]);
    if (block == blocks_.end()) {
        ThrowAt(line, "there is no block " + words[0]);
    }
    for (const Line& called : block->second) {
        Append(expanded, called, {words.begin() + 1, words.end()});
    }
}

} // namespace steward::test
