// Configuration text to parse, query, change, print and parse again. Faults: memory read past a text,
// undefined behaviour, nesting that the limits do not see but the parser does, a printed text that is read
// back as another one.
#include "Require.h"

#include "config/ConfigDocument.h"
#include "config/ParserLimits.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using namespace steward;

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

// Once more with a nest of too many elements behind the text.
void CheckLimits(std::string text) {
    for (size_t i = 0; i <= kMaxNesting; ++i) {
        text += "<a>";
    }
    text.append(kParserSlack, '\0');
    if (IsWithinParserLimits(text)) {
        TiXmlDocument document;
        document.Parse(text.c_str());
        Require(DepthOf(document) <= kMaxNesting, "a text within the limits nests no deeper");
    }
}

// Bytes that follow a lead byte, or none when it is no lead byte.
size_t FollowersOf(unsigned char lead) {
    return lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 && lead < 0xF0 ? 2 : lead >= 0xC2 && lead < 0xE0;
}

bool IsUtf8(const std::string& text) {
    for (size_t at = 0; at < text.size(); ++at) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const size_t followers = FollowersOf(lead);
        if (lead >= 0x80 && followers == 0) {
            return false;
        }
        for (size_t i = 0; i < followers; ++i) {
            ++at;
            if (at >= text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) {
                return false;
            }
        }
    }
    return true;
}

// The parser drops an ampersand that begins no reference, and a number may stand for a blank: what they leave
// may be blanks that the next reading condenses.
bool MayLeaveBlanks(const std::string& text) {
    for (size_t at = 0; (at = text.find('&', at)) != std::string::npos; ++at) {
        const auto begins = [&](const char* reference) {
            return text.compare(at, std::strlen(reference), reference) == 0;
        };
        if (!begins("&lt;") && !begins("&gt;") && !begins("&amp;") && !begins("&quot;") &&
            !begins("&apos;")) {
            return true;
        }
    }
    return false;
}

// The file format is UTF-8. The parser prints a declaration inside the root without escaping its values, and
// takes a byte order mark and U+FFFE, U+FFFF for white space.
bool IsComparable(const std::string& printed) {
    const auto holds = [&](const char* bytes) { return printed.find(bytes, 1) != std::string::npos; };
    return IsUtf8(printed) && !holds("<?xml") && !holds("\xEF\xBB\xBF") && !holds("\xEF\xBF\xBE") &&
           !holds("\xEF\xBF\xBF");
}

// What is read of a printed text, printed again.
std::string PrintedAgain(const std::string& printed) {
    ConfigDocument document;
    const auto outcome = document.Parse(printed).outcome;
    Require(outcome == ConfigDocument::Outcome::Parsed || outcome == ConfigDocument::Outcome::NoRoot,
            "what was printed is parsed");
    return document.Print();
}

void CheckReadBack(const ConfigDocument& document, const std::string& text) {
    std::string printed = document.Print();
    if (!IsComparable(printed)) {
        return;
    }
    if (MayLeaveBlanks(text)) {
        printed = PrintedAgain(printed);
    }
    Require(PrintedAgain(printed) == printed, "what was printed is read back equal");
}

// The parser condenses blanks and drops a text of white space alone.
std::string Storable(const std::string& text) {
    std::string value;
    for (const char c : text) {
        if (c != '\0' && (c != ' ' || (!value.empty() && value.back() != ' '))) {
            value += c;
        }
    }
    while (!value.empty() && value.back() == ' ') {
        value.pop_back();
    }
    const bool isBlank = value.find_first_not_of(" \t\n\v\f\r") == std::string::npos;
    return isBlank || !IsUtf8(value) ? "" : value;
}

// Of configurations as documents have them: with a text or nothing inside.
void CheckChange(ConfigDocument& document, const std::string& value) {
    if (document.Select("/*").size() != 1) {
        return; // only the first root element is printed
    }
    const auto nodes = document.Select("/*/*/*");
    for (TiXmlNode* const node : nodes) {
        if (node->FirstChild() != node->LastChild() ||
            (node->FirstChild() != nullptr && node->FirstChild()->ToText() == nullptr)) {
            return;
        }
        SetText(*node, value);
    }
    const std::string printed = document.Print();
    if (!IsComparable(printed)) {
        return;
    }
    ConfigDocument again;
    again.Parse(printed);
    const auto read = again.Select("/*/*/*");
    Require(read.size() == nodes.size(), "no configuration is lost");
    for (const TiXmlNode* const node : read) {
        Require(TextOf(*node->ToElement()) == value, "a value that was set is read back");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (size % 8 == 0) { // slow: the parser's time grows with the square of the depth
        CheckLimits(text);
    }
    ConfigDocument document;
    document.Parse(text);
    for (const char* const expression : {"/SysConfigManager/*", "/SysConfigManager/G/k", "/*/*/*"}) {
        for (const TiXmlNode* const node : document.Select(expression)) {
            Require(node->ToElement() != nullptr, "a query selects elements");
            static_cast<void>(TextOf(*node->ToElement()));
        }
    }
    static_cast<void>(document.Select(text.substr(0, 100)));
    if (document.HasRoot()) {
        CheckReadBack(document, text);
        CheckChange(document, Storable(text));
    }
    return 0;
}
