#include "config/SysConfigManager.h"

#include "support/ConfigFolder.h"
#include "support/Fault.h"
#include "support/LogCapture.h"
#include "util/Log.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <regex>

namespace steward::test {

constexpr LogSource kLog{kConfigModule, L"SaveCfgHelper.h"};
constexpr char kOneKey[] = "<SysConfigManager><G><k>1</k></G></SysConfigManager>";

class Manager : public testing::Test {
  protected:
    ~Manager() override { manager_.Unload(); }

    // Of a key in group G; "none" when there is none.
    std::wstring Value(const std::wstring& name) {
        std::wstring value = L"none";
        const uint32_t result = manager_.GetSysConfig(L"G", name, value);
        EXPECT_EQ(result, value == L"none" ? SYSCONFIG_FAILURE : SYSCONFIG_SUCCESS);
        return value;
    }

    // Since the last call, without the encryption's; "M" marks the manager's own, "S" the writer's.
    std::string Lines() {
        Transcript lines = log_.Take();
        std::erase_if(lines, [](const std::string& line) { return line.find("Util COMMON") != line.npos; });
        const std::regex own(" Core Config Repository core.coreConfigRepository.SysConfigManager.cpp:");
        const std::regex writers(" Core Config Repository SaveCfgHelper.h:");
        return std::regex_replace(std::regex_replace(Joined(lines), own, "M"), writers, "S");
    }

    ConfigFolder folder_;
    SysConfigManager manager_{L".", kSysConfigFileName};
    LogCapture log_;
};

// Faults: not the first of several elements; a value where there is none; a file that cannot be read costs
// what was loaded; Reload keeps that, or changes where Load looks; lines added or lost.
TEST_F(Manager, LoadsAnswersReloadsAndUnloads) {
    folder_.WriteConfig("<SysConfigManager><G><k>first</k><k>second</k><e/></G></SysConfigManager>");
    EXPECT_TRUE(manager_.Load());
    EXPECT_EQ(Value(L"k") + L"/" + Value(L"e") + L"/" + Value(L"x") + L"/" + Value(L""), L"first//none/none");
    EXPECT_FALSE(manager_.Reload(L"", L"missing.cfg"));
    EXPECT_EQ(Value(L"k"), L"none");
    EXPECT_EQ(Lines(),
              "2M ==> SysConfigManager::loadFile,pwszFolderPath = ., pwszConfigFileName = system_config.cfg\n"
              "2M <== SysConfigManager::loadFile,m_bIsConfigReady = 1\n"
              "3M GetSysConfig failed, id=x, xpath=[/SysConfigManager/G/x]\n"
              "2M ==> SysConfigManager::Reload,pwszFolderPath = , pwszConfigFileName = missing.cfg\n"
              "2M ==> SysConfigManager::loadFile,pwszFolderPath = , pwszConfigFileName = missing.cfg\n"
              "2M <== SysConfigManager::loadFile,m_bIsConfigReady = 0\n"
              "2M <== SysConfigManager::Reload,bResult = 0\n"
              "3M GetSysConfig failed, id=k, xpath=[/SysConfigManager/G/k]\n");
    EXPECT_TRUE(manager_.Load());
    EXPECT_TRUE(manager_.loadFile(L".", L"missing.cfg"));
    for (const char* const import : {"CreateFileW", "ReadFile", "CryptDecrypt"}) {
        const Fault failing(kSelf, import, ERROR_ACCESS_DENIED);
        EXPECT_TRUE(manager_.Load()) << import;
    }
    EXPECT_EQ(Value(L"k"), L"first");
    EXPECT_TRUE(manager_.Unload());
    EXPECT_FALSE(manager_.loadFile(L".", L"missing.cfg"));
    EXPECT_EQ(Value(L"k"), L"none");
}

// Fault: what is thrown leaves the manager because it is no std::exception.
TEST_F(Manager, KeepsWhateverIsThrownInside) {
    folder_.WriteConfig(kOneKey);
    const ImportPatch<"CreateFileW", decltype(CreateFileW)> file(kSelf, [](auto...) -> HANDLE { throw 1; });
    EXPECT_FALSE(manager_.Load());
}

// Fault: what does not parse goes unsaid, is said with a wrong place, or leaves something to look up.
TEST_F(Manager, ReportsWhatDoesNotParse) {
    const std::string refused = "3M system_config.cfg parse failed.\n";
    const std::string noRoot = "3M system_config.cfg parse failed. There's no root element\n";
    const std::string description = refused + "3M description: ";
    const std::pair<std::string, std::string> cases[] = {
        {"<SysConfigManager>\n<G></H></G></SysConfigManager>",
         description + "Error reading end tag.\n3M detailed: row = 0x2, col = 0x4\n"},
        {"noise", description + "Error document empty.\n3M detailed: row = 0, col = 0\n"},
        {"<", noRoot},
        {"<Other><G><k>1</k></G></Other>", noRoot},
        {std::string(kOneKey, sizeof kOneKey), refused}, // with its NUL
        {Repeated("<a>", 1001), refused},
    };
    for (const auto& [text, lines] : cases) {
        folder_.WriteConfig(kOneKey);
        EXPECT_TRUE(manager_.Load());
        folder_.WriteConfig(text);
        Lines();
        EXPECT_FALSE(manager_.Load()) << text;
        EXPECT_EQ(std::regex_replace(Lines(), std::regex("2M [^\n]*\n"), ""), lines);
        EXPECT_EQ(Value(L"k"), L"none") << text;
    }
}

// Faults: a value comes back as another one; of several elements not the first is changed.
TEST_F(Manager, WhatIsSetAndSavedIsReadBack) {
    folder_.WriteConfig("<SysConfigManager><G><a>old</a><b><![CDATA[old]]></b><c/><d><x/></d><a>second</a></"
                        "G></SysConfigManager>");
    EXPECT_TRUE(manager_.Load());
    for (const std::wstring value :
         {L"1", L"", L"<&>\"']]>", L"line\r\nline\ttab", L"\u00e4\u263a\U0001F600"}) {
        for (const wchar_t* const name : {L"a", L"b", L"c"}) {
            EXPECT_EQ(manager_.SetSysConfig(L"G", name, value), SYSCONFIG_SUCCESS);
        }
        EXPECT_TRUE(manager_.saveFile(L"", kSysConfigFileName, true));
        EXPECT_TRUE(manager_.Reload(L"", kSysConfigFileName));
        EXPECT_EQ(Value(L"a") + Value(L"b") + Value(L"c"), value + value + value);
    }
    EXPECT_EQ(manager_.SetSysConfig(L"G", L"d", L"behind"), SYSCONFIG_SUCCESS); // a child that is no text
    EXPECT_TRUE(manager_.saveFile(L"", kSysConfigFileName, false));
    EXPECT_NE(folder_.ReadConfig().find("<x />\n            behind\n"), std::string::npos);
    EXPECT_NE(folder_.ReadConfig().find("<a>second</a>"), std::string::npos);
}

// Faults: a password in the log; a line added, lost or out of order; the file is still open behind the last.
TEST_F(Manager, ChangesListsAndSaves) {
    folder_.WriteConfig("<SysConfigManager><G><k>1</k><ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD>"
                        "old</ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD></G><H><d/></H></SysConfigManager>");
    std::vector<SysConfig> list;
    EXPECT_EQ(manager_.ListAllSysConfig(list), SYSCONFIG_FAILURE);
    EXPECT_EQ(Lines(), "3M getXmlNodesByPath failed, xpath=[/SysConfigManager/*]\n");
    manager_.Load();
    Lines();
    EXPECT_EQ(manager_.SetSysConfig(L"G", L"ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD", L"secret"),
              SYSCONFIG_SUCCESS);
    EXPECT_EQ(manager_.SetSysConfig(L"H", L"k", L"2"), SYSCONFIG_FAILURE);
    EXPECT_EQ(manager_.ListAllSysConfig(list), SYSCONFIG_SUCCESS);
    const Tap closing(kSelf, "CloseHandle", [](const Tap::Call& call) {
        STEWARD_LOG(2, L"closed");
        return call.Run();
    });
    EXPECT_TRUE(manager_.saveFile(L".", L"out.cfg", false));
    EXPECT_EQ(
        Lines(),
        "2M <== SysConfigManager::SetSysConfig,bRet = 0x20ff0000\n"
        "2M ==> SysConfigManager::SetSysConfig,wstrGroupName = H, wstrConfigName = k, wstrNewValue = 2\n"
        "2M <== SysConfigManager::SetSysConfig,bRet = 0xe0ff0001\n"
        "2M getXmlNodesByPath succeeds, groupNodeList.size() = 0x2\n"
        "2M groupNodeList[0]->Value() returns G\n"
        "2M Found a config: Group = G, config name = k, value = 1\n"
        "2M Found a config: Group = G, config name = ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD\n"
        "2M groupNodeList[0x1]->Value() returns H\n"
        "2M Found a config: Group = H, config name = d, value = \n"
        "2M ==> SysConfigManager::saveFile,pwszFolderPath = ., pwszConfigFileName = out.cfg\n"
        "2S ==> SaveCfgHelper::Save,pwszFolderPath = .\\out.cfg. bWriteThrough = 0\n"
        "2S closed\n"
        "2S <== SaveCfgHelper::Save,Return true\n"
        "2M <== SysConfigManager::saveFile,Return true\n");
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[1].value, L"secret");
}

// Faults: a save that failed passes for done; a line that names another cause; the data stays in the cache.
TEST_F(Manager, EveryFailedSaveIsReported) {
    const auto failedSave = [&] {
        Lines();
        EXPECT_FALSE(manager_.saveFile(L".", L"out.cfg", true));
        return std::regex_replace(Lines(), std::regex("2[^\n]*\n"), "");
    };
    EXPECT_EQ(failedSave(), "5M SysConfigManager::saveFile Fail. m_managedDoc is NULL, return false.\n");
    folder_.WriteConfig("<!-- -->");
    manager_.Load();
    EXPECT_EQ(failedSave(), "5M SysConfigManager::saveFile Fail!. Return false.\n");
    folder_.WriteConfig("<SysConfigManager/>");
    manager_.Load();
    std::vector<uint64_t> flags;
    const Tap creations(kSelf, "CreateFileW", [&](const Tap::Call& call) {
        flags.push_back(call.arguments[5] & 0xFFFFFFFF);
        return call.Run();
    });
    EXPECT_TRUE(manager_.saveFile(L".", L"out.cfg", true));
    EXPECT_TRUE(manager_.saveFile(L".", L"out.cfg", false));
    EXPECT_EQ(flags, (std::vector<uint64_t>{FILE_FLAG_WRITE_THROUGH, FILE_ATTRIBUTE_NORMAL}));
    const ImportPatch<"WriteFile", decltype(WriteFile)> shortWrite(
        kSelf, [](auto, auto, auto, DWORD* written, auto) { return (*written = 9) != 0; });
    const std::pair<const char*, std::string> cases[] = {
        {"CryptEncrypt", "5S .\\out.cfg encryption fail.\n"},
        {"CreateFileW", "5S CreateFile Fail.\n5S SaveCfgHelper::Save. wstrFilePath: .\\out.cfg. "
                        "GetLastError(): 0x5. dwFileAttribute: 0x80000000. Return: false\n"},
        {"WriteFile", "5S WriteFile Fail.\n"},
        {"ReadFile", "5S WriteFile() fail. dwBytesWritten: 0x9 != uiEncrytionSrcLen: 0x3e\n"}, // not called
    };
    for (const auto& [import, lines] : cases) {
        const Fault failing(kSelf, import, ERROR_ACCESS_DENIED);
        EXPECT_EQ(failedSave(), lines + "5M saveHelper.Save(.\\out.cfg, 1) fail. Return false.\n");
    }
}

} // namespace steward::test
