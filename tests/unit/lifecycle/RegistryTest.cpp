#include "e2e/Machine.h"
#include "lifecycle/SharedDriverRegistry.h"
#include "lifecycle/VigilRegistryRecovery.h"
#include "support/LogCapture.h"
#include "util/RegKey.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <regex>

namespace steward::test {

// The lines so far, without module tag and file, and keys without the part that is the same in all.
static std::string Lines(LogCapture& log) {
    const std::regex same(" System Driver Installation driverSteward.cpp:|SYSTEM.CurrentControlSet.");
    return std::regex_replace(Joined(log.Take()), same, "");
}

static bool KeyExists(const std::wstring& path) {
    return RegKey().Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ) == ERROR_SUCCESS;
}

// Faults: a sound device node is deleted; a broken one is kept, or one of its two keys, or the tree beneath;
// the second deletion depends on the first.
TEST(VigilRegistryRecovery, RepairsWhatIsBrokenAndNothingElse) {
    const std::wstring service = ServiceKey(L"qxactmon");
    const std::wstring legacy = L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_qxactmon";
    const std::string enumKey = "registry: key=Services\\qxactmon\\Enum";
    const std::string legacyKey = "registry: key=Enum\\Root\\LEGACY_qxactmon";
    const std::string link = "2 Success to read " + enumKey + "\\, item=0, value=Root\\LEGACY_X\\0000\n";
    const std::string sound =
        link + "2 Success to read " + legacyKey + "\\0000\\, item=ClassGUID, value={8E}\n";
    const std::string enumGone = "2 Success to delete " + enumKey + "\n";
    const std::string enumFails = "5 Fail to delete " + enumKey + "\n";
    const std::string legacyGone = "2 Success to delete " + legacyKey + "\n";
    const std::string legacyFails = "5 Fail to delete " + legacyKey + "\n";
    const std::string repaired = "2 Success to delete Vigil related registry.\n";
    const std::string notRepaired = "5 Fail to delete Vigil related registry!\n";
    const wchar_t* const name = L"qxactmon";
    // The driver; the name of the only value in its Enum key and in its legacy key, null without that key;
    // the result; the lines between entry and exit.
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*, bool, std::string> cases[] = {
        {name, L"0", L"ClassGUID", true, sound},
        {name, L"0", L"Other", true, link + enumGone + legacyGone + repaired},
        {name, L"0", nullptr, false, link + enumGone + legacyFails + notRepaired},
        {name, L"Count", L"ClassGUID", true, enumGone + legacyGone + repaired},
        {name, nullptr, L"ClassGUID", false, enumFails + legacyGone + notRepaired},
        {name, nullptr, nullptr, false, enumFails + legacyFails + notRepaired},
        {nullptr, L"0", L"Other", false, ""},
        {L"", L"0", L"Other", false, ""},
    };
    for (const auto& [driver, enumValue, legacyValue, result, lines] : cases) {
        if (enumValue != nullptr) {
            WriteHKLMString(L"Root\\LEGACY_X\\0000", service + L"\\Enum", enumValue);
        }
        if (legacyValue != nullptr) {
            WriteHKLMString(L"{8E}", legacy + L"\\0000", legacyValue);
        }
        LogCapture log;
        EXPECT_EQ(RecoverVigilDriverRegistryIfNeeded(driver), result);
        EXPECT_EQ(Lines(log),
                  "2 ==> RecoverVigilDriverRegistryIfNeeded,\n" + lines +
                      "2 <== RecoverVigilDriverRegistryIfNeeded,bRet = " + std::to_string(result) + "\n");
        const bool stays = lines.empty() || lines == sound;
        EXPECT_EQ(KeyExists(service + L"\\Enum"), stays) << lines;
        EXPECT_EQ(KeyExists(legacy), stays) << lines;
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, service.c_str());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, legacy.c_str());
    }
}

// Fault: a shared driver that starts too late, or too early for the system, on some version.
TEST(SharedDriverRegistry, StartTypeFollowsTheVersion) {
    const std::tuple<int32_t, uint32_t, uint8_t> systems[] = {
        {-99, 1, 1}, {1, 2, 1},  {70, 0, 1}, {70, 0, 3},  {70, 1, 1}, {70, 1, 2},
        {70, 1, 3},  {80, 2, 3}, {81, 3, 1}, {100, 0, 1}, {101, 1, 3}};
    std::string starts;
    for (const auto& [code, minor, product] : systems) {
        starts += std::to_string(QxcommStartType(code, minor, product));
    }
    EXPECT_EQ(starts, "11110110000");
}

} // namespace steward::test
