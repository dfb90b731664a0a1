#include "config/SignatureSettings.h"

#include "config/SysConfigManager.h"
#include "util/RegKey.h"

#include <cstdint>
#include <cstdlib>

namespace steward {

bool ReadPlatformFolder(std::wstring& folder) {
    return ReadHKLMString(folder, L"SOFTWARE\\Vexholm\\ORPL", L"InstallDir");
}

const wchar_t* SignaturePolicyNameOf(uint32_t setting) {
    switch (setting) {
    case SP_RESTART_ND_REVERT:
        return L"ORPL_CFG_SP_RESTART_ND_REVERT";
    case SP_MODULE_LOAD:
        return L"ORPL_CFG_SP_MODULE_LOAD";
    case SP_MAIN_OBJECTIVE:
        return L"ORPL_CFG_SP_MAIN_OBJECTIVE";
    default:
        return nullptr;
    }
}

namespace {

// The document is gone also when memory runs out on the way.
class LoadedConfig {
  public:
    explicit LoadedConfig(const std::wstring& folder) : manager_(folder, kSysConfigFileName) {
        manager_.Load();
    }
    LoadedConfig(const LoadedConfig&) = delete;
    LoadedConfig& operator=(const LoadedConfig&) = delete;
    ~LoadedConfig() { manager_.Unload(); }

    SysConfigManager* operator->() { return &manager_; }

  private:
    SysConfigManager manager_;
};

} // namespace

bool QuerySignaturePolicySetting(uint32_t setting, const wchar_t* folder) {
    std::wstring installFolder;
    if (folder != nullptr && *folder != L'\0') {
        installFolder = folder;
    } else if (!ReadPlatformFolder(installFolder)) {
        return false;
    }
    const wchar_t* const configName = SignaturePolicyNameOf(setting);
    if (configName == nullptr) {
        return false;
    }
    std::wstring value;
    LoadedConfig(installFolder)->GetSysConfig(kSignaturePolicyGroup, configName, value);
    return MeansOn(value);
}

bool MeansOn(const std::wstring& value) {
    return _wtoi(value.c_str()) == 1;
}

} // namespace steward
