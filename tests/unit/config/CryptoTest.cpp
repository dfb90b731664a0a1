#include "config/util_OrplDataCrypto.h"

#include "support/ConfigFolder.h"
#include "support/Fault.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <wincrypt.h>

#include <cstdint>
#include <numeric>

namespace steward::test {

// "failed" when it fails.
static std::string Transform(bool encrypt, const std::string& input) {
    std::shared_ptr<uint8_t> output;
    uint32_t length = 0;
    const auto operation = encrypt ? OrplDataCrypto::Encrypt : OrplDataCrypto::Decrypt;
    const bool succeeded = operation(nullptr, reinterpret_cast<const uint8_t*>(input.data()),
                                     static_cast<uint32_t>(input.size()), output, length);
    return succeeded ? std::string(output.get(), output.get() + length) : "failed";
}

// Faults: pieces that do not continue one key stream; lost or repeated bytes at the 1000-byte border; a
// provider is asked to transform nothing, which some refuse.
TEST(Crypto, EqualsOneContinuousRc4InBothDirections) {
    const ImportPatch<"CryptDecrypt", decltype(CryptDecrypt)> decrypt(
        kSelf, [&](auto key, auto hash, auto isFinal, auto flags, auto* data, auto* length) {
            return *length != 0 ? decrypt.Original(key, hash, isFinal, flags, data, length) : FALSE;
        });
    for (const size_t bytes : {0U, 1U, 999U, 1000U, 1001U, 2000U, 1U << 20}) {
        std::string text(bytes, '\0');
        std::iota(text.begin(), text.end(), '\0');
        EXPECT_TRUE(Transform(true, text) == Rc4(text)) << bytes;
        EXPECT_TRUE(Transform(false, Rc4(text)) == text) << bytes;
    }
}

// Faults: a failing step that goes unreported, is reported with a wrong text.
TEST(Crypto, EveryFailingCallIsReported) {
    // The import and which call of it fails, whether to encrypt, the message.
    const std::tuple<const char*, int, bool, std::string> cases[] = {
        {"CryptAcquireContextW", 1, true, "Error during CryptAcquireContext!"},
        {"CryptCreateHash", 1, true, "Error during CryptCreateHash!"},
        {"CryptHashData", 1, true, "Error during CryptHashData."},
        {"CryptDeriveKey", 1, true, "Error during CryptDeriveKey!"},
        {"CryptDestroyHash", 1, true, "Error during CryptDestroyHash"},
        {"CryptEncrypt", 1, true, "Error during CryptEncrypt - count crypto size."},
        {"CryptEncrypt", 6, true, "Error during CryptEncrypt."}, // the last piece
        {"CryptDecrypt", 1, false, "Error during CryptDecrypt."},
        {"malloc", 1, true, "Out of memory."},  // the working buffer
        {"malloc", 3, false, "Out of memory."}, // the output; between them the first one's reference count
        {"CryptDestroyKey", 1, false, "Error during CryptDestroyKey"},
        {"CryptReleaseContext", 1, false, "Error during CryptReleaseContext"},
    };
    const std::string line = "5 Util COMMON util_OrplDataCrypto.cpp: ";
    const std::string number = line + "error(5). Msg = \"Access denied.\r\n\"";
    const std::string input(4321, 'x');
    LogCapture log(kSelf, 5);
    for (const auto& [import, call, encrypt, message] : cases) {
        const Fault failing(kSelf, import, ERROR_ACCESS_DENIED, call);
        const bool succeeds = IsCloser(import) && !encrypt; // only the clean-up fails
        EXPECT_EQ(Transform(encrypt, input) != "failed", succeeds) << message;
        EXPECT_THAT(log.Take(), testing::ElementsAre(line + "OrplDataCrypto error. " + message, number));
    }
    const ImportPatch<"CryptDecrypt", decltype(CryptDecrypt)> growing(
        kSelf, [](auto, auto, auto, auto, auto, DWORD* length) {
            SetLastError(ERROR_ACCESS_DENIED);
            return ++*length != 0;
        });
    EXPECT_EQ(Transform(false, input), "failed");
    EXPECT_THAT(log.Take(),
                testing::ElementsAre(line + "OrplDataCrypto error. Output buffer is not enough.", number));
}

// Faults: another code than documented; a buffer written past its capacity.
TEST(Crypto, EncryptIntoBufferAnswersByCode) {
    const uint8_t input[] = "0123456789";
    uint8_t buffer[10] = {};
    uint32_t length = 0;
    const auto encrypt = [&](uint8_t* to, uint32_t capacity, uint32_t* written) {
        return OrplDataCrypto::EncryptIntoBuffer(nullptr, input, 10, to, capacity, written);
    };
    EXPECT_EQ(encrypt(buffer, 10, nullptr), 0xE0FF0007U);
    EXPECT_EQ(encrypt(nullptr, 10, &length), 0xE018000DU);
    EXPECT_EQ(encrypt(buffer, 9, &length), 0xE018000DU);
    EXPECT_EQ(length, 10U);
    EXPECT_EQ(encrypt(buffer, 10, &length), 0x20FF0000U);
    EXPECT_EQ(Rc4(std::string(buffer, buffer + length)), "0123456789");
    const Fault failing(kSelf, "CryptDeriveKey", ERROR_ACCESS_DENIED);
    EXPECT_EQ(encrypt(buffer, 10, &length), 0xE018001AU);
}

} // namespace steward::test
