// Encryption of system_config.cfg: RC4 under the MD5 digest of a password, by the platform's CryptoAPI. The
// encrypted form is exactly as long as the text. Nothing tells a wrong password but the noise that comes out.
#pragma once

#include <cstdint>
#include <memory>

namespace steward {

struct CryptoBuffDeleter {
    void operator()(uint8_t* buffer) const;
};

// Lengths and capacities are in bytes. `password` is a NUL-terminated text or null for the platform's own.
// Nothing throws; failures are logged and change last-error.
class OrplDataCrypto {
  public:
    // On false, `output` and `outputLength` are assigned but hold nothing of use.
    static bool Decrypt(const char* password, const uint8_t* input, uint32_t inputLength,
                        std::shared_ptr<uint8_t>& output, uint32_t& outputLength);
    static bool Encrypt(const char* password, const uint8_t* input, uint32_t inputLength,
                        std::shared_ptr<uint8_t>& output, uint32_t& outputLength);

    // 0x20FF0000 on success, 0xE0FF0007 for a null `outputLength`, 0xE018001A when the encryption fails,
    // 0xE018000D when `buffer` is null or too small. `*outputLength` is the length needed in the last case.
    static uint32_t EncryptIntoBuffer(const char* password, const uint8_t* input, uint32_t inputLength,
                                      uint8_t* buffer, uint32_t capacity, uint32_t* outputLength);
};

} // namespace steward
