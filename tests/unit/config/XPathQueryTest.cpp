// The built-in evaluator's own: an XPath library answers these expressions otherwise.
#include "config/ConfigDocument.h"

#include <gtest/gtest.h>

namespace steward::test {

// Fault: an expression of another form is taken for a path.
TEST(XPathQuery, AnswersNothingToOtherFormsThanChildSteps) {
    ConfigDocument document;
    EXPECT_TRUE(document.Select("/*").empty()); // there is no root element yet
    document.Parse("<Other/><SysConfigManager><G1><k-1.a>1</k-1.a></G1>text<G2/></SysConfigManager>");
    EXPECT_EQ(document.Select("/SysConfigManager/*").size(), 2U);
    EXPECT_EQ(document.Select("/*/G1/k-1.a").size(), 1U);
    for (const char* const none : {"", "/", "//k", "SysConfigManager", "/SysConfigManager/",
                                   "/SysConfigManager//k", "/Other|/Other", "/*/G1/k[1]", "/*/G1/@k", "/*/..",
                                   "/SysConfigManager/two words/k", "/*/1", "/*/G1/ k", "/*/G1/text()"}) {
        EXPECT_TRUE(document.Select(none).empty()) << none;
    }
}

} // namespace steward::test
