#include "config/SysConfigManager.h"

#include "ConfigFolder.h"
#include "support/ImportPatch.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <wincrypt.h>

namespace steward::test {
namespace {

using testing::ElementsAre;

constexpr wchar_t kFile[] = L"system_config.cfg";
constexpr wchar_t kPasswordKey[] = L"ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD";

std::string Line(uint32_t level, const std::wstring& text) {
    return LogLine(level, L"Core Config Repository", L"core\\coreConfigRepository\\SysConfigManager.cpp",
                   text);
}

std::string SaveLine(uint32_t level, const std::wstring& text) {
    return LogLine(level, L"Core Config Repository", L"SaveCfgHelper.h", text);
}

// The manager's own lines, without those of the encryption.
Transcript Lines(LogCapture& log) {
    Transcript lines = log.Take();
    std::erase_if(lines,
                  [](const std::string& line) { return line.find("util_OrplDataCrypto") != line.npos; });
    return lines;
}

class Manager : public testing::Test {
  protected:
    ~Manager() override { manager_.Unload(); }

    std::wstring Value(const std::wstring& group, const std::wstring& name) {
        std::wstring value = L"untouched";
        const uint32_t result = manager_.GetSysConfig(group, name, value);
        EXPECT_EQ(result, value == L"untouched" ? SYSCONFIG_FAILURE : SYSCONFIG_SUCCESS);
        return value;
    }
    [[nodiscard]] std::wstring LoadEntry() const {
        return L"==> SysConfigManager::loadFile,pwszFolderPath = " + folder_.Path() +
               L", pwszConfigFileName = " + kFile;
    }

    ConfigFolder folder_;
    SysConfigManager manager_{folder_.Path(), kFile};
};

TEST_F(Manager, LoadsAnswersAndUnloads) {
    folder_.WriteConfig("<SysConfigManager><G><k>first</k><k>second</k><e/></G></SysConfigManager>");
    LogCapture log;
    EXPECT_EQ(Value(L"G", L"k"), L"untouched");
    EXPECT_TRUE(manager_.Load());
    EXPECT_EQ(Value(L"G", L"k"), L"first");
    EXPECT_EQ(Value(L"G", L"e"), L"");
    EXPECT_EQ(Value(L"G", L"none"), L"untouched");
    EXPECT_EQ(Value(L"G", L""), L"untouched");
    EXPECT_TRUE(manager_.Unload());
    EXPECT_EQ(Value(L"G", L"k"), L"untouched");
    EXPECT_TRUE(manager_.Unload());
    const std::string missing = Line(3, L"GetSysConfig failed, id=k, xpath=[/SysConfigManager/G/k]");
    EXPECT_THAT(Lines(log),
                ElementsAre(missing, Line(2, LoadEntry()),
                            Line(2, L"<== SysConfigManager::loadFile,m_bIsConfigReady = 1"),
                            Line(3, L"GetSysConfig failed, id=none, xpath=[/SysConfigManager/G/none]"),
                            missing));
}

// What does not parse is said with its place and leaves nothing to look up.
TEST_F(Manager, ReportsWhatDoesNotParse) {
    const std::string refused = Line(3, L"system_config.cfg parse failed.");
    const std::string noRoot = Line(3, L"system_config.cfg parse failed. There's no root element");
    const auto error = [&](const wchar_t* description, const wchar_t* place) {
        return Transcript{refused, Line(3, std::wstring(L"description: ") + description), Line(3, place)};
    };
    std::string deep;
    for (int i = 0; i < 1001; ++i) {
        deep += "<a>";
    }
    struct {
        std::string text;
        Transcript lines;
    } const cases[] = {
        {"<SysConfigManager>\n<G></H></G></SysConfigManager>",
         error(L"Error reading end tag.", L"detailed: row = 0x2, col = 0x4")},
        {"<SysConfigManager><G", error(L"Failed to read Element name", L"detailed: row = 0x1, col = 0x14")},
        {"", error(L"Error document empty.", L"detailed: row = 0, col = 0")},
        {"noise", error(L"Error document empty.", L"detailed: row = 0, col = 0")},
        {"<", {noRoot}},
        {"<!-- only a comment -->", {noRoot}},
        {"<Other><G><k>1</k></G></Other>", {noRoot}},
        {std::string("<SysConfigManager><G><k>1</k></G></SysConfigManager>\0", 53), {refused}},
        {deep, {refused}},
    };
    for (const auto& c : cases) {
        folder_.WriteConfig("<SysConfigManager><G><k>1</k></G></SysConfigManager>");
        EXPECT_TRUE(manager_.Load());
        folder_.WriteConfig(c.text);
        LogCapture log(GetModuleHandleW(nullptr), 3);
        EXPECT_FALSE(manager_.Load()) << c.text;
        EXPECT_EQ(Lines(log), c.lines) << c.text;
        EXPECT_EQ(Value(L"G", L"k"), L"untouched") << c.text;
    }
}

TEST_F(Manager, FailedLoadKeepsWhatWasLoadedButReloadDropsIt) {
    folder_.WriteConfig("<SysConfigManager><G><k>1</k></G></SysConfigManager>");
    EXPECT_TRUE(manager_.Load());
    EXPECT_TRUE(manager_.loadFile(folder_.Path(), L"missing.cfg"));
    {
        const ImportPatch<"CryptDecrypt", decltype(CryptDecrypt)> decrypt(GetModuleHandleW(nullptr),
                                                                          [](auto...) { return FALSE; });
        EXPECT_TRUE(manager_.Load());
    }
    EXPECT_EQ(Value(L"G", L"k"), L"1");
    LogCapture log;
    EXPECT_FALSE(manager_.Reload(L"", L"missing.cfg"));
    EXPECT_THAT(
        Lines(log),
        ElementsAre(
            Line(2, L"==> SysConfigManager::Reload,pwszFolderPath = , pwszConfigFileName = missing.cfg"),
            Line(2, L"==> SysConfigManager::loadFile,pwszFolderPath = , "
                    L"pwszConfigFileName = missing.cfg"),
            Line(2, L"<== SysConfigManager::loadFile,m_bIsConfigReady = 0"),
            Line(2, L"<== SysConfigManager::Reload,bResult = 0")));
    EXPECT_EQ(Value(L"G", L"k"), L"untouched");
    EXPECT_TRUE(manager_.Load()) << "the stored folder and file name must not change";
}

TEST_F(Manager, WhatIsSetAndSavedIsReadBack) {
    const std::wstring values[] = {L"1", L"", L"<&>\"']]>", L"line\r\nline\ttab", L"\u00e4\u263a\U0001F600"};
    folder_.WriteConfig(
        "<SysConfigManager><G><a>old</a><b><![CDATA[old]]></b><c/><d><x/></d></G></SysConfigManager>");
    EXPECT_TRUE(manager_.Load());
    for (const std::wstring& value : values) {
        for (const wchar_t* const name : {L"a", L"b", L"c"}) {
            EXPECT_EQ(manager_.SetSysConfig(L"G", name, value), SYSCONFIG_SUCCESS);
        }
        EXPECT_TRUE(manager_.saveFile(folder_.Path(), kFile, true));
        EXPECT_TRUE(manager_.Reload(folder_.Path(), kFile));
        for (const wchar_t* const name : {L"a", L"b", L"c"}) {
            EXPECT_EQ(Value(L"G", name), value) << Utf8(name);
        }
    }
    EXPECT_EQ(manager_.SetSysConfig(L"G", L"d", L"text"), SYSCONFIG_SUCCESS);
    EXPECT_EQ(Value(L"G", L"d"), L"") << "appended behind a child that is no text";
    EXPECT_EQ(manager_.SetSysConfig(L"G", L"none", L"x"), SYSCONFIG_FAILURE);
}

TEST_F(Manager, SavesTheDeclarationAndTheRootElement) {
    folder_.WriteConfig("<!-- dropped --><SysConfigManager><G><k>1</k></G></SysConfigManager>");
    EXPECT_TRUE(manager_.Load());
    LogCapture log;
    EXPECT_TRUE(manager_.saveFile(folder_.Path(), L"out.cfg", false));
    EXPECT_THAT(Lines(log), ElementsAre(Line(2, L"==> SysConfigManager::saveFile,pwszFolderPath = " +
                                                    folder_.Path() + L", pwszConfigFileName = out.cfg"),
                                        SaveLine(2, L"==> SaveCfgHelper::Save,pwszFolderPath = " +
                                                        folder_.File(L"out.cfg") + L". bWriteThrough = 0"),
                                        SaveLine(2, L"<== SaveCfgHelper::Save,Return true"),
                                        Line(2, L"<== SysConfigManager::saveFile,Return true")));
    EXPECT_EQ(Rc4(folder_.Read(L"out.cfg")),
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n"
              "<SysConfigManager>\n    <G>\n        <k>1</k>\n    </G>\n</SysConfigManager>\n");
}

TEST_F(Manager, EveryFailedSaveIsReported) {
    const HMODULE self = GetModuleHandleW(nullptr);
    LogCapture log(self, 3);
    EXPECT_FALSE(manager_.saveFile(L"", kFile, false));
    EXPECT_THAT(Lines(log), ElementsAre(Line(
                                5, L"SysConfigManager::saveFile Fail. m_managedDoc is NULL, return false.")));
    folder_.WriteConfig("<!-- -->");
    manager_.Load();
    log.Take();
    EXPECT_FALSE(manager_.saveFile(L"", kFile, false));
    EXPECT_THAT(Lines(log), ElementsAre(Line(5, L"SysConfigManager::saveFile Fail!. Return false.")));

    folder_.WriteConfig("<SysConfigManager/>");
    manager_.Load();
    const std::wstring path = folder_.File(L"out.cfg");
    const std::string givenUp = Line(5, L"saveHelper.Save(" + path + L", 1) fail. Return false.");
    {
        const ImportPatch<"CryptEncrypt", decltype(CryptEncrypt)> encrypt(self,
                                                                          [](auto...) { return FALSE; });
        EXPECT_FALSE(manager_.saveFile(folder_.Path(), L"out.cfg", true));
        EXPECT_THAT(Lines(log), ElementsAre(SaveLine(5, path + L" encryption fail."), givenUp));
    }
    {
        const ImportPatch<"CreateFileW", decltype(CreateFileW)> create(self, [](auto...) {
            SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        });
        EXPECT_FALSE(manager_.saveFile(folder_.Path(), L"out.cfg", true));
        EXPECT_THAT(
            Lines(log),
            ElementsAre(SaveLine(5, L"CreateFile Fail."),
                        SaveLine(5, L"SaveCfgHelper::Save. wstrFilePath: " + path +
                                        L". GetLastError(): 0x5. dwFileAttribute: 0x80000000. Return: false"),
                        givenUp));
    }
    for (const BOOL writes : {FALSE, TRUE}) {
        const ImportPatch<"WriteFile", decltype(WriteFile)> write(
            self, [writes](HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED) {
                *written = 9;
                return writes;
            });
        EXPECT_FALSE(manager_.saveFile(folder_.Path(), L"out.cfg", true));
        EXPECT_THAT(
            Lines(log),
            ElementsAre(
                SaveLine(5, writes == FALSE
                                ? L"WriteFile Fail."
                                : L"WriteFile() fail. dwBytesWritten: 0x9 != uiEncrytionSrcLen: 0x3e"),
                givenUp));
    }
}

// A password in the log.
TEST_F(Manager, ListsEverythingAndLogsNoPassword) {
    folder_.WriteConfig("<SysConfigManager><G><k>1</k><ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD>old</"
                        "ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD></G><H/><G><k>2</k></G></SysConfigManager>");
    manager_.Load();
    LogCapture log;
    EXPECT_EQ(manager_.SetSysConfig(L"G", kPasswordKey, L"secret"), SYSCONFIG_SUCCESS);
    EXPECT_EQ(manager_.SetSysConfig(L"G", L"k", L"3"), SYSCONFIG_SUCCESS);
    std::vector<SysConfig> list;
    EXPECT_EQ(manager_.ListAllSysConfig(list), SYSCONFIG_SUCCESS);
    EXPECT_THAT(
        Lines(log),
        ElementsAre(Line(2, L"<== SysConfigManager::SetSysConfig,bRet = 0x20ff0000"),
                    Line(2, L"==> SysConfigManager::SetSysConfig,wstrGroupName = G, wstrConfigName = k, "
                            L"wstrNewValue = 3"),
                    Line(2, L"<== SysConfigManager::SetSysConfig,bRet = 0x20ff0000"),
                    Line(2, L"getXmlNodesByPath succeeds, groupNodeList.size() = 0x3"),
                    Line(2, L"groupNodeList[0]->Value() returns G"),
                    Line(2, L"Found a config: Group = G, config name = k, value = 3"),
                    Line(2, L"Found a config: Group = G, config name = ORPL_CFG_LUM_HANDLER_PROXY_PASSWORD"),
                    Line(2, L"groupNodeList[0x1]->Value() returns H"),
                    Line(2, L"groupNodeList[0x2]->Value() returns G"),
                    Line(2, L"Found a config: Group = G, config name = k, value = 2")));
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].group + L"/" + list[0].name + L"=" + list[0].value, L"G/k=3");
    EXPECT_EQ(list[1].value, L"secret");

    manager_.Unload();
    log.Take();
    EXPECT_EQ(manager_.ListAllSysConfig(list), SYSCONFIG_FAILURE);
    EXPECT_THAT(Lines(log), ElementsAre(Line(3, L"getXmlNodesByPath failed, xpath=[/SysConfigManager/*]")));
}

} // namespace
} // namespace steward::test
