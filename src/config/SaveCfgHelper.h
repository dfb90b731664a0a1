// Writes a configuration text encrypted to a file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace steward {

class SaveCfgHelper {
  public:
    // Encrypts at once; a failure shows in Save.
    explicit SaveCfgHelper(const std::string& text);

    // Creates or truncates `path`. False, and logged, on failure; the file may then be incomplete.
    bool Save(const std::wstring& path, bool writeThrough) const;

  private:
    bool m_bEncrypted = false;
    std::shared_ptr<uint8_t> m_encrypted;
    uint32_t m_uiEncryptedLen = 0;
};

} // namespace steward
