// A configuration in memory, with the tool's judgement of what it is read from. Texts are UTF-8.
#pragma once

#include "config/ConfigDocument.h"

#include <optional>
#include <string>
#include <vector>

namespace steward::configtool {

struct Setting {
    std::string group;
    std::string key;
    std::string value;

    [[nodiscard]] bool IsPassword() const;
};

// The text of an encrypted configuration, which may not parse. Fails for what does not decrypt to XML.
std::string ReadableText(const std::wstring& path);

class Configuration {
  public:
    // All three fail, saying why, for what the plug-in could not read either.
    static Configuration FromFile(const std::wstring& path); // encrypted, as the platform keeps it
    static Configuration FromXml(const std::wstring& path);  // readable
    static Configuration FromEncrypted(const std::string& bytes);

    [[nodiscard]] std::vector<Setting> Settings() const;

    // As the plug-in looks one up: of several of one name the first counts.
    [[nodiscard]] std::optional<Setting> Find(const std::string& group, const std::string& key) const;

    // False when there is none.
    bool Set(const Setting& setting);
    // The group too, when it is missing.
    void Add(const Setting& setting);

    // Fails unless the root element, the only one at the top, is the configuration's: nothing else is
    // written.
    void CheckRoot(const std::wstring& path) const;

    // The readable text, and what the file holds.
    [[nodiscard]] std::string Print() const { return document_.Print(); }
    [[nodiscard]] std::string Encrypt() const;

  private:
    static Configuration FromText(std::string text, const std::wstring& what, const wchar_t* advice);
    [[nodiscard]] TiXmlNode* First(const std::string& xpath) const;

    ConfigDocument document_;
};

} // namespace steward::configtool
