// A folder of its own for each test, with configuration files in it. It is the current folder meanwhile.
#pragma once

#include "support/ToolRun.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace steward::test {

// The file's cipher, independent of the code under test: RC4 under the MD5 digest of the platform's password.
std::string Rc4(std::string text);

std::string Repeated(const std::string& text, size_t count);

class ConfigFolder {
  public:
    ConfigFolder();
    ConfigFolder(const ConfigFolder&) = delete;
    ~ConfigFolder();

    [[nodiscard]] const std::wstring& Path() const { return path_; }
    [[nodiscard]] std::wstring File(const std::wstring& name) const { return path_ + L"\\" + name; }

    void Write(const std::wstring& name, const std::string& bytes) const {
        std::ofstream(std::filesystem::path(File(name)), std::ios::binary) << bytes;
    }
    [[nodiscard]] std::string Read(const std::wstring& name) const { return ReadWholeFile(File(name)); }

    // system_config.cfg, by its readable text.
    void WriteConfig(const std::string& text) const { Write(L"system_config.cfg", Rc4(text)); }
    [[nodiscard]] std::string ReadConfig() const { return Rc4(Read(L"system_config.cfg")); }

    // How many files there are: a temporary one must not stay.
    [[nodiscard]] auto FileCount() const {
        return std::distance(std::filesystem::directory_iterator(path_), {});
    }

    // Whether the registry names it as the platform's, until the end.
    void SetInstallDir(bool isPlatforms) const;

  private:
    std::wstring path_;
};

} // namespace steward::test
