#include "lifecycle/SharedDriverRegistry.h"

#include "lifecycle/Locations.h"
#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "util/Log.h"
#include "util/RegKey.h"

#include <cstdint>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

void CountPlatformAsHolder(const RegKey& key, const std::wstring& path) {
    uint32_t permCount = 0;
    if (key.QueryDWORDValue(permCount, L"PermCount") == ERROR_SUCCESS) {
        key.SetDWORDValue(permCount + 1, L"PermCount");
        return;
    }
    key.SetDWORDValue(1, L"PermCount");
    STEWARD_LOG(3, L"fail to query registry: ", path, L"\\", L"PermCount");
}

void SetNumber(const RegKey& key, const std::wstring& path, uint32_t value, const wchar_t* name) {
    if (key.SetDWORDValue(value, name) != ERROR_SUCCESS) {
        STEWARD_LOG(3, L"fail to set registry: ", path, L"\\", name);
    }
}

bool TakeOverServiceKey(RegKey& key, const std::wstring& path) {
    if (key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_ALL_ACCESS) != ERROR_SUCCESS) {
        STEWARD_LOG(5, L"fail to open registry: ", path);
        return false;
    }
    CountPlatformAsHolder(key, path);
    if (key.DeleteValue(L"DeleteFlag") != ERROR_SUCCESS) {
        STEWARD_LOG(3, L"fail to delete registry: ", path, L"\\", L"DeleteFlag");
    }
    SetNumber(key, path,
              QxcommStartType(OsVersionCode, OsVersionRecord.dwMinorVersion, OsVersionRecord.wProductType),
              L"Start");
    SetNumber(key, path, 1, L"InstalledByOrpl");
    return true;
}

} // namespace

uint32_t QxcommStartType(int32_t osVersionCode, uint32_t minor, uint8_t productType) {
    const bool bootStart = osVersionCode >= 80 || IsWindows7Client(osVersionCode, minor, productType);
    return bootStart ? SERVICE_BOOT_START : SERVICE_SYSTEM_START;
}

bool IsQxcommInstalledByOthers() {
    uint32_t installedByOrpl = 0;
    return !ReadHKLMDword(installedByOrpl, DriverServiceKey(kSharedDriver), L"InstalledByOrpl") ||
           installedByOrpl == 0;
}

bool ModifyQxcommRegistry() {
    STEWARD_LOG(2, L"==> ModifyQxcommRegistry,");
    RegKey key;
    const bool bRet = TakeOverServiceKey(key, DriverServiceKey(kSharedDriver));
    STEWARD_LOG(2, L"<== ModifyQxcommRegistry,bRet = ", bRet);
    return bRet;
}

} // namespace steward
