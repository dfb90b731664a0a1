// get and list.
#include "CommandLine.h"
#include "Commands.h"
#include "Failure.h"
#include "Names.h"
#include "util/Utf8.h"

#include <algorithm>

namespace steward::configtool {

namespace {

// One line and one column: control characters as a C string shows them.
std::string Escaped(const std::string& value) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : value) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\r' || c == '\t') {
            text += c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
        } else if (code < 0x20 || code == 0x7F) {
            text += {'\\', 'x', kDigits[code >> 4], kDigits[code & 0xF]};
        } else {
            text += c;
        }
    }
    return text;
}

void HideSecret(Setting& setting) {
    constexpr char kStars[] = "********";
    if (setting.IsPassword()) {
        setting.value = kStars;
    }
}

} // namespace

Answer Get(const tools::ReadLine& line) {
    const auto [group, key] = NamesOf(line);
    const std::wstring path = ConfigurationPath(line);
    auto setting = Configuration::FromFile(path).Find(group, key);
    if (!setting) {
        FailForMissing(group, key, path);
    }
    if (!line.Has("--show-secrets")) {
        HideSecret(*setting);
    }
    return {setting->value + "\n", Utf8FromWide(path), {*setting}, {}};
}

Answer List(const tools::ReadLine& line) {
    const std::wstring path = ConfigurationPath(line);
    Answer answer{"", Utf8FromWide(path), Configuration::FromFile(path).Settings(), {}};
    if (!line.Has("--show-secrets")) {
        std::for_each(answer.settings.begin(), answer.settings.end(), HideSecret);
    }
    for (const auto& [group, key, value] : answer.settings) {
        answer.text += group + "\t" + key + "\t" + Escaped(value) + "\n";
    }
    return answer;
}

} // namespace steward::configtool
