#include "Commands.h"

#include "Json.h"
#include "config/ConfigDocument.h"
#include "config/FileText.h"
#include "config/SaveCfgHelper.h"
#include "config/SysConfigManager.h"
#include "util/Handles.h"
#include "util/RegKey.h"
#include "util/Std_Utils_File.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace steward::configtool {
namespace {

constexpr char kStars[] = "********";
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

[[noreturn]] void Fail(const std::wstring& message) {
    throw Failure(Utf8FromWide(message));
}

std::wstring LastErrorText() {
    const DWORD error = GetLastError();
    wchar_t text[512] = {};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    const std::wstring_view message(text, length);
    return L"error " + std::to_wstring(error) + L": " +
           std::wstring(message.substr(0, message.find_last_not_of(L"\r\n. ") + 1));
}

struct ConfigPath {
    std::wstring folder;
    std::wstring name;
    [[nodiscard]] std::wstring Full() const { return folder + L"\\" + name; }
};

std::wstring InstalledFile() {
    std::wstring folder;
    if (!ReadHKLMString(folder, L"SOFTWARE\\Vexholm\\ORPL", L"InstallDir")) {
        Fail(L"the registry value \"InstallDir\" under HKEY_LOCAL_MACHINE\\SOFTWARE\\Vexholm\\ORPL cannot be "
             L"read; "
             L"name the configuration file with --file");
    }
    return folder.empty() ? kSysConfigFileName : folder + L"\\" + kSysConfigFileName;
}

ConfigPath Locate(const CommandLine& line) {
    const std::wstring path = line.file.empty() ? InstalledFile() : line.file;
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    const size_t separator = full.rfind(L'\\');
    if (separator == std::wstring::npos || separator + 1 == full.size()) {
        Fail(L"\"" + path + L"\" is not the path of a file; name one with --file");
    }
    return {full.substr(0, separator), full.substr(separator + 1)};
}

class Config {
  public:
    explicit Config(ConfigPath path) : path_(std::move(path)), manager_(path_.folder, path_.name) {
        if (!IsFileExist(path_.Full().c_str())) {
            Fail(L"there is no " + path_.Full() +
                 L"; name another file with --file or create this one with import");
        }
        if (!manager_.Load()) {
            manager_.Unload();
            Fail(path_.Full() + L" is unreadable or holds no configuration; replace it with import");
        }
    }
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    ~Config() { manager_.Unload(); }

    SysConfigManager* operator->() { return &manager_; }

    std::vector<SysConfig> List() {
        std::vector<SysConfig> list;
        manager_.ListAllSysConfig(list);
        return list;
    }

    [[noreturn]] void FailForMissing(const std::wstring& group, const std::wstring& key) const {
        Fail(L"there is no " + key + L" in group " + group + L" of " + path_.Full() +
             L"; \"stewardConfig list\" shows what there is");
    }

  private:
    ConfigPath path_;
    SysConfigManager manager_;
};

// A file that takes another one's place when it is complete, or vanishes.
class Replacement {
  public:
    explicit Replacement(ConfigPath target)
        : target_(std::move(target)),
          path_{target_.folder, target_.name + L"." + std::to_wstring(GetCurrentProcessId()) + L".new"} {}
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() { DeleteFileW(path_.Full().c_str()); }

    [[nodiscard]] const ConfigPath& Path() const { return path_; }

    [[noreturn]] void FailToWrite() const {
        Fail(path_.Full() + L" cannot be written (" + LastErrorText() +
             L"); check the folder and its access rights");
    }

    void TakeOver() const {
        if (MoveFileExW(path_.Full().c_str(), target_.Full().c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == FALSE) {
            Fail(target_.Full() + L" cannot be replaced (" + LastErrorText() + L"); nothing was changed");
        }
    }

  private:
    ConfigPath target_;
    ConfigPath path_;
};

std::string Shown(const std::wstring& name, const std::wstring& value, bool showSecrets) {
    return SysConfigManager::IsPasswordTypeConfig(name) && !showSecrets ? kStars : Utf8FromWide(value);
}

std::string Get(const CommandLine& line) {
    Config config(Locate(line));
    std::wstring value;
    if (config->GetSysConfig(line.operands[0], line.operands[1], value) != SYSCONFIG_SUCCESS) {
        config.FailForMissing(line.operands[0], line.operands[1]);
    }
    return Shown(line.operands[1], value, line.showSecrets) + "\n";
}

bool IsSame(const SysConfig& a, const SysConfig& b) {
    return a.group == b.group && a.name == b.name && a.value == b.value;
}

void Set(const CommandLine& line) {
    const ConfigPath path = Locate(line);
    Config config(path);
    if (config->SetSysConfig(line.operands[0], line.operands[1], line.operands[2]) != SYSCONFIG_SUCCESS) {
        config.FailForMissing(line.operands[0], line.operands[1]);
    }
    const Replacement replacement(path);
    if (!config->saveFile(replacement.Path().folder, replacement.Path().name, true)) {
        replacement.FailToWrite();
    }
    const auto wanted = config.List();
    const auto written = Config(replacement.Path()).List();
    if (!std::equal(wanted.begin(), wanted.end(), written.begin(), written.end(), IsSame)) {
        Fail(L"the value would not be read back as it is; blanks at its ends and double blanks do not "
             L"survive in the "
             L"file, and nothing was changed");
    }
    replacement.TakeOver();
}

std::string TextLine(const std::string& group, const std::string& key, const std::string& value) {
    return group + "\t" + key + "\t" + value + "\n";
}

std::string JsonObject(const std::string& group, const std::string& key, const std::string& value) {
    return "  {\"group\": " + tools::JsonText(group) + ", \"key\": " + tools::JsonText(key) +
           ", \"value\": " + tools::JsonText(value) + "}";
}

std::string List(const CommandLine& line) {
    Config config(Locate(line));
    std::string text;
    for (const SysConfig& entry : config.List()) {
        if (line.json) {
            text += text.empty() ? "[\n" : ",\n";
        }
        const auto form = line.json ? JsonObject : TextLine;
        text += form(Utf8FromWide(entry.group), Utf8FromWide(entry.name),
                     Shown(entry.name, entry.value, line.showSecrets));
    }
    if (line.json) {
        text += text.empty() ? "[]\n" : "\n]\n";
    }
    return text;
}

void Export(const CommandLine& line) {
    const ConfigPath path = Locate(line);
    const Config check(path);
    const auto text = ReadEncryptedText(path.Full());
    if (!text) {
        Fail(path.Full() + L" cannot be read (" + LastErrorText() + L"); check its access rights");
    }
    CommandLine target;
    target.file = line.operands[0];
    const Replacement replacement(Locate(target));
    FileHandle file(CreateFileW(replacement.Path().Full().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_FLAG_WRITE_THROUGH, nullptr));
    DWORD written = 0;
    if (!file ||
        WriteFile(file.Get(), text->data(), static_cast<DWORD>(text->size()), &written, nullptr) == FALSE ||
        written != text->size()) {
        replacement.FailToWrite();
    }
    file.Reset();
    replacement.TakeOver();
}

bool IsUtf8(std::string_view bytes) {
    return bytes.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                static_cast<int>(bytes.size()), nullptr, 0) != 0;
}

// The document in a readable XML file.
ConfigDocument ReadDocument(const std::wstring& path) {
    auto text = ReadText(path);
    if (!text) {
        Fail(path + L" cannot be read (" + LastErrorText() + L"); check the path");
    }
    if (!IsUtf8(*text)) {
        Fail(path + L" is not UTF-8; store it as UTF-8 and import it again");
    }
    if (!text->starts_with(kByteOrderMark)) {
        text->insert(0, kByteOrderMark); // without it the parser takes character references for single bytes
    }
    ConfigDocument document;
    const auto result = document.Parse(std::move(*text));
    switch (result.outcome) {
    case ConfigDocument::Outcome::Parsed:
        break;
    case ConfigDocument::Outcome::SyntaxError:
        Fail(path + L", line " + std::to_wstring(result.row) + L", column " + std::to_wstring(result.column) +
             L": " + WideFromUtf8(result.description) + L" Correct the file and import it again");
    case ConfigDocument::Outcome::NoRoot:
        Fail(path + L" has no root element <SysConfigManager>; correct the file and import it again");
    case ConfigDocument::Outcome::Refused:
        Fail(path +
             L" holds a NUL or is too deep or too large for a configuration; correct the file and import it "
             L"again");
    }
    return document;
}

void Import(const CommandLine& line) {
    const ConfigDocument document = ReadDocument(line.operands[0]);
    const Replacement replacement(Locate(line));
    if (!SaveCfgHelper(document.Print()).Save(replacement.Path().Full(), true)) {
        replacement.FailToWrite();
    }
    replacement.TakeOver();
}

} // namespace

std::string Run(const CommandLine& line) {
    switch (line.command) {
    case Command::Help:
        return kHelp;
    case Command::Version:
        return "stewardConfig " STEWARD_VERSION "\n";
    case Command::Get:
        return Get(line);
    case Command::List:
        return List(line);
    case Command::Set:
        Set(line);
        break;
    case Command::Export:
        Export(line);
        break;
    case Command::Import:
        Import(line);
        break;
    }
    return {};
}

} // namespace steward::configtool
