// The configuration as an XML document, in UTF-8 throughout.
#pragma once

#include <tinyxml.h>

#include <memory>
#include <string>
#include <vector>

namespace steward {

inline constexpr char kConfigRootName[] = "SysConfigManager";

class ConfigDocument {
  public:
    enum class Outcome {
        Parsed,
        SyntaxError, // description, row and column say where
        NoRoot,      // the text is well-formed, but is no configuration
        Refused,     // holds a NUL, or is beyond what the parser may be given
    };
    struct ParseResult {
        Outcome outcome;
        std::string description = {};
        int row = 0; // 1-based; 0 where the parser names no place
        int column = 0;
    };

    // Replaces the content, which is empty when the text has a syntax error or is refused.
    ParseResult Parse(std::string text);

    [[nodiscard]] bool HasRoot() const { return tree_->RootElement() != nullptr; }

    // In document order; nothing without a root element. The nodes belong to the document.
    [[nodiscard]] std::vector<TiXmlNode*> Select(const std::string& expression) const;

    // The text of the configuration file: a declaration line and the root element, which must exist.
    [[nodiscard]] std::string Print() const;

  private:
    std::unique_ptr<TiXmlDocument> tree_ = std::make_unique<TiXmlDocument>();
};

// The text of the first child when that is a text node, otherwise empty.
const char* TextOf(const TiXmlElement& element);

// Gives the first child this text when it is a text node, otherwise appends one.
void SetText(TiXmlNode& node, const std::string& text);

} // namespace steward
