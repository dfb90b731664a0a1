#include "config/ConfigDocument.h"

#include "config/ParserLimits.h"
#include "config/XPathQuery.h"

#include <gmock/gmock.h>

namespace steward::test {
namespace {

using testing::ElementsAre;
using Outcome = ConfigDocument::Outcome;

std::string Repeated(const std::string& text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::vector<std::string> Selected(ConfigDocument& document, const std::string& expression) {
    std::vector<std::string> texts;
    for (const TiXmlNode* const node : document.Select(expression)) {
        texts.push_back(std::string(node->Value()) + "=" + TextOf(*node->ToElement()));
    }
    return texts;
}

TEST(XPath, SelectsAbsoluteChildStepsInDocumentOrder) {
    ConfigDocument document;
    document.Parse(
        "<!-- c --><Other/><SysConfigManager><G1><k>1</k><k>2</k><z-1.x/></G1>text<G2><k>3</k></G2>"
        "<G1><k>4</k></G1></SysConfigManager>");
    EXPECT_THAT(Selected(document, "/SysConfigManager/G1/k"), ElementsAre("k=1", "k=2", "k=4"));
    EXPECT_THAT(Selected(document, "/SysConfigManager/*"), ElementsAre("G1=", "G2=", "G1="));
    EXPECT_THAT(Selected(document, "/*/*/z-1.x"), ElementsAre("z-1.x="));
    EXPECT_THAT(Selected(document, "/Other"), ElementsAre("Other="));
    for (const char* const none :
         {"", "/", "//k", "SysConfigManager", "/SysConfigManager/", "/SysConfigManager//k",
          "/SysConfigManager/g1", "/SysConfigManager/G1/k[1]", "/SysConfigManager/G1/@k",
          "/SysConfigManager/..", "/SysConfigManager/1", "/SysConfigManager/G1/ k",
          "/SysConfigManager/G1/text()", "/SysConfigManager|/Other"}) {
        EXPECT_THAT(Selected(document, none), ElementsAre()) << none;
    }
    EXPECT_THAT(ConfigDocument().Select("/*"), ElementsAre());
}

// A text whose nesting goes unseen overflows the stack of the parser.
TEST(ParserLimits, SeeTheNestingThatTheParserSees) {
    const std::string utf8 = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
    const std::string deep = Repeated("<a>", kMaxNesting + 1);
    for (const std::string& start : std::initializer_list<std::string>{
             "",
             "\xEF\xBB\xBF",
             utf8,
             utf8 + "<r a=\"\xC3\" b=\">", // a lead byte takes the quote along
             utf8 + "<r>\xF0<!--",         // and here the start of a comment
             "<r a=\"\xC3\" b=\"1\">",     // but not in another encoding
             "<r>&#x<!-- <![CDATA[ x3c;",  // so does a character reference
             "<r a='&#' b='#39;'>",
             "<!-->--><r a='<!--'><!---->",
             "<r><![CDATA[]]]>]]><!DOCTYPE [<!ENTITY x SYSTEM \"f\">]><?pi '?><\x1Fxml '>",
             "<r a=x>",
             "<r><?xml version='>'?>",
             "<?xml encoding='latin1'?><r a=\"\xE4\" b=\"1\">",
             "</x><r><\xC3/></r/x>",
         }) {
        std::string text = start + deep;
        text.append(kParserSlack, '\0');
        EXPECT_FALSE(IsWithinParserLimits(text)) << start;
    }
}

TEST(ParserLimits, DoNotRefuseWhatIsFlat) {
    const auto within = [](std::string text) {
        text.append(kParserSlack, '\0');
        return IsWithinParserLimits(text);
    };
    const size_t many = 3 * kMaxNesting;
    EXPECT_TRUE(within(Repeated("<a>", kMaxNesting) + Repeated("</a>", kMaxNesting)));
    for (const char* const sibling :
         {"<a/>", "<a b='>' c=\"/>\"/>", "<a></a >", "<!-- <a> -->", "<![CDATA[<a>]]>", "<?pi <a?>",
          "<!ELEMENT a>", "<a b=\"<a>\">x</a>", "<a b=c/>", "&lt;a>", "<a>\xE4</a>"}) {
        EXPECT_TRUE(within("<r>" + Repeated(sibling, many) + "</r>")) << sibling;
    }
    EXPECT_FALSE(within(Repeated("<a/>", kMaxNodes + 1)));
    std::string attributes = "<a";
    for (int i = 0; i < 100'000; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    EXPECT_FALSE(within(attributes + "/>"));
}

} // namespace
} // namespace steward::test
