#include "lifecycle/VigilRegistryRecovery.h"

#include "lifecycle/Locations.h"
#include "util/Log.h"
#include "util/RegKey.h"

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

std::wstring LegacyDeviceKey(const wchar_t* name) {
    return std::wstring(L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_") + name;
}

bool ReadLogged(std::wstring& value, const std::wstring& key, const wchar_t* item) {
    if (!ReadHKLMString(value, key, item)) {
        return false;
    }
    STEWARD_LOG(2, L"Success to read registry: key=", key, L", item=", item, L", value=", value);
    return true;
}

// The service points to a device instance, and the instance's key names its class.
bool IsDeviceNodeSound(const wchar_t* name) {
    std::wstring instancePath;
    if (!ReadLogged(instancePath, DriverServiceKey(name) + L"\\Enum\\", L"0")) {
        return false;
    }
    const std::wstring instanceId = instancePath.substr(instancePath.rfind(L'\\') + 1);
    std::wstring classGuid;
    return ReadLogged(classGuid, LegacyDeviceKey(name) + L"\\" + instanceId + L"\\", L"ClassGUID");
}

// From its parent: opening HKEY_LOCAL_MACHINE itself answers the predefined handle, and closing that closes
// it for the whole host process. The parent's access rights do not matter for the deletion.
bool DeleteKeyLogged(const std::wstring& path) {
    const size_t last = path.rfind(L'\\');
    RegKey parent;
    const bool deleted =
        parent.Open(HKEY_LOCAL_MACHINE, path.substr(0, last).c_str(), KEY_READ) == ERROR_SUCCESS &&
        parent.RecurseDeleteKey(path.c_str() + last + 1) == ERROR_SUCCESS;
    if (deleted) {
        STEWARD_LOG(2, L"Success to delete registry: key=", path);
    } else {
        STEWARD_LOG(5, L"Fail to delete registry: key=", path);
    }
    return deleted;
}

bool Recover(const wchar_t* name) {
    if (name == nullptr || *name == L'\0') {
        return false;
    }
    if (IsDeviceNodeSound(name)) {
        return true;
    }
    if (!DeleteDrvEnumRegistry(name)) {
        STEWARD_LOG(5, L"Fail to delete Vigil related registry!");
        return false;
    }
    STEWARD_LOG(2, L"Success to delete Vigil related registry.");
    return true;
}

} // namespace

bool DeleteDrvEnumRegistry(const wchar_t* name) {
    const bool serviceEnumDeleted = DeleteKeyLogged(DriverServiceKey(name) + L"\\Enum");
    const bool legacyDeviceDeleted = DeleteKeyLogged(LegacyDeviceKey(name));
    return serviceEnumDeleted && legacyDeviceDeleted;
}

bool RecoverVigilDriverRegistryIfNeeded(const wchar_t* name) {
    STEWARD_LOG(2, L"==> RecoverVigilDriverRegistryIfNeeded,");
    const bool bRet = Recover(name);
    STEWARD_LOG(2, L"<== RecoverVigilDriverRegistryIfNeeded,bRet = ", bRet);
    return bRet;
}

} // namespace steward
