// Feeds the configuration's inner part with texts made of what its parser minds, built natively with
// sanitizers. Faults: memory read past a text, undefined behaviour, nesting that the limits do not see but
// the parser does.
//
//     config_fuzz <first seed> <texts>
#include "config/ConfigDocument.h"
#include "config/ParserLimits.h"

#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

using namespace steward;

constexpr const char* kTokens[] = {
    "<a>",
    "</a>",
    "<",
    ">",
    "/>",
    "/",
    "\"",
    "'",
    "=",
    "a=b",
    " b=\"",
    " x='",
    "<!--",
    "-->",
    "-",
    "<!",
    "<![CDATA[",
    "]]>",
    "[",
    "]",
    "<?pi",
    "?>",
    "&",
    "&#",
    "&#x",
    ";",
    "&amp;",
    "0",
    "\xC3",
    "\xF0",
    "\xFF",
    "\t",
    "\n",
    " ",
    "<_",
    "text",
    "<?xml",
    "<b c='d'>",
    "\xEF\xBB\xBF",
    "\xE2\x82",
    "<!DOCTYPE ",
    "encoding=\"latin1\"",
    "<SysConfigManager>",
    "</SysConfigManager>",
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
};

std::string MakeText(std::mt19937& random) {
    std::string text = random() % 3 == 0 ? kTokens[std::size(kTokens) - 1] : "";
    for (auto tokens = random() % 60; tokens > 0; --tokens) {
        text += kTokens[random() % std::size(kTokens)];
    }
    return text;
}

// How deep the elements of a parsed text nest.
size_t DepthOf(const TiXmlNode& document) {
    size_t deepest = 0;
    size_t depth = 1;
    for (const TiXmlNode* node = document.FirstChild(); node != nullptr;) {
        deepest = node->ToElement() != nullptr && depth > deepest ? depth : deepest;
        if (node->FirstChild() != nullptr) {
            node = node->FirstChild();
            ++depth;
            continue;
        }
        while (node != &document && node->NextSibling() == nullptr) {
            node = node->Parent();
            --depth;
        }
        node = node == &document ? nullptr : node->NextSibling();
    }
    return deepest;
}

// A text that passes the limits, with a nest of too many elements behind it, must not nest too deep.
bool LimitsHold(std::string text) {
    for (size_t i = 0; i <= kMaxNesting; ++i) {
        text += "<a>";
    }
    text.append(kParserSlack, '\0');
    if (!IsWithinParserLimits(text)) {
        return true;
    }
    TiXmlDocument document;
    document.Parse(text.c_str());
    return DepthOf(document) <= kMaxNesting;
}

} // namespace

int main(int argc, char** argv) {
    const unsigned seed = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 1;
    const long texts = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 10'000;
    std::mt19937 random(seed);
    for (long i = 0; i < texts; ++i) {
        const std::string text = MakeText(random);
        ConfigDocument document;
        document.Parse(text);
        static_cast<void>(document.Select("/SysConfigManager/*"));
        if (document.HasRoot()) {
            static_cast<void>(document.Print());
        }
        if (!LimitsHold(text)) {
            std::printf("seed %u, text %ld nests deeper than the limits saw:\n%s\n", seed, i, text.c_str());
            return 1;
        }
    }
    std::printf("%ld texts from seed %u\n", texts, seed);
}
