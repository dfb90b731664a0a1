#include "Configuration.h"

#include "Failure.h"
#include "Files.h"
#include "config/FileText.h"
#include "config/SysConfigManager.h"
#include "config/util_OrplDataCrypto.h"
#include "util/Utf8.h"

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

namespace steward::configtool {

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
const std::string kRoot = std::string("/") + kConfigRootName;

std::string Transformed(decltype(OrplDataCrypto::Encrypt) transform, const std::string& bytes) {
    std::shared_ptr<uint8_t> output;
    uint32_t length = 0;
    if (bytes.size() > UINT32_MAX || !transform(nullptr, reinterpret_cast<const uint8_t*>(bytes.data()),
                                                static_cast<uint32_t>(bytes.size()), output, length)) {
        Fail(L"Windows does not encrypt or decrypt the configuration (" + LastErrorText() +
             L"); check its cryptographic services");
    }
    return {reinterpret_cast<const char*>(output.get()), length};
}

std::string Decrypted(const std::string& bytes) {
    return Transformed(OrplDataCrypto::Decrypt, bytes);
}

bool LooksLikeXml(std::string_view text) {
    if (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(std::string_view(kByteOrderMark).size());
    }
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && text[first] == '<';
}

bool IsUtf8(std::string_view bytes) {
    return bytes.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                static_cast<int>(bytes.size()), nullptr, 0) != 0;
}

// "&#0;", which no XML may hold: the parser would end the value there.
bool RefersToNul(std::string_view text) {
    for (size_t at = text.find("&#"); at != std::string_view::npos; at = text.find("&#", at + 1)) {
        const size_t digits = text.find_first_not_of("xX", at + 2);
        const size_t end = text.find_first_not_of('0', digits);
        if (end != std::string_view::npos && end > digits && text[end] == ';') {
            return true;
        }
    }
    return false;
}

std::string ReadBytes(const std::wstring& path, const wchar_t* advice) {
    std::optional<std::string> bytes;
    WhileInUse([&] { return (bytes = ReadText(path)).has_value(); });
    if (bytes) {
        return std::move(*bytes);
    }
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
        Fail(L"there is no " + path + L"; " + advice);
    }
    Fail(path + L" cannot be read (" + LastErrorText() + L"); check its access rights");
}

// Fails with the place and the reason of what does not parse.
ConfigDocument Parsed(std::string text, const std::wstring& what, const wchar_t* advice) {
    ConfigDocument document;
    const auto result = document.Parse(std::move(text));
    switch (result.outcome) {
    case ConfigDocument::Outcome::Parsed:
        break;
    case ConfigDocument::Outcome::SyntaxError:
        Fail(what + L", line " + std::to_wstring(result.row) + L", column " + std::to_wstring(result.column) +
             L": " + WideFromUtf8(result.description) + L" " + advice);
    case ConfigDocument::Outcome::NoRoot:
        Fail(what + L" has no root element <SysConfigManager>. " + advice);
    case ConfigDocument::Outcome::Refused:
        Fail(what + L" holds a NUL or is too deep or too large for a configuration. " + advice);
    }
    return document;
}

std::string XPathOf(const std::string& group, const std::string& key) {
    return kRoot + "/" + group + "/" + key;
}

std::unique_ptr<TiXmlElement> NewElement(const std::string& name) {
    return std::make_unique<TiXmlElement>(name.c_str());
}

} // namespace

bool Setting::IsPassword() const {
    return SysConfigManager::IsPasswordTypeConfig(WideFromUtf8(key));
}

std::string ReadableText(const std::wstring& path) {
    const std::string bytes =
        ReadBytes(path, L"name another file with --file or create this one with import");
    if (LooksLikeXml(bytes)) {
        Fail(path +
             L" is readable XML, not an encrypted configuration; use import to make a configuration of it");
    }
    std::string text = Decrypted(bytes);
    if (!LooksLikeXml(text)) {
        Fail(path + L" holds no configuration: it decrypts to noise; replace it with import");
    }
    return text;
}

Configuration Configuration::FromFile(const std::wstring& path) {
    return FromText(ReadableText(path), path + L", decrypted",
                    L"The plug-in cannot read it either; export it, correct that file and import it");
}

Configuration Configuration::FromEncrypted(const std::string& bytes) {
    return FromText(Decrypted(bytes), L"What would be written", L"Nothing was changed");
}

Configuration Configuration::FromText(std::string text, const std::wstring& what, const wchar_t* advice) {
    Configuration configuration;
    configuration.document_ = Parsed(std::move(text), what, advice);
    return configuration;
}

Configuration Configuration::FromXml(const std::wstring& path) {
    std::string text = ReadBytes(path, L"check the path");
    if (!LooksLikeXml(text) && LooksLikeXml(Decrypted(text))) {
        Fail(path + L" is an encrypted configuration already, not readable XML; copy it, or export it first");
    }
    if (!IsUtf8(text)) {
        Fail(path + L" is not UTF-8; store it as UTF-8 and import it again");
    }
    if (RefersToNul(text)) {
        Fail(path + L" holds a reference to the character 0, which no value can keep; take it out");
    }
    if (!text.starts_with(kByteOrderMark)) {
        text.insert(0, kByteOrderMark); // without it the parser takes character references for single bytes
    }
    return FromText(std::move(text), path, L"Correct the file and import it again");
}

std::vector<Setting> Configuration::Settings() const {
    std::vector<Setting> settings;
    for (TiXmlNode* const group : document_.Select(kRoot + "/*")) {
        for (auto* element = group->FirstChildElement(); element != nullptr;
             element = element->NextSiblingElement()) {
            settings.push_back({group->Value(), element->Value(), TextOf(*element)});
        }
    }
    return settings;
}

std::optional<Setting> Configuration::Find(const std::string& group, const std::string& key) const {
    const TiXmlNode* const node = First(XPathOf(group, key));
    if (node == nullptr) {
        return std::nullopt;
    }
    return Setting{group, key, TextOf(*node->ToElement())};
}

bool Configuration::Set(const Setting& setting) {
    TiXmlNode* const node = First(XPathOf(setting.group, setting.key));
    if (node != nullptr) {
        SetText(*node, setting.value);
    }
    return node != nullptr;
}

void Configuration::Add(const Setting& setting) {
    TiXmlNode* group = First(kRoot + "/" + setting.group);
    if (group == nullptr) {
        group = First(kRoot)->LinkEndChild(NewElement(setting.group).release());
    }
    TiXmlNode* const element = group->LinkEndChild(NewElement(setting.key).release());
    SetText(*element, setting.value);
}

void Configuration::CheckRoot(const std::wstring& path) const {
    const auto roots = document_.Select("/*");
    if (roots.size() != 1 || std::string_view(roots.front()->Value()) != kConfigRootName) {
        Fail(path + L" has <" + WideFromUtf8(roots.front()->Value()) + L"> as its root element" +
             (roots.size() > 1 ? L", and others beside it" : L"") +
             L"; a configuration has <SysConfigManager> alone. Correct the file and import it again");
    }
}

std::string Configuration::Encrypt() const {
    return Transformed(OrplDataCrypto::Encrypt, Print());
}

TiXmlNode* Configuration::First(const std::string& xpath) const {
    const auto nodes = document_.Select(xpath);
    return nodes.empty() ? nullptr : nodes.front();
}

} // namespace steward::configtool
