#include "Store.h"

#include "Failure.h"
#include "Replacement.h"
#include "util/Utf8.h"

#include <algorithm>

namespace steward::configtool {

namespace {

bool IsSame(const Setting& a, const Setting& b) {
    return a.group == b.group && a.key == b.key && a.value == b.value;
}

// Names the first setting that is another one, or gone, when it is read back.
[[noreturn]] void FailForLoss(const Configuration& wanted, const Configuration& read) {
    const auto before = wanted.Settings();
    const auto after = read.Settings();
    const auto lost = std::mismatch(before.begin(), before.end(), after.begin(), after.end(), IsSame).first;
    if (lost == before.end()) {
        Fail(
            L"the configuration would not be read back as it is; keep to groups, keys and texts. Nothing was "
            L"changed");
    }
    Fail(
        L"the value of " + WideFromUtf8(lost->key) + L" in group " + WideFromUtf8(lost->group) +
        L" would not be read back as it is: blanks at its ends and double blanks do not survive in the file. "
        L"Nothing was changed");
}

} // namespace

void Store(const Configuration& configuration, const std::wstring& path) {
    const std::string bytes = configuration.Encrypt();
    const Configuration read = Configuration::FromEncrypted(bytes);
    if (read.Print() != configuration.Print()) {
        FailForLoss(configuration, read);
    }
    Replacement replacement(path, Replacement::Access::AsReplaced);
    replacement.Write(bytes);
    replacement.TakeOver();
}

} // namespace steward::configtool
