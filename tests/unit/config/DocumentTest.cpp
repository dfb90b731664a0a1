// What is made of a text: nodes, settings, a refusal.
#include "config/ConfigDocument.h"

#include "ConfigFolder.h"
#include "config/ParserLimits.h"
#include "config/SignaturePolicy.h"
#include "support/Fault.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace steward::test {

static bool IsWithin(std::string text) {
    text.append(kParserSlack, '\0');
    return IsWithinParserLimits(text);
}

// Faults, whichever evaluator is built in: nodes missed, of another group or out of order; a name that is
// none ends the lookup otherwise than with nothing found.
TEST(XPath, SelectsAbsoluteChildStepsInDocumentOrder) {
    ConfigDocument document;
    const auto selected = [&](const std::string& expression) {
        std::string texts;
        for (const TiXmlNode* const node : document.Select(expression)) {
            texts += std::string(node->Value()) + "=" + TextOf(*node->ToElement()) + " ";
        }
        return texts;
    };
    EXPECT_EQ(selected("/*"), ""); // there is no root element yet
    document.Parse(
        "<!-- c --><Other/><SysConfigManager><G1><k>1</k><k>2</k><z-1.x/></G1>text<G2><k>3</k></G2>"
        "<G1><k>4</k></G1></SysConfigManager>");
    EXPECT_EQ(selected("/SysConfigManager/G1/k"), "k=1 k=2 k=4 ");
    EXPECT_EQ(selected("/SysConfigManager/*"), "G1= G2= G1= ");
    EXPECT_EQ(selected("/*/*/z-1.x"), "z-1.x= ");
    for (const char* const none :
         {"/sysConfigManager", "/SysConfigManager/G3", "/SysConfigManager/two words/k"}) {
        EXPECT_EQ(selected(none), "") << none;
    }
}

// Fault: a text whose nesting goes unseen overflows the parser's stack. Here a lead byte takes the next bytes
// along or, in another encoding, does not; so does a character reference up to its semicolon; quotes,
// comments, CDATA and declarations hide tags or end early.
TEST(ParserLimits, SeeTheNestingThatTheParserSees) {
    for (const std::string start :
         {"", "\xEF\xBB\xBF", "<?xml encoding='utf-8'?>", "<?xml encoding='utf-8'?><r a=\"\xC3\" b=\">",
          "<?xml encoding='utf-8'?><r>\xF0<!--", "<r a=\"\xC3\" b=\"1\">", "<r>&#x<!-- <![CDATA[ x3c;",
          "<r a='&#' b='#39;'>", "<!-->--><r a='<!--'><!---->", "<r a=x>", "<r><?xml version='>'?>",
          "<r><![CDATA[]]]>]]><!DOCTYPE [<!ENTITY x SYSTEM \"f\">]><?pi '?><\x1Fxml '>",
          "<?xml encoding='latin1'?><r a=\"\xE4\" b=\"1\">", "</x><r><\xC3/></r/x>"}) {
        EXPECT_FALSE(IsWithin(start + Repeated("<a>", kMaxNesting + 1))) << start;
    }
}

// Faults: a flat text is refused; memory or hours are spent on one with too many nodes or attributes.
TEST(ParserLimits, RefuseByNestingNodesAndAttributesOnly) {
    EXPECT_TRUE(IsWithin(Repeated("<a>", kMaxNesting) + Repeated("</a>", kMaxNesting)));
    for (const char* const sibling :
         {"<a/>", "<a b='>' c=\"/>\"/>", "<a></a >", "<!-- <a> -->", "<![CDATA[<a>]]>", "<?pi <a?>",
          "<!ELEMENT a>", "<a b=\"<a>\">x</a>", "<a b=c/>", "&lt;a>", "<a>\xE4</a>"}) {
        EXPECT_TRUE(IsWithin("<r>" + Repeated(sibling, 3 * kMaxNesting) + "</r>")) << sibling;
    }
    EXPECT_FALSE(IsWithin(Repeated("<a/>", kMaxNodes + 1)));
    EXPECT_FALSE(IsWithin("<a" + Repeated(" a12345=''", 100'000) + "/>"));
}

// Faults: a setting reads another one's key; an unknown one opens the file.
TEST(Policy, EverySettingHasItsKeyAndOthersAreOff) {
    const ConfigFolder folder;
    folder.WriteConfig(
        "<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_RESTART_ND_REVERT>1</ORPL_CFG_SP_RESTART_ND_REVERT>"
        "<ORPL_CFG_SP_MAIN_OBJECTIVE>1</ORPL_CFG_SP_MAIN_OBJECTIVE></ORPL_ALL></SysConfigManager>");
    const Fault opening(GetModuleHandleW(nullptr), "CreateFileW", 0, Fault::kNoCall);
    std::string answers;
    for (const uint32_t setting : {0U, 0x0FF10001U, 0x0FF10002U, 0x0FF10003U, 0x0FF10004U}) {
        answers += QuerySignaturePolicySetting(setting, L".") ? "on " : "off ";
    }
    EXPECT_EQ(answers, "off on off on off ");
    EXPECT_EQ(opening.Calls(), 3);
}

// Faults: a crash, an endless loop or exhausted memory; a setting that the document does not hold. The stack
// is that of an ordinary thread of a Windows host; a thread that overflows it may end without a word.
TEST(Policy, HostileConfigurationsAreOffOrReadForWhatTheyHold) {
    const std::string utf8 = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n";
    const std::string root = "<SysConfigManager>";
    const std::string head = root + "<ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>";
    const std::string end = "</ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL></SysConfigManager>";
    const std::string on = head + "1" + end;
    const std::string tail = on.substr(root.size());
    const std::string deep = Repeated("<a>", 100'000);
    std::string attributes = "<SysConfigManager";
    for (int i = 0; i < 10'000; ++i) {
        attributes += " a" + std::to_string(i) + "='<'";
    }
    static const std::tuple<const char*, bool, std::string> cases[] = {
        {"cut in a tag", false, on.substr(0, on.size() - 5)},
        {"cut in a comment", true, on + "<!-- "},
        {"NUL inside", false, on + std::string(1, '\0') + on},
        {"NUL bytes only", false, std::string(1000, '\0')},
        {"50 MB of text", true, root + "<x>" + std::string(50 << 20, 'x') + "</x>" + tail},
        {"50 MB of comment", true, "<!--" + std::string(50 << 20, '-') + "-->" + on},
        {"50 MB of elements", false, root + Repeated("<a/>", 13 << 20) + tail},
        {"50 MB of attributes", false, "<SysConfigManager" + Repeated(" a=''", 10 << 20) + ">" + tail},
        {"50 MB of open tags", false, root + Repeated("<a>", 17 << 20)},
        {"100,000 nested elements", false, deep + Repeated("</a>", 100'000) + on},
        {"1,000 nested elements", true, root + Repeated("<a>", 999) + Repeated("</a>", 999) + tail},
        {"nesting behind a broken character", false, utf8 + "<r a=\"\xC3\" b=\">" + deep + "\""},
        {"nesting behind a reference", false, "<r>&#x<!--x31;" + deep},
        {"10,000 attributes", true, attributes + ">" + tail},
        {"invalid UTF-8", true, utf8 + root + "<x>\xFF\xFE\x80</x>" + tail},
        {"cut UTF-8 at the end", true, utf8 + on + "\xF0"},
        {"byte order mark", true, "\xEF\xBB\xBF" + on},
        {"UTF-16", false, std::string("\xFF\xFE<\0S\0>\0", 8)},
        {"duplicate keys", true, head + "1</ORPL_CFG_SP_MODULE_LOAD><ORPL_CFG_SP_MODULE_LOAD>0" + end},
        {"CDATA", true, head + "<![CDATA[1<]]>" + end},
        {"CDATA without an end", false, head + "<![CDATA[1" + end},
        {"entities", false, head + "&amp;&unknown;&#;&#x;1" + end},
        {"external entity", true, "<!DOCTYPE x SYSTEM \"file:///c:/boot.ini\">" + on},
        {"external entity used", false,
         "<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///c:/one\">]>" + head + "&e;" + end},
        {"lone <", false, "<"},
        {"nothing", false, ""},
        {"declaration without an end", false, "<?xml version=\""},
        {"processing instruction inside", true, root + "<?pi <a> ?>" + tail},
    };
    const auto query = [](void*) -> DWORD {
        const ConfigFolder folder;
        for (const auto& [name, isOn, text] : cases) {
            folder.WriteConfig(text);
            EXPECT_EQ(QuerySignaturePolicySetting(SP_MODULE_LOAD, L"."), isOn) << name;
        }
        return std::size(cases);
    };
    const HANDLE thread =
        CreateThread(nullptr, 1 << 20, query, nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    WaitForSingleObject(thread, INFINITE);
    DWORD exitCode = 0;
    GetExitCodeThread(thread, &exitCode);
    EXPECT_EQ(exitCode, std::size(cases)); // went through them all
    CloseHandle(thread);
}

} // namespace steward::test
