#include "Names.h"

#include "CommandLine.h"
#include "Failure.h"
#include "util/Utf8.h"

namespace steward::configtool {

namespace {

std::string NameOf(const tools::ReadLine& line, size_t index) {
    const std::string name = Utf8FromWide(line.operands[index]);
    if (name.empty() || name.find_first_of("/*<>&") != std::string::npos) {
        Refuse(line, "'" + name + "' is not the name of a group or key");
    }
    return name;
}

} // namespace

std::pair<std::string, std::string> NamesOf(const tools::ReadLine& line) {
    return {NameOf(line, 0), NameOf(line, 1)};
}

void FailForMissing(const std::string& group, const std::string& key, const std::wstring& path) {
    Fail(L"there is no " + WideFromUtf8(key) + L" in group " + WideFromUtf8(group) + L" of " + path +
         L"; \"stewardConfig list\" shows what there is, and \"set --create\" adds a key");
}

} // namespace steward::configtool
