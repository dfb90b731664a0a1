#include "e2e/Machine.h"
#include "lifecycle/DriverFiles.h"
#include "lifecycle/Locations.h"
#include "lifecycle/SharedDriverRegistry.h"
#include "lifecycle/VigilRegistryRecovery.h"
#include "support/LogCapture.h"
#include "util/RegKey.h"

#include <gtest/gtest.h>

#include <optional>

namespace steward::test {

namespace {

std::string Line(uint32_t level, const std::wstring& text) {
    return LogLine(level, L"System Driver Installation", L"driverSteward.cpp", text);
}

bool KeyExists(const std::wstring& path) {
    RegKey key;
    return key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ) == ERROR_SUCCESS;
}

void DeleteKey(const std::wstring& path) {
    RegKey machine;
    machine.Open(HKEY_LOCAL_MACHINE, L"", KEY_ALL_ACCESS);
    machine.RecurseDeleteKey(path.c_str());
}

} // namespace

// Faults: a sound device node is deleted; a broken one is kept; the second deletion depends on the first; the
// tree beneath the legacy key stays.
TEST(VigilRegistryRecovery, RepairsWhatIsBrokenAndNothingElse) {
    const std::wstring service = DriverServiceKey(L"qxactmon");
    const std::wstring enumKey = service + L"\\Enum";
    const std::wstring legacyKey = L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_qxactmon";
    const std::string linkRead = Line(2, L"Success to read registry: key=" + enumKey +
                                             L"\\, item=0, value=Root\\LEGACY_QXACTMON\\0000");
    const std::string classRead = Line(2, L"Success to read registry: key=" + legacyKey +
                                              L"\\0000\\, item=ClassGUID, value={8ECC055D}");
    const auto success = [](const std::wstring& key) {
        return Line(2, L"Success to delete registry: key=" + key);
    };
    const auto failure = [](const std::wstring& key) {
        return Line(5, L"Fail to delete registry: key=" + key);
    };
    const std::string repaired = Line(2, L"Success to delete Vigil related registry.");
    const std::string notRepaired = Line(5, L"Fail to delete Vigil related registry!");

    struct Case {
        const char* situation;
        bool link, legacy, classGuid;
        bool result;
        Transcript lines; // between entry and exit
    };
    const Case cases[] = {
        {"sound", true, true, true, true, {linkRead, classRead}},
        {"ClassGUID missing",
         true,
         true,
         false,
         true,
         {linkRead, success(enumKey), success(legacyKey), repaired}},
        {"legacy key absent",
         true,
         false,
         false,
         false,
         {linkRead, success(enumKey), failure(legacyKey), notRepaired}},
        {"link missing", false, true, true, false, {failure(enumKey), success(legacyKey), notRepaired}},
        {"nothing there", false, false, false, false, {failure(enumKey), failure(legacyKey), notRepaired}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.situation);
        DeleteKey(service);
        DeleteKey(legacyKey);
        if (each.link) {
            WriteHKLMString(L"Root\\LEGACY_QXACTMON\\0000", enumKey, L"0");
        }
        if (each.legacy) {
            WriteHKLMDword(1, legacyKey + L"\\0000\\Control", L"Active");
        }
        if (each.classGuid) {
            WriteHKLMString(L"{8ECC055D}", legacyKey + L"\\0000", L"ClassGUID");
        }
        LogCapture log;
        EXPECT_EQ(RecoverVigilDriverRegistryIfNeeded(L"qxactmon"), each.result);
        Transcript expected = {Line(2, L"==> RecoverVigilDriverRegistryIfNeeded,")};
        expected.insert(expected.end(), each.lines.begin(), each.lines.end());
        expected.push_back(Line(2, each.result ? L"<== RecoverVigilDriverRegistryIfNeeded,bRet = 1"
                                               : L"<== RecoverVigilDriverRegistryIfNeeded,bRet = 0"));
        EXPECT_EQ(log.Take(), expected);
        const bool sound = each.link && each.classGuid;
        EXPECT_EQ(KeyExists(enumKey), sound);
        EXPECT_EQ(KeyExists(legacyKey), sound);
    }
    EXPECT_FALSE(RecoverVigilDriverRegistryIfNeeded(nullptr));
    EXPECT_FALSE(RecoverVigilDriverRegistryIfNeeded(L""));
    DeleteKey(service);
    DeleteKey(legacyKey);
}

// Fault: the link missing while the service's Enum key is there leaves one of the two keys.
TEST(VigilRegistryRecovery, AValueMissingInAPresentKeyIsRepaired) {
    const std::wstring service = DriverServiceKey(L"qxevtmgr");
    WriteHKLMDword(1, service + L"\\Enum", L"Count");
    WriteHKLMString(L"{8ECC055D}", L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_qxevtmgr\\0000",
                    L"ClassGUID");
    EXPECT_TRUE(RecoverVigilDriverRegistryIfNeeded(L"qxevtmgr"));
    EXPECT_FALSE(KeyExists(service + L"\\Enum"));
    EXPECT_FALSE(KeyExists(L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_qxevtmgr"));
    DeleteKey(service);
}

TEST(SharedDriverRegistry, StartTypeFollowsTheVersion) {
    struct Case {
        int code;
        uint32_t minor;
        uint8_t product;
        uint32_t start;
    };
    for (const Case& each : {Case{1, 2, 1, 1},
                             {70, 1, 1, 0},
                             {70, 1, 3, 1},
                             {70, 1, 2, 1},
                             {70, 0, 1, 1},
                             {-99, 1, 1, 1},
                             {80, 2, 3, 0},
                             {81, 3, 1, 0},
                             {100, 0, 1, 0},
                             {101, 1, 3, 0}}) {
        EXPECT_EQ(QxcommStartType(each.code, each.minor, each.product), each.start)
            << each.code << "." << each.minor;
    }
}

// Faults: a count that cannot be read becomes 2; a value that cannot be written ends the procedure or its
// result.
TEST(SharedDriverRegistry, CountsThePlatformAsOneMoreHolder) {
    const std::wstring key = DriverServiceKey(L"qxcomm");
    DeleteKey(key);
    LogCapture log;
    EXPECT_FALSE(ModifyQxcommRegistry());
    EXPECT_EQ(log.Take(),
              (Transcript{Line(2, L"==> ModifyQxcommRegistry,"), Line(5, L"fail to open registry: " + key),
                          Line(2, L"<== ModifyQxcommRegistry,bRet = 0")}));

    WriteHKLMDword(3, key, L"PermCount");
    WriteHKLMDword(1, key, L"DeleteFlag");
    EXPECT_TRUE(ModifyQxcommRegistry());
    EXPECT_EQ(log.Take(), (Transcript{Line(2, L"==> ModifyQxcommRegistry,"),
                                      Line(2, L"<== ModifyQxcommRegistry,bRet = 1")}));
    EXPECT_EQ(RegistryNumber(key, L"PermCount"), 4);
    EXPECT_EQ(RegistryNumber(key, L"DeleteFlag"), std::nullopt);
    EXPECT_EQ(RegistryNumber(key, L"InstalledByOrpl"), 1);

    DeleteRegistryValue(key, L"PermCount");
    const ImportPatch<"RegSetValueExW", decltype(RegSetValueExW)> set(
        GetModuleHandleW(nullptr),
        [&](HKEY handle, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD bytes) -> LSTATUS {
            return std::wstring(name) == L"PermCount"
                       ? set.Original(handle, name, reserved, type, data, bytes)
                       : ERROR_ACCESS_DENIED;
        });
    EXPECT_TRUE(ModifyQxcommRegistry());
    EXPECT_EQ(log.Take(), (Transcript{Line(2, L"==> ModifyQxcommRegistry,"),
                                      Line(3, L"fail to query registry: " + key + L"\\PermCount"),
                                      Line(3, L"fail to delete registry: " + key + L"\\DeleteFlag"),
                                      Line(3, L"fail to set registry: " + key + L"\\Start"),
                                      Line(3, L"fail to set registry: " + key + L"\\InstalledByOrpl"),
                                      Line(2, L"<== ModifyQxcommRegistry,bRet = 1")}));
    EXPECT_EQ(RegistryNumber(key, L"PermCount"), 1);
    DeleteKey(key);
}

TEST(DriverFiles, AbsentFoldersAreRefused) {
    EXPECT_FALSE(ReplaceDrvFiles(nullptr, L"C:\\", L".sys"));
    EXPECT_FALSE(ReplaceDrvFiles(L"C:\\", nullptr, L".sys"));
}

TEST(PackageFolder, IsReadToItsEndAndNormalised) {
    struct Case {
        std::wstring path, folder;
    };
    for (const Case& each :
         {Case{L"", L""},
          {L"C:/a/b", L"C:\\a\\b\\"},
          {L"C:\\a\\\\", L"C:\\a\\"},
          {std::wstring(DRV_INFO_PATH_UNITS, L'x'), std::wstring(DRV_INFO_PATH_UNITS, L'x') + L"\\"}}) {
        DrvInfo record{};
        record.action = 0x41414141; // what follows the path must not be read as its end
        std::copy(each.path.begin(), each.path.end(), record.path);
        EXPECT_EQ(PackageFolder(record), each.folder);
    }
}

} // namespace steward::test
