#pragma once

#include <cstdint>
#include <string>

namespace steward::tools {

struct FileHash {
    std::string algorithm; // "SHA-256"; "SHA-1" where this Windows' CryptoAPI has no better
    std::string digits;    // lower-case hexadecimal; empty when the file cannot be read
    uint32_t error = 0;    // Windows error of the reading
};

FileHash HashOf(const std::wstring& path);

} // namespace steward::tools
