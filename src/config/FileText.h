// Whole files in memory. Nothing without a result when a file cannot be read to its end; last-error says why.
#pragma once

#include <optional>
#include <string>

namespace steward {

// The bytes as they are. Reading and writing by others is allowed meanwhile.
std::optional<std::string> ReadText(const std::wstring& path);

// Decrypted with the platform's own password.
std::optional<std::string> ReadEncryptedText(const std::wstring& path);

} // namespace steward
