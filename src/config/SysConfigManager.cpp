#include "config/SysConfigManager.h"

#include "config/ConfigDocument.h"
#include "config/FileText.h"
#include "config/SaveCfgHelper.h"
#include "util/Log.h"
#include "util/Std_Utils_File.h"
#include "util/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

namespace steward {
namespace {

constexpr LogSource kLog{kConfigModule, L"core\\coreConfigRepository\\SysConfigManager.cpp"};

constexpr const wchar_t* kPasswordTypeConfigs[] = {
    L"ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD",
    L"ORPL_CFG_KAVRI_CS_PROXY_AUTHPWD",
    L"ORPL_CFG_KAVRI_DC_PROXY_AUTHPWD",
    L"ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD",
};

std::wstring PathOf(const std::wstring& folder, const std::wstring& file) {
    return folder.empty() ? file : folder + L"\\" + file;
}

std::wstring XPathOf(const std::wstring& group, const std::wstring& name) {
    const std::wstring groupPath = L"/SysConfigManager/" + group;
    return name.empty() ? groupPath : groupPath + L"/" + name;
}

// Keeps whatever an operation throws, running out of memory first of all, inside the manager.
template <typename Result, typename Operation> Result Guarded(Result onException, Operation operation) {
    try {
        return operation();
    } catch (...) {
        return onException;
    }
}

} // namespace

SysConfigManager::SysConfigManager(std::wstring folderPath, std::wstring configFileName)
    : m_wstrFolderPath(std::move(folderPath)), m_wstrConfigFileName(std::move(configFileName)) {}

bool SysConfigManager::Load() {
    return loadFile(m_wstrFolderPath, m_wstrConfigFileName);
}

bool SysConfigManager::loadFile(const std::wstring& folderPath, const std::wstring& configFileName) {
    Guarded(false, [&] {
        STEWARD_LOG(2, L"==> SysConfigManager::loadFile,pwszFolderPath = ", folderPath,
                    L", pwszConfigFileName = ", configFileName);
        const std::wstring path = PathOf(folderPath, configFileName);
        if (IsFileExist(path.c_str())) {
            ReadAndParse(path);
        }
        return true;
    });
    STEWARD_LOG(2, L"<== SysConfigManager::loadFile,m_bIsConfigReady = ", m_bIsConfigReady);
    return m_bIsConfigReady;
}

void SysConfigManager::ReadAndParse(const std::wstring& path) {
    auto text = ReadEncryptedText(path);
    if (!text) {
        return;
    }
    if (m_managedDoc == nullptr) {
        m_managedDoc = std::make_unique<ConfigDocument>().release();
    }
    m_bIsConfigReady = Parse(std::move(*text));
}

bool SysConfigManager::Parse(std::string text) {
    try {
        const auto result = m_managedDoc->Parse(std::move(text));
        switch (result.outcome) {
        case ConfigDocument::Outcome::Parsed:
            return true;
        case ConfigDocument::Outcome::NoRoot:
            STEWARD_LOG(3, L"system_config.cfg parse failed. There's no root element");
            return false;
        case ConfigDocument::Outcome::SyntaxError:
            STEWARD_LOG(3, L"system_config.cfg parse failed.");
            STEWARD_LOG(3, L"description: ", result.description);
            STEWARD_LOG(3, L"detailed: row = ", result.row, L", col = ", result.column);
            return false;
        case ConfigDocument::Outcome::Refused:
            break;
        }
    } catch (...) { // logged below
    }
    STEWARD_LOG(3, L"system_config.cfg parse failed.");
    return false;
}

bool SysConfigManager::Reload(const std::wstring& folderPath, const std::wstring& configFileName) {
    return Guarded(false, [&] {
        STEWARD_LOG(2, L"==> SysConfigManager::Reload,pwszFolderPath = ", folderPath,
                    L", pwszConfigFileName = ", configFileName);
        m_bIsConfigReady = false;
        Unload();
        const bool result = loadFile(folderPath, configFileName);
        STEWARD_LOG(2, L"<== SysConfigManager::Reload,bResult = ", result);
        return result;
    });
}

bool SysConfigManager::Unload() {
    if (m_managedDoc != nullptr) {
        const std::unique_ptr<ConfigDocument> owner(std::exchange(m_managedDoc, nullptr));
        m_bIsConfigReady = false;
    }
    return true;
}

uint32_t SysConfigManager::GetSysConfig(const std::wstring& groupName, const std::wstring& configName,
                                        std::wstring& value) {
    if (configName.empty()) {
        return SYSCONFIG_FAILURE;
    }
    return Guarded(SYSCONFIG_FAILURE, [&] {
        const std::wstring xpath = XPathOf(groupName, configName);
        for (const TiXmlNode* const node : Select(xpath)) {
            if (const TiXmlElement* const element = node->ToElement()) {
                value = WideFromUtf8(TextOf(*element));
                return SYSCONFIG_SUCCESS;
            }
        }
        STEWARD_LOG(3, L"GetSysConfig failed, id=", configName, L", xpath=[", xpath, L"]");
        return SYSCONFIG_FAILURE;
    });
}

uint32_t SysConfigManager::SetSysConfig(const std::wstring& groupName, const std::wstring& configName,
                                        const std::wstring& newValue) {
    return Guarded(SYSCONFIG_FAILURE, [&] {
        if (!IsPasswordTypeConfig(configName)) {
            STEWARD_LOG(2, L"==> SysConfigManager::SetSysConfig,wstrGroupName = ", groupName,
                        L", wstrConfigName = ", configName, L", wstrNewValue = ", newValue);
        }
        uint32_t result = SYSCONFIG_FAILURE;
        const auto nodes = Select(XPathOf(groupName, configName));
        if (!nodes.empty()) {
            SetText(*nodes.front(), Utf8FromWide(newValue));
            result = SYSCONFIG_SUCCESS;
        }
        STEWARD_LOG(2, L"<== SysConfigManager::SetSysConfig,bRet = ", result);
        return result;
    });
}

uint32_t SysConfigManager::ListAllSysConfig(std::vector<SysConfig>& list) {
    return Guarded(SYSCONFIG_FAILURE, [&] {
        const std::wstring xpath = XPathOf(L"*", L"");
        const auto groups = Select(xpath);
        if (groups.empty()) {
            STEWARD_LOG(3, L"getXmlNodesByPath failed, xpath=[", xpath, L"]");
            return SYSCONFIG_FAILURE;
        }
        STEWARD_LOG(2, L"getXmlNodesByPath succeeds, groupNodeList.size() = ", groups.size());
        for (size_t i = 0; i < groups.size(); ++i) {
            if (const TiXmlElement* const group = groups[i]->ToElement()) {
                ListGroup(i, *group, list);
            }
        }
        return SYSCONFIG_SUCCESS;
    });
}

void SysConfigManager::ListGroup(size_t index, const TiXmlElement& group, std::vector<SysConfig>& list) {
    const std::wstring groupName = WideFromUtf8(group.Value());
    if (groupName.empty()) {
        STEWARD_LOG(2, L"groupNodeList[", index, L"]->Value() returns an empty string");
        return;
    }
    STEWARD_LOG(2, L"groupNodeList[", index, L"]->Value() returns ", groupName);
    for (auto* element = group.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        list.push_back({groupName, WideFromUtf8(element->Value()), WideFromUtf8(TextOf(*element))});
        const SysConfig& config = list.back();
        if (IsPasswordTypeConfig(config.name)) {
            STEWARD_LOG(2, L"Found a config: Group = ", config.group, L", config name = ", config.name);
        } else {
            STEWARD_LOG(2, L"Found a config: Group = ", config.group, L", config name = ", config.name,
                        L", value = ", config.value);
        }
    }
}

bool SysConfigManager::saveFile(const std::wstring& folderPath, const std::wstring& configFileName,
                                bool writeThrough) {
    return Guarded(false, [&] {
        STEWARD_LOG(2, L"==> SysConfigManager::saveFile,pwszFolderPath = ", folderPath,
                    L", pwszConfigFileName = ", configFileName);
        if (m_managedDoc == nullptr) {
            STEWARD_LOG(5, L"SysConfigManager::saveFile Fail. m_managedDoc is NULL, return false.");
            return false;
        }
        if (!m_managedDoc->HasRoot()) {
            STEWARD_LOG(5, L"SysConfigManager::saveFile Fail!. Return false.");
            return false;
        }
        const SaveCfgHelper saveHelper(m_managedDoc->Print());
        const std::wstring path = PathOf(folderPath, configFileName);
        if (!saveHelper.Save(path, writeThrough)) {
            STEWARD_LOG(5, L"saveHelper.Save(", path, L", ", writeThrough, L") fail. Return false.");
            return false;
        }
        STEWARD_LOG(2, L"<== SysConfigManager::saveFile,Return true");
        return true;
    });
}

bool SysConfigManager::IsPasswordTypeConfig(const std::wstring& configName) {
    return std::find(std::begin(kPasswordTypeConfigs), std::end(kPasswordTypeConfigs), configName) !=
           std::end(kPasswordTypeConfigs);
}

std::vector<TiXmlNode*> SysConfigManager::Select(const std::wstring& xpath) const {
    return m_managedDoc == nullptr ? std::vector<TiXmlNode*>() : m_managedDoc->Select(Utf8FromWide(xpath));
}

} // namespace steward
