#include "config/ParserLimits.h"

#include <tinyxml.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace steward {
namespace {

constexpr const char* kEndOfText = nullptr;

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// The parser takes every byte above the printable ASCII characters for a letter.
bool IsNameStart(char c) {
    return (Lower(c) >= 'a' && Lower(c) <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 127;
}

// What means nothing to the walk, wherever it stands: all of ASCII but what may end a text, a value or a
// name, or begin a reference.
constexpr auto kIsPlain = [] {
    std::array<bool, 256> plain{};
    for (size_t byte = 1; byte < 128; ++byte) {
        plain[byte] = std::string_view("<>&/=\"'").find(static_cast<char>(byte)) == std::string_view::npos;
    }
    return plain;
}();

const char* BehindPlainText(const char* text) {
    while (kIsPlain[static_cast<unsigned char>(*text)]) {
        ++text;
    }
    return text;
}

bool StartsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

bool StartsWithIgnoringCase(const char* text, const char* prefix) {
    for (; *prefix != '\0' && Lower(*text) == *prefix; ++prefix, ++text) {
    }
    return *prefix == '\0';
}

TiXmlEncoding EncodingNamed(const char* name) {
    const bool isUtf8 =
        *name == '\0' || StartsWithIgnoringCase(name, "utf-8") || StartsWithIgnoringCase(name, "utf8");
    return isUtf8 ? TIXML_ENCODING_UTF8 : TIXML_ENCODING_LEGACY;
}

// Walks over a text as TinyXML does, tag by tag, without recursion and without building anything.
class Walk {
  public:
    explicit Walk(const char* text)
        : position_(text),
          encoding_(StartsWith(text, "\xEF\xBB\xBF") ? TIXML_ENCODING_UTF8 : TIXML_ENCODING_UNKNOWN) {}

    bool StaysWithinLimits() {
        while (WithinLimits() && FindTag()) {
            ++nodes_;
            PassTag();
        }
        return WithinLimits();
    }

  private:
    [[nodiscard]] bool WithinLimits() const {
        return deepest_ <= kMaxNesting && nodes_ <= kMaxNodes && bytesCompared_ <= kMaxBytesCompared;
    }

    bool FindTag() { return position_ != kEndOfText && PassCharactersTo('<'); }

    // To the next `end` that the parser does not take for a part of a longer character.
    bool PassCharactersTo(char end) {
        while (position_ != kEndOfText) {
            position_ = BehindPlainText(position_);
            if (*position_ == '\0' || *position_ == end) {
                break;
            }
            PassCharacter();
        }
        return position_ != kEndOfText && *position_ != '\0';
    }

    // Past one character of a text or of a quoted value.
    void PassCharacter() {
        if (position_[0] == '&' && position_[1] == '#') {
            PassBytesBehind(";"); // whatever lies between
        } else if (encoding_ == TIXML_ENCODING_UTF8) {
            position_ += TiXmlBase::utf8ByteTable[static_cast<unsigned char>(*position_)];
        } else {
            ++position_;
        }
    }

    // Behind the next `end`, byte by byte.
    void PassBytesBehind(const char* end) {
        position_ = end[1] == '\0' ? std::strchr(position_, end[0]) : std::strstr(position_, end);
        if (position_ != kEndOfText) {
            position_ += std::strlen(end);
        }
    }

    void PassTag() {
        if (StartsWithIgnoringCase(position_, "<?xml")) {
            PassDeclaration();
        } else if (StartsWith(position_, "<!--")) {
            position_ += std::strlen("<!--");
            PassBytesBehind("-->");
        } else if (StartsWith(position_, "<![CDATA[")) {
            position_ += std::strlen("<![CDATA[");
            PassBytesBehind("]]>");
        } else if (position_[1] == '/') {
            depth_ -= depth_ > 0 ? 1 : 0;
            PassBytesBehind(">");
        } else if (IsNameStart(position_[1])) {
            PassStartTag();
        } else {
            PassBytesBehind(">");
        }
    }

    // Quoted values may hold any tag; only the parser's own reading tells where a declaration ends. The
    // first one at the top says how the text is encoded.
    void PassDeclaration() {
        TiXmlDeclaration declaration;
        position_ = declaration.Parse(position_, nullptr, encoding_);
        if (depth_ == 0 && encoding_ == TIXML_ENCODING_UNKNOWN) {
            encoding_ = EncodingNamed(declaration.Encoding());
        }
    }

    void PassStartTag() {
        deepest_ = std::max(deepest_, depth_ + 1);
        size_t attributes = 0;
        const char* name = position_;
        for (++position_; *(position_ = BehindPlainText(position_)) != '\0'; ++position_) {
            switch (*position_) {
            case '>':
                ++position_;
                ++depth_;
                return;
            case '/': // an empty element; anything but ">" ends the parse
                position_ = position_[1] == '>' ? position_ + 2 : kEndOfText;
                return;
            case '=':
                ++nodes_;
                bytesCompared_ += attributes++ * static_cast<size_t>(position_ - name);
                name = position_;
                break;
            case '"':
            case '\'':
                if (!PassQuotedValue()) {
                    return;
                }
                name = position_;
                break;
            default:
                break;
            }
        }
    }

    bool PassQuotedValue() {
        const char quote = *position_++;
        return PassCharactersTo(quote);
    }

    const char* position_; // null behind the end of what the parser reads
    TiXmlEncoding encoding_;
    size_t depth_ = 0;
    size_t deepest_ = 0;
    size_t nodes_ = 0;
    size_t bytesCompared_ = 0;
};

} // namespace

bool IsWithinParserLimits(const std::string& text) {
    return Walk(text.c_str()).StaysWithinLimits();
}

} // namespace steward
