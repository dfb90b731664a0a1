// Runs the real stewardConfig.exe, which lies beside the test.
#include "ConfigFolder.h"
#include "util/RegKey.h"

#include <gmock/gmock.h>

namespace steward::test {

constexpr wchar_t kPlatformKey[] = L"SOFTWARE\\Vexholm\\ORPL";
constexpr char kDocument[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n<SysConfigManager>\n    <G>\n"
    "        <k>old \xE2\x98\xBA</k>\n"
    "        <ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret&quot;</ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>\n"
    "        <e />\n    </G>\n</SysConfigManager>\n";

// The registry names the test's folder as the platform's.
class ConfigTool : public testing::Test {
  protected:
    ConfigTool() {
        WriteHKLMString(folder_.Path(), kPlatformKey, L"InstallDir");
        folder_.WriteConfig(kDocument);
    }
    ~ConfigTool() override { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kPlatformKey, L"InstallDir"); }

    // The exit code and all that was written.
    static std::string Run(const wchar_t* arguments) {
        const ToolRun run = RunTool(L"stewardConfig.exe", arguments);
        return std::to_string(run.exitCode) + " " + run.output + run.errors;
    }

    ConfigFolder folder_;
};

// Faults: a secret shown unasked; text that a caller cannot read back.
TEST_F(ConfigTool, AnswersOnStandardOutput) {
    EXPECT_EQ(Run(L"get G k"), "0 old \xE2\x98\xBA\n");
    EXPECT_EQ(Run(L"get G e --file ./system_config.cfg"), "0 \n");
    EXPECT_EQ(Run(L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD"), "0 ********\n");
    EXPECT_EQ(Run(L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD --show-secrets"), "0 secret\"\n");
    EXPECT_EQ(Run(L"list"),
              "0 G\tk\told \xE2\x98\xBA\nG\tORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\t********\nG\te\t\n");
    EXPECT_EQ(
        Run(L"list --json --show-secrets"),
        "0 [\n  {\"group\": \"G\", \"key\": \"k\", \"value\": \"old \xE2\x98\xBA\"},\n"
        "  {\"group\": \"G\", \"key\": \"ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\", \"value\": \"secret\\\"\"},\n"
        "  {\"group\": \"G\", \"key\": \"e\", \"value\": \"\"}\n]\n");
    EXPECT_EQ(Run(L"--version"), "0 stewardConfig 5.5.0.1256\n");
}

// Faults: a change that is not saved as it is; an import that depends on how the XML is written.
TEST_F(ConfigTool, SetsExportsAndImports) {
    EXPECT_EQ(Run(L"export out.xml"), "0 ");
    EXPECT_EQ(folder_.Read(L"out.xml"), kDocument);
    EXPECT_EQ(Run(L"set G k -- --new"), "0 ");
    EXPECT_EQ(Run(L"get G k"), "0 --new\n");
    EXPECT_EQ(Run(L"set G k \"old \u263a\""), "0 ");
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    EXPECT_EQ(Run(L"set G e \"<&>\""), "0 ");
    EXPECT_EQ(Run(L"get G e"), "0 <&>\n");
    EXPECT_EQ(Run(L"import out.xml"), "0 ");
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    folder_.Write(
        L"out.xml",
        "<!-- dropped --><SysConfigManager><G><k>old &#x263a;</k><ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret\""
        "</ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD><e/></G></SysConfigManager>");
    EXPECT_EQ(Run(L"import out.xml --file created.cfg"), "0 ");
    EXPECT_EQ(Rc4(folder_.Read(L"created.cfg")), kDocument);
    EXPECT_EQ(folder_.FileCount(), 3);
}

// Faults: a refusal that changes the file, leaves a temporary one, or does not say what to do.
TEST_F(ConfigTool, RefusesInOneLineAndLosesNothing) {
    folder_.Write(L"broken.xml", "<SysConfigManager>\n<G></SysConfigManager>");
    folder_.Write(L"other.xml", "<Other/>");
    folder_.Write(L"latin1.xml", "<SysConfigManager><G>\xE4</G></SysConfigManager>");
    folder_.Write(L"deep.xml", Repeated("<a>", 1001));
    folder_.Write(L"noise.cfg", "no configuration");
    const auto files = folder_.FileCount();
    const auto refuses = [&](const wchar_t* arguments, const char* exitCode, const char* says) {
        const std::string answer = Run(arguments);
        EXPECT_THAT(answer, testing::StartsWith(std::string(exitCode) + " stewardConfig: "));
        EXPECT_THAT(answer, testing::HasSubstr(says));
        EXPECT_EQ(answer.find('\n'), answer.size() - 1) << answer;
        EXPECT_EQ(folder_.ReadConfig(), kDocument) << says;
        EXPECT_EQ(folder_.FileCount(), files) << says;
    };
    refuses(L"", "2", "no command given; \"stewardConfig --help\"");
    refuses(L"frob", "2", "unknown command \"frob\"");
    refuses(L"get G", "2", "get takes 2 operands, not 1");
    refuses(L"get G/k k", "2", "\"G/k\" is not the name");
    refuses(L"get G k --json", "2", "--json goes with list only");
    refuses(L"get G none", "1", "there is no none in group G");
    refuses(L"set G k \" two  blanks\"", "1", "nothing was changed");
    refuses(L"list --file missing.cfg", "1", "missing.cfg; name another file with --file or create");
    refuses(L"list --file noise.cfg", "1", "holds no configuration; replace it with import");
    refuses(L"export none\\out.xml", "1", "cannot be written (error 3");
    refuses(L"import broken.xml", "1", "broken.xml, line 2, column 4: Error reading end tag");
    refuses(L"import other.xml", "1", "no root element <SysConfigManager>");
    refuses(L"import latin1.xml", "1", "is not UTF-8");
    refuses(L"import deep.xml", "1", "too deep or too large");
    refuses(L"import missing.xml", "1", "missing.xml cannot be read (error 2");
    const HANDLE held = CreateFileW(L"system_config.cfg", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    refuses(L"set G k new", "1", "cannot be replaced (error");
    CloseHandle(held);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kPlatformKey, L"InstallDir");
    refuses(L"list", "1", "cannot be read; name the configuration file with --file");
}

} // namespace steward::test
