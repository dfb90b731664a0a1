// Runs the real stewardConfig.exe, which lies beside the test.
#include "ConfigFolder.h"
#include "support/ToolRun.h"

#include <gmock/gmock.h>
#include <windows.h>

namespace steward::test {
namespace {

using testing::HasSubstr;

constexpr char kDocument[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n<SysConfigManager>\n    <G>\n"
    "        <k>old \xE2\x98\xBA</k>\n"
    "        <ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret&quot;</ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>\n"
    "        <e />\n    </G>\n</SysConfigManager>\n";

class ConfigTool : public testing::Test {
  protected:
    struct Answer {
        DWORD exitCode;
        std::string output; // standard output and error
    };

    // `arguments` with "@" for the test's folder.
    Answer Run(std::wstring arguments) {
        for (size_t at = 0; (at = arguments.find(L'@')) != std::wstring::npos;) {
            arguments.replace(at, 1, folder_.Path());
        }
        const ToolRun run = RunTool(L"stewardConfig.exe", arguments);
        return {run.exitCode, run.output + run.errors};
    }

    ConfigFolder folder_;
};

TEST_F(ConfigTool, AnswersOnStandardOutput) {
    folder_.WriteConfig(kDocument);
    struct {
        const wchar_t* arguments;
        DWORD exitCode;
        std::string output;
    } const cases[] = {
        {L"get G k --file @\\system_config.cfg", 0, "old \xE2\x98\xBA\n"},
        {L"get G e --file @/system_config.cfg", 0, "\n"},
        {L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD --file @\\system_config.cfg", 0, "********\n"},
        {L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD --show-secrets --file @\\system_config.cfg", 0,
         "secret\"\n"},
        {L"--file @\\system_config.cfg list", 0,
         "G\tk\told \xE2\x98\xBA\nG\tORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\t********\nG\te\t\n"},
        {L"list --json --show-secrets --file @\\system_config.cfg", 0,
         "[\n  {\"group\": \"G\", \"key\": \"k\", \"value\": \"old \xE2\x98\xBA\"},\n"
         "  {\"group\": \"G\", \"key\": \"ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\", \"value\": \"secret\\\"\"},\n"
         "  {\"group\": \"G\", \"key\": \"e\", \"value\": \"\"}\n]\n"},
        {L"--version", 0, "stewardConfig 5.5.0.1256\n"},
    };
    for (const auto& c : cases) {
        const Answer answer = Run(c.arguments);
        EXPECT_EQ(answer.exitCode, c.exitCode);
        EXPECT_EQ(answer.output, c.output);
    }
    EXPECT_THAT(Run(L"--help").output, HasSubstr("Exit codes"));
}

// A refusal that changes the file, leaves a temporary one, or does not say what to do.
TEST_F(ConfigTool, RefusesInOneLineAndLosesNothing) {
    folder_.Write(L"broken.xml", "<SysConfigManager>\n<G></SysConfigManager>");
    folder_.Write(L"other.xml", "<Other/>");
    folder_.Write(L"latin1.xml", "<SysConfigManager><G>\xE4</G></SysConfigManager>");
    folder_.Write(L"noise.cfg", "no configuration");
    folder_.WriteConfig(kDocument);
    const int files = folder_.FileCount();
    struct {
        const wchar_t* arguments;
        DWORD exitCode;
        const char* says;
    } const cases[] = {
        {L"", 2, "no command given; \"stewardConfig --help\""},
        {L"frob", 2, "unknown command \"frob\""},
        {L"--frob list", 2, "unknown option \"--frob\""},
        {L"get G", 2, "get takes 2 operands, not 1"},
        {L"get G/k k", 2, "\"G/k\" is not the name"},
        {L"get G \"\"", 2, "\"\" is not the name"},
        {L"get G k --json", 2, "--json goes with list only"},
        {L"set G k v --show-secrets", 2, "--show-secrets goes with"},
        {L"list --file", 2, "--file needs"},
        {L"get G none --file @\\system_config.cfg", 1, "there is no none in group G"},
        {L"set G none v --file @\\system_config.cfg", 1, "there is no none in group G"},
        {L"set G k \" two  blanks\" --file @\\system_config.cfg", 1, "nothing was changed"},
        {L"list --file @\\missing.cfg", 1, "missing.cfg; name another file with --file or create"},
        {L"list --file @\\noise.cfg", 1, "holds no configuration; replace it with import"},
        {L"list --file @\\", 1, "is not the path of a file"},
        {L"export @\\none\\out.xml --file @\\system_config.cfg", 1, "cannot be written (error 3"},
        {L"export @\\out.xml --file @\\noise.cfg", 1, "holds no configuration"},
        {L"import @\\broken.xml --file @\\system_config.cfg", 1,
         "broken.xml, line 2, column 4: Error reading end tag"},
        {L"import @\\other.xml --file @\\system_config.cfg", 1, "no root element <SysConfigManager>"},
        {L"import @\\latin1.xml --file @\\system_config.cfg", 1, "is not UTF-8"},
        {L"import @\\missing.xml --file @\\system_config.cfg", 1, "missing.xml cannot be read (error 2"},
    };
    for (const auto& c : cases) {
        const Answer answer = Run(c.arguments);
        EXPECT_EQ(answer.exitCode, c.exitCode) << answer.output;
        EXPECT_THAT(answer.output, testing::StartsWith("stewardConfig: "));
        EXPECT_THAT(answer.output, HasSubstr(c.says));
        EXPECT_EQ(answer.output.find('\n'), answer.output.size() - 1) << answer.output;
        EXPECT_EQ(folder_.ReadConfig(), kDocument) << answer.output;
        EXPECT_EQ(folder_.FileCount(), files) << answer.output;
    }
    const HANDLE held = CreateFileW(folder_.File(L"system_config.cfg").c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    const Answer answer = Run(L"set G k new --file @\\system_config.cfg");
    CloseHandle(held);
    EXPECT_EQ(answer.exitCode, 1U);
    EXPECT_THAT(answer.output, HasSubstr("cannot be replaced (error"));
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    EXPECT_EQ(folder_.FileCount(), files);
}

TEST_F(ConfigTool, SetsExportsAndImports) {
    folder_.WriteConfig(kDocument);
    EXPECT_EQ(Run(L"export @\\out.xml --file @\\system_config.cfg").exitCode, 0U);
    EXPECT_EQ(folder_.Read(L"out.xml"), kDocument);
    EXPECT_EQ(Run(L"set G k --file @\\system_config.cfg -- --new").exitCode, 0U);
    EXPECT_EQ(Run(L"set G e \"<&>\" --file @\\system_config.cfg").exitCode, 0U);
    EXPECT_EQ(Run(L"get G k --file @\\system_config.cfg").output, "--new\n");
    EXPECT_EQ(Run(L"get G e --file @\\system_config.cfg").output, "<&>\n");
    EXPECT_EQ(Run(L"import @\\out.xml --file @\\system_config.cfg").exitCode, 0U);
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    folder_.Write(L"out.xml",
                  "<SysConfigManager><G><k>old &#x263a;</k><ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret\"</"
                  "ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD><e/></G></SysConfigManager>");
    EXPECT_EQ(Run(L"import @\\out.xml --file @\\created.cfg").exitCode, 0U);
    EXPECT_EQ(Rc4(folder_.Read(L"created.cfg")), kDocument);
    EXPECT_EQ(folder_.FileCount(), 3);
}

} // namespace
} // namespace steward::test
