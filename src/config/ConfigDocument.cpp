#include "config/ConfigDocument.h"

#include "config/ParserLimits.h"
#include "config/XPathQuery.h"

#include <utility>

namespace steward {
namespace {

constexpr char kDeclarationLine[] = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n";

} // namespace

ConfigDocument::ParseResult ConfigDocument::Parse(std::string text) {
    tree_ = std::make_unique<TiXmlDocument>();
    const bool holdsNul = text.find('\0') != std::string::npos;
    text.append(kParserSlack, '\0');
    if (!IsWithinParserLimits(text)) {
        return {Outcome::Refused};
    }
    auto tree = std::make_unique<TiXmlDocument>();
    tree->Parse(text.c_str());
    if (tree->Error()) {
        return {Outcome::SyntaxError, tree->ErrorDesc(), tree->ErrorRow(), tree->ErrorCol()};
    }
    if (holdsNul) {
        return {Outcome::Refused};
    }
    tree_ = std::move(tree);
    return {tree_->FirstChildElement(kConfigRootName) == nullptr ? Outcome::NoRoot : Outcome::Parsed};
}

std::vector<TiXmlNode*> ConfigDocument::Select(const std::string& expression) const {
    TiXmlElement* const root = tree_->RootElement();
    return root == nullptr ? std::vector<TiXmlNode*>() : SelectNodes(*root, expression);
}

std::string ConfigDocument::Print() const {
    TiXmlPrinter printer;
    tree_->RootElement()->Accept(&printer);
    return kDeclarationLine + std::string(printer.CStr(), printer.Size());
}

const char* TextOf(const TiXmlElement& element) {
    const char* const text = element.GetText();
    return text == nullptr ? "" : text;
}

void SetText(TiXmlNode& node, const std::string& text) {
    TiXmlText* const existing = node.FirstChild() == nullptr ? nullptr : node.FirstChild()->ToText();
    if (existing == nullptr) {
        node.LinkEndChild(std::make_unique<TiXmlText>(text.c_str()).release());
        return;
    }
    existing->SetValue(text.c_str());
    existing->SetCDATA(false); // printed as CDATA, a text with "]]>" would not be read back
}

} // namespace steward
