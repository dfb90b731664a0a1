// The platform's configuration file "system_config.cfg" in memory: values by group and configuration name.
// Used by one thread at a time. Nothing throws; failures are result values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class TiXmlElement;
class TiXmlNode;

namespace steward {

class ConfigDocument;

inline constexpr wchar_t kSysConfigFileName[] = L"system_config.cfg";
inline constexpr uint32_t SYSCONFIG_SUCCESS = 0x20FF0000;
inline constexpr uint32_t SYSCONFIG_FAILURE = 0xE0FF0001;

struct SysConfig {
    std::wstring group;
    std::wstring name;
    std::wstring value;
};

class SysConfigManager {
  public:
    SysConfigManager(std::wstring folderPath, std::wstring configFileName);
    SysConfigManager(const SysConfigManager&) = delete;
    SysConfigManager& operator=(const SysConfigManager&) = delete;
    // Leaves the document alone: whoever loads, unloads.
    ~SysConfigManager() = default;

    // Whether the manager is ready now. A missing or undecryptable file changes nothing; a text that does not
    // parse leaves an empty document.
    bool Load();
    bool loadFile(const std::wstring& folderPath, const std::wstring& configFileName);
    // Drops what was loaded before it loads.
    bool Reload(const std::wstring& folderPath, const std::wstring& configFileName);
    // Frees the document. Always true.
    bool Unload();

    // SYSCONFIG_SUCCESS, or SYSCONFIG_FAILURE with `value` unchanged when nothing is found. Of several
    // elements of one name the first counts.
    uint32_t GetSysConfig(const std::wstring& groupName, const std::wstring& configName, std::wstring& value);
    // Changes an existing element in memory. SYSCONFIG_FAILURE, nothing changed, when there is none.
    uint32_t SetSysConfig(const std::wstring& groupName, const std::wstring& configName,
                          const std::wstring& newValue);
    // Appends every configuration in document order. SYSCONFIG_FAILURE when there is no group.
    uint32_t ListAllSysConfig(std::vector<SysConfig>& list);

    // Writes the root element encrypted, over an existing file.
    bool saveFile(const std::wstring& folderPath, const std::wstring& configFileName, bool writeThrough);

    static bool IsPasswordTypeConfig(const std::wstring& configName);

  private:
    void ReadAndParse(const std::wstring& path);
    bool Parse(std::string text);
    [[nodiscard]] std::vector<TiXmlNode*> Select(const std::wstring& xpath) const;
    static void ListGroup(size_t index, const TiXmlElement& group, std::vector<SysConfig>& list);

    bool m_bIsConfigReady = false;
    std::wstring m_wstrFolderPath;
    std::wstring m_wstrConfigFileName;
    ConfigDocument* m_managedDoc = nullptr; // owned; freed by Unload and Reload only
};

} // namespace steward
