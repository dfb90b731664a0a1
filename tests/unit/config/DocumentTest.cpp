// What is made of a text: nodes, settings, a refusal.
#include "config/ConfigDocument.h"

#include "config/ParserLimits.h"
#include "config/SignaturePolicy.h"
#include "support/ConfigFolder.h"
#include "support/Fault.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace steward::test {

static bool IsWithin(std::string text) {
    text.append(kParserSlack, '\0');
    return IsWithinParserLimits(text);
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

// Faults: a setting reads another one's key; an unknown one opens the file; nesting that is allowed ends the
// stack.
TEST(Policy, EverySettingHasItsKeyAndOthersAreOff) {
    const ConfigFolder folder;
    folder.WriteConfig(
        "<SysConfigManager>" + Repeated("<a>", kMaxNesting - 1) + Repeated("</a>", kMaxNesting - 1) +
        "<ORPL_ALL><ORPL_CFG_SP_RESTART_ND_REVERT>1</ORPL_CFG_SP_RESTART_ND_REVERT>"
        "<ORPL_CFG_SP_MAIN_OBJECTIVE>1</ORPL_CFG_SP_MAIN_OBJECTIVE></ORPL_ALL></SysConfigManager>");
    const Fault opening(kSelf, "CreateFileW", 0, Fault::kNoCall);
    std::string answers;
    for (const uint32_t setting : {0U, 0x0FF10001U, 0x0FF10002U, 0x0FF10003U, 0x0FF10004U}) {
        answers += QuerySignaturePolicySetting(setting, L".") ? "on " : "off ";
    }
    EXPECT_EQ(answers, "off on off on off ");
    EXPECT_EQ(opening.Calls(), 3);
}

} // namespace steward::test
