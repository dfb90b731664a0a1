// A folder of its own for each test, with configuration files in it.
#pragma once

#include <string>

namespace steward::test {

// The file's cipher, independent of the code under test: RC4 under the MD5 digest of the platform's password.
std::string Rc4(std::string text);

class ConfigFolder {
  public:
    ConfigFolder();
    ConfigFolder(const ConfigFolder&) = delete;
    ConfigFolder& operator=(const ConfigFolder&) = delete;
    ~ConfigFolder();

    [[nodiscard]] const std::wstring& Path() const { return path_; }
    [[nodiscard]] std::wstring File(const std::wstring& name) const { return path_ + L"\\" + name; }

    void Write(const std::wstring& name, const std::string& bytes) const;
    [[nodiscard]] std::string Read(const std::wstring& name) const;

    // system_config.cfg, by its readable text.
    void WriteConfig(const std::string& text) const { Write(L"system_config.cfg", Rc4(text)); }
    [[nodiscard]] std::string ReadConfig() const { return Rc4(Read(L"system_config.cfg")); }

    // How many files there are: a temporary one must not stay.
    [[nodiscard]] int FileCount() const;

  private:
    std::wstring path_;
};

} // namespace steward::test
