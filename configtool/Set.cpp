#include "CommandLine.h"
#include "Commands.h"
#include "ConfigurationLock.h"
#include "Failure.h"
#include "Names.h"
#include "Store.h"
#include "ValueInput.h"
#include "Warnings.h"
#include "util/Utf8.h"

namespace steward::configtool {

namespace {

constexpr wchar_t kFromInput[] = L"-";

std::string ValueFor(const tools::ReadLine& line, const Setting& setting) {
    const std::wstring& value = line.operands[2];
    if (value == kFromInput) {
        return ReadValue();
    }
    if (setting.IsPassword()) {
        Refuse(line, setting.key +
                         " is a password, and every user can see a command line; give - as the value, "
                         "and the password on standard input");
    }
    std::string text = Utf8FromWide(value);
    if (WideFromUtf8(text) != value) {
        Fail(L"the value holds half a character and cannot be stored; type it anew");
    }
    return text;
}

void Change(Configuration& configuration, const Setting& setting, bool isCreated, const std::wstring& path) {
    if (configuration.Set(setting)) {
        return;
    }
    if (!isCreated) {
        FailForMissing(setting.group, setting.key, path);
    }
    configuration.Add(setting);
    if (configuration.Find(setting.group, setting.key)) {
        return;
    }
    Fail(L"\"" + WideFromUtf8(setting.group) + L"\" or \"" + WideFromUtf8(setting.key) +
         L"\" cannot be a name in the file; a letter or _ comes first, then letters, digits, _, - and .");
}

// A NUL ends a text.
void CheckKept(const Configuration& configuration, const Setting& setting) {
    const auto kept = configuration.Find(setting.group, setting.key);
    if (!kept || kept->value != setting.value) {
        Fail(L"the value holds a NUL, which the file cannot keep; leave it out");
    }
}

} // namespace

Answer Set(const tools::ReadLine& line) {
    const auto [group, key] = NamesOf(line);
    Setting setting{group, key, ""};
    const unsigned seconds = SecondsToWait(line);
    const std::wstring path = ConfigurationPath(line);
    setting.value = ValueFor(line, setting);

    const ConfigurationLock lock(path, seconds);
    auto configuration = Configuration::FromFile(path);
    configuration.CheckRoot(path);
    Change(configuration, setting, line.Has("--create"), path);
    CheckKept(configuration, setting);
    Store(configuration, path);
    return {"", Utf8FromWide(path), {}, WarningsFor({setting})};
}

} // namespace steward::configtool
