// Runs the real stewardConfig.exe, which lies beside the test.
#include "e2e/Plugin.h"
#include "support/ConfigFolder.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sddl.h>

#include <thread>

namespace steward::test {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kDocument[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n<SysConfigManager>\n    <G>\n"
    "        <k>old \xE2\x98\xBA</k>\n"
    "        <ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret&quot;</ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>\n"
    "        <e />\n        <e>2nd</e>\n    </G>\n</SysConfigManager>\n";

// The registry names the test's folder as the platform's.
class ConfigTool : public testing::Test {
  protected:
    ConfigTool() {
        folder_.SetInstallDir(true);
        folder_.WriteConfig(kDocument);
    }

    // The exit code and all that was written.
    static std::string Run(const std::wstring& arguments, const ToolStreams& streams = {}) {
        const ToolRun run = RunTool(L"stewardConfig.exe", arguments, streams);
        return std::to_string(run.exitCode) + " " + run.output + run.errors;
    }

    // The access list of a file as text, "D:...", and its attributes.
    [[nodiscard]] std::string AccessOf(const wchar_t* name) const {
        std::byte descriptor[1024];
        DWORD bytes = 0;
        wchar_t* text = nullptr;
        const std::wstring path = folder_.File(name);
        GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor, sizeof descriptor, &bytes);
        ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                             DACL_SECURITY_INFORMATION, &text, nullptr);
        const std::string access =
            Utf8FromWide(text) + " " + std::to_string(GetFileAttributesW(path.c_str()));
        LocalFree(text);
        return access;
    }

    ConfigFolder folder_;
};

// Faults: a secret shown unasked; text that a caller cannot read back; help in one spelling only.
TEST_F(ConfigTool, AnswersOnStandardOutput) {
    EXPECT_EQ(Run(L"get G k"), "0 old \xE2\x98\xBA\n");
    EXPECT_EQ(Run(L"get G e --file ./system_config.cfg"), "0 \n");
    EXPECT_EQ(Run(L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD"), "0 ********\n");
    EXPECT_EQ(Run(L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD --show-secrets"), "0 secret\"\n");
    EXPECT_EQ(Run(L"list"),
              "0 G\tk\told \xE2\x98\xBA\nG\tORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\t********\nG\te\t\nG\te\t2nd\n");
    EXPECT_THAT(Run(L"--version"), StartsWith("0 stewardConfig 5.5.0.1256, commit "));
    for (const wchar_t* const line : {L"help set", L"set --help", L"-h set", L"set G /?"}) {
        EXPECT_THAT(Run(line), StartsWith("0 stewardConfig set <group> <key> <value>\n"));
    }
    EXPECT_THAT(Run(L"help"), HasSubstr("Exit codes\n  0  done\n"));
    const std::string list = Run(L"list --json --show-secrets");
    const auto json = nlohmann::json::parse(list.substr(2));
    EXPECT_EQ(
        json["settings"].dump(-1, ' ', true),
        R"([{"group":"G","key":"k","value":"old \u263a"},{"group":"G","key":"ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD",)"
        R"("value":"secret\""},{"group":"G","key":"e","value":""},{"group":"G","key":"e","value":"2nd"}])");
    EXPECT_TRUE(std::all_of(list.begin(), list.end(), [](char c) { return c > 0; })) << "not ASCII";
    const std::string diagnosis = RunTool(L"stewardHost.exe", L"diag").output;
    EXPECT_THAT(diagnosis, HasSubstr("key: ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD\n"));
    EXPECT_THAT(diagnosis, Not(HasSubstr("secret")));
    EXPECT_THAT(Run(L"frob --json"), HasSubstr(R"("exitCode": 2,
  "error": "unknown command 'frob'; see stewardConfig --help"
}
)"));
}

// Faults: a change that is not saved as it is; a switch that is off although its value says otherwise; an
// import that depends on how the XML is written.
TEST_F(ConfigTool, SetsExportsAndImports) {
    EXPECT_EQ(Run(L"export out.xml"), "0 ");
    EXPECT_EQ(folder_.Read(L"out.xml"), kDocument);
    EXPECT_EQ(Run(L"set G k -- --new"), "0 ");
    EXPECT_EQ(Run(L"get G k"), "0 --new\n");
    EXPECT_EQ(Run(L"set G k \"old \u263a\""), "0 ");
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    EXPECT_EQ(Run(L"set G e \"<&>\""), "0 ");
    EXPECT_EQ(Run(L"get G e"), "0 <&>\n");
    EXPECT_EQ(Run(L"set G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD -", {"new\"\xC3\xA4\r\n"}), "0 ");
    EXPECT_EQ(Run(L"get G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD --show-secrets"), "0 new\"\xC3\xA4\n");
    EXPECT_EQ(Run(L"set G k -", {"a\r\n\x1B\tb"}), "0 ");
    EXPECT_THAT(Run(L"list"), HasSubstr("G\tk\ta\\r\\n\\x1b\\tb\n"));
    EXPECT_EQ(Run(L"set H n 1 --create"), "0 ");
    const std::wstring policy = L"set --create ORPL_ALL ORPL_CFG_SP_MODULE_LOAD ";
    EXPECT_EQ(Run(policy + L"1"), "0 ");
    EXPECT_THAT(
        RunTool(L"stewardHost.exe", L"check install \"" + Package(L"unsigned-qxevtmgr") + L".\"").output,
        HasSubstr("carries no valid signature, and the policy demands one"));
    EXPECT_EQ(Run(policy + L"0"), "0 ");
    EXPECT_THAT(Run(policy + L"true"), HasSubstr("LOAD is 'true', which means off"));
    EXPECT_THAT(Run(policy + L"1x"), HasSubstr("LOAD is '1x', which means on"));
    EXPECT_EQ(Run(L"get H n"), "0 1\n");
    EXPECT_EQ(Run(L"import out.xml"), "0 ");
    EXPECT_EQ(folder_.ReadConfig(), kDocument);
    folder_.Write(
        L"out.xml",
        "<!-- dropped --><SysConfigManager><G><k>old &#x263a;</k><ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD>secret\""
        "</ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD><e/><e>2nd</e></G></SysConfigManager>");
    EXPECT_EQ(Run(L"import out.xml --file created.cfg"), "0 ");
    EXPECT_EQ(Rc4(folder_.Read(L"created.cfg")), kDocument);
    EXPECT_EQ(folder_.FileCount(), 3);
}

// Faults: an access list that a change drops; secrets that others may read; one of two changes at once lost.
TEST_F(ConfigTool, ChangesNothingButTheContent) {
    void* descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)",
                                                         SDDL_REVISION_1, &descriptor, nullptr);
    SetFileSecurityW(L"system_config.cfg", DACL_SECURITY_INFORMATION, descriptor);
    LocalFree(descriptor);
    SetFileAttributesW(L"system_config.cfg", FILE_ATTRIBUTE_HIDDEN);
    const std::string access = AccessOf(L"system_config.cfg");
    EXPECT_THAT(access, HasSubstr(";WD)"));
    for (const wchar_t* const command : {L"set G k new", L"export out.xml", L"import out.xml"}) {
        EXPECT_EQ(Run(command), "0 ");
    }
    EXPECT_EQ(AccessOf(L"system_config.cfg"), access);
    EXPECT_THAT(AccessOf(L"out.xml"), Not(HasSubstr(";WD)")));

    std::vector<std::jthread> writers;
    for (const wchar_t* const key : {L"k1", L"k2", L"k3", L"k4"}) {
        writers.emplace_back([key] { Run(std::wstring(L"set --create --wait 60 G ") + key + L" v"); });
    }
    writers.clear();
    const std::string all = Run(L"list");
    for (const char* const key : {"\tk1\t", "\tk2\t", "\tk3\t", "\tk4\t"}) {
        EXPECT_THAT(all, HasSubstr(key));
    }
}

// Fault: a tool that does not start where the platform's libraries are missing.
TEST_F(ConfigTool, NeedsNoOtherFile) {
    std::filesystem::copy_file(BinFolder() / L"stewardConfig.exe", L"alone.exe");
    const ToolRun run = RunTool(folder_.File(L"alone.exe"), L"get G k");
    EXPECT_EQ(run.output + run.errors, "old \xE2\x98\xBA\n");
}

// Faults: two that change at once; a lock that nobody holds any more, or that does not say who holds it.
TEST_F(ConfigTool, IsAloneWhenItChanges) {
    {
        const FileHandle held(CreateFileW(L"system_config.cfg.lock", GENERIC_WRITE | DELETE, FILE_SHARE_READ,
                                          nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        DWORD written = 0;
        WriteFile(held.Get(), "process 7", 9, &written, nullptr);
        EXPECT_THAT(Run(L"set G k new --wait 0"),
                    HasSubstr("system_config.cfg is being changed by process 7; try"));
        EXPECT_EQ(Run(L"get G k"), "0 old \xE2\x98\xBA\n");
    }
    folder_.Write(L"system_config.cfg.lock", "left behind");
    EXPECT_EQ(Run(L"set G k new"), "0 ");
    EXPECT_EQ(folder_.FileCount(), 1);
}

// Faults: a refusal that changes the file, leaves a temporary one, or does not say what to do.
TEST_F(ConfigTool, RefusesInOneLineAndLosesNothing) {
    folder_.Write(L"broken.xml", "<SysConfigManager>\n<G></SysConfigManager>");
    folder_.Write(L"two.xml", "<Other/><SysConfigManager><G><k>1</k></G></SysConfigManager>");
    folder_.Write(L"more.xml", "<SysConfigManager><G><k>1</k></G></SysConfigManager><Other/>");
    folder_.Write(L"zero.xml", "<SysConfigManager><G><k>a&#x0;b</k></G></SysConfigManager>");
    folder_.Write(L"deep.xml", Repeated("<a>", 1001));
    folder_.Write(L"plain.cfg", kDocument);
    const auto files = folder_.FileCount();
    const auto refuses = [&](const wchar_t* arguments, const char* exitCode, const char* says,
                             const ToolStreams& streams = {}) {
        const std::string answer = Run(arguments, streams);
        EXPECT_THAT(answer, StartsWith(std::string(exitCode) + " stewardConfig: "));
        EXPECT_THAT(answer, HasSubstr(says));
        EXPECT_EQ(answer.find('\n'), answer.size() - 1) << answer;
        EXPECT_EQ(folder_.ReadConfig(), kDocument) << says;
        EXPECT_EQ(folder_.FileCount(), files) << says;
    };
    refuses(L"", "2", "a command is missing; see stewardConfig --help");
    refuses(L"get G/k k", "2", "'G/k' is not the name");
    refuses(L"set G k v --wait x", "2", "--wait takes seconds from 0 to 3600, not 'x'");
    refuses(L"list --file \"\"", "2", "--file needs the path");
    refuses(L"set G ORPL_CFG_KAVRI_FR_PROXY_AUTHPWD new", "2", "every user can see a command line; give -");
    refuses(L"get G none", "1", "there is no none in group G");
    refuses(L"set G none 1", "1", "\"set --create\" adds a key");
    refuses(L"set G k \" two  blanks\"", "1", "the value of k in group G would not be read back as it is");
    refuses(L"set G k -", "1", "is not UTF-8", {"\xE4"});
    refuses(L"set G k -", "1", "holds a NUL", {std::string("a\0b", 3)});
    refuses(L"list --file plain.cfg", "1", "is readable XML, not an encrypted configuration; use import");
    refuses(L"list", "1", "cannot be written to standard output", {"", true});
    refuses(L"export SYSTEM_CONFIG.CFG", "1", "is the configuration itself");
    refuses(L"export NUL.xml", "1", "is not the path of a file");
    refuses(L"export .", "1", "is a folder; name a file in it");
    refuses(L"import broken.xml", "1", "broken.xml, line 2, column 4: Error reading end tag");
    refuses(L"import two.xml", "1", "<Other> as its root element, and others beside it");
    refuses(L"import more.xml", "1", "<SysConfigManager> as its root element, and others beside it");
    refuses(L"import zero.xml", "1", "a reference to the character 0");
    refuses(L"import deep.xml", "1", "too deep or too large");
    {
        const FileHandle reader(CreateFileW(L"system_config.cfg", GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                            nullptr));
        refuses(L"set G k new", "1", "cannot be replaced (error 32");
    }
    SetFileAttributesW(L"system_config.cfg", FILE_ATTRIBUTE_READONLY);
    refuses(L"set G k new", "1", "is read-only; take that off");
    SetFileAttributesW(L"system_config.cfg", FILE_ATTRIBUTE_NORMAL);
    folder_.SetInstallDir(false);
    refuses(L"list", "1", "cannot be read; name the configuration file with --file");
}

} // namespace steward::test
