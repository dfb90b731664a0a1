#include "config/util_OrplDataCrypto.h"

#include "ConfigFolder.h"
#include "support/ImportPatch.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <wincrypt.h>

#include <string_view>

namespace steward::test {
namespace {

using testing::ElementsAre;

std::string Sample(size_t bytes) {
    std::string text(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>(i * 7 + i / 251);
    }
    return text;
}

struct Outcome {
    bool succeeded;
    std::string bytes;
};

Outcome Transform(bool encrypt, const std::string& input, const char* password = nullptr) {
    std::shared_ptr<uint8_t> output;
    uint32_t length = 0xFFFF;
    const auto operation = encrypt ? OrplDataCrypto::Encrypt : OrplDataCrypto::Decrypt;
    const bool succeeded = operation(password, reinterpret_cast<const uint8_t*>(input.data()),
                                     static_cast<uint32_t>(input.size()), output, length);
    return {succeeded, succeeded ? std::string(reinterpret_cast<char*>(output.get()), length) : ""};
}

// Watches CryptoAPI and lets the call named `failing` fail with ERROR_ACCESS_DENIED.
class CryptoSpy {
  public:
    explicit CryptoSpy(std::string_view failing) : failing_(failing) {}

    [[nodiscard]] int LiveHandles() const { return live_; }

  private:
    bool Fails(std::string_view call) const {
        if (call == failing_) {
            SetLastError(ERROR_ACCESS_DENIED);
        }
        return call == failing_;
    }
    template <typename Patch, typename... A> BOOL Call(const char* name, Patch& patch, A... arguments) {
        return !Fails(name) && patch.Original(arguments...);
    }
    template <typename Patch, typename... A> BOOL Open(const char* name, Patch& patch, A... arguments) {
        const BOOL opened = Call(name, patch, arguments...);
        live_ += opened != FALSE ? 1 : 0;
        return opened;
    }
    template <typename Patch, typename... A> BOOL Close(const char* name, Patch& patch, A... arguments) {
        --live_;
        const BOOL closed = patch.Original(arguments...);
        return !Fails(name) && closed;
    }

    std::string_view failing_;
    int live_ = 0;
    HMODULE self_ = GetModuleHandleW(nullptr);
    ImportPatch<"CryptAcquireContextW", decltype(CryptAcquireContextW)> acquire_{
        self_, [this](auto... a) { return Open("acquire", acquire_, a...); }};
    ImportPatch<"CryptReleaseContext", decltype(CryptReleaseContext)> release_{
        self_, [this](auto... a) { return Close("release", release_, a...); }};
    ImportPatch<"CryptCreateHash", decltype(CryptCreateHash)> createHash_{
        self_, [this](auto... a) { return Open("create hash", createHash_, a...); }};
    ImportPatch<"CryptDestroyHash", decltype(CryptDestroyHash)> destroyHash_{
        self_, [this](auto... a) { return Close("destroy hash", destroyHash_, a...); }};
    ImportPatch<"CryptDeriveKey", decltype(CryptDeriveKey)> derive_{
        self_, [this](auto... a) { return Open("derive key", derive_, a...); }};
    ImportPatch<"CryptDestroyKey", decltype(CryptDestroyKey)> destroyKey_{
        self_, [this](auto... a) { return Close("destroy key", destroyKey_, a...); }};
    ImportPatch<"CryptHashData", decltype(CryptHashData)> hashData_{
        self_, [this](auto... a) { return Call("hash data", hashData_, a...); }};
    ImportPatch<"CryptEncrypt", decltype(CryptEncrypt)> encrypt_{
        self_, [this](HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* length,
                      DWORD capacity) {
            return Call(data == nullptr ? "size query" : "encrypt", encrypt_, key, hash, final, flags, data,
                        length, capacity);
        }};
    ImportPatch<"CryptDecrypt", decltype(CryptDecrypt)> decrypt_{
        self_, [this](HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* length) {
            if (Fails("decrypted piece grows")) {
                *length += 1;
                return TRUE;
            }
            return Call("decrypt", decrypt_, key, hash, final, flags, data, length);
        }};
    ImportPatch<"malloc", void*(size_t)> malloc_{self_, [this](size_t bytes) -> void* {
                                                     return (bytes == 1008 && Fails("working memory")) ||
                                                                    (bytes == 4321 && Fails("output memory"))
                                                                ? nullptr
                                                                : malloc_.Original(bytes);
                                                 }};
};

std::wstring SystemText(DWORD error) {
    wchar_t text[512] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0, text, 512, nullptr);
    return text;
}

// Pieces that do not continue one key stream, lost or repeated bytes at the 1000-byte border.
TEST(Crypto, EqualsOneContinuousRc4InBothDirections) {
    for (const size_t bytes : {0U, 1U, 999U, 1000U, 1001U, 2000U, 1U << 20}) {
        const std::string text = Sample(bytes);
        const Outcome encrypted = Transform(true, text);
        ASSERT_TRUE(encrypted.succeeded) << bytes;
        EXPECT_TRUE(encrypted.bytes == Rc4(text)) << bytes;
        const Outcome decrypted = Transform(false, Rc4(text));
        ASSERT_TRUE(decrypted.succeeded) << bytes;
        EXPECT_TRUE(decrypted.bytes == text) << bytes;
    }
}

// A failing step that goes unreported, is reported with a wrong text, or leaves a handle open.
TEST(Crypto, EveryFailingCallIsReportedAndCleanedUp) {
    struct {
        const char* failing;
        bool encrypt;
        const wchar_t* message;
        bool succeeds;
    } const cases[] = {
        {"acquire", true, L"Error during CryptAcquireContext!", false},
        {"create hash", true, L"Error during CryptCreateHash!", false},
        {"hash data", true, L"Error during CryptHashData.", false},
        {"derive key", true, L"Error during CryptDeriveKey!", false},
        {"destroy hash", true, L"Error during CryptDestroyHash", false},
        {"working memory", true, L"Out of memory.", false},
        {"output memory", true, L"Out of memory.", false},
        {"output memory", false, L"Out of memory.", false},
        {"size query", true, L"Error during CryptEncrypt - count crypto size.", false},
        {"encrypt", true, L"Error during CryptEncrypt.", false},
        {"decrypt", false, L"Error during CryptDecrypt.", false},
        {"decrypted piece grows", false, L"Output buffer is not enough.", false},
        {"destroy key", false, L"Error during CryptDestroyKey", true},
        {"release", false, L"Error during CryptReleaseContext", true},
    };
    const std::string input = Sample(4321);
    const auto line = [](const std::wstring& text) {
        return LogLine(5, L"Util COMMON", L"util_OrplDataCrypto.cpp", text);
    };
    for (const auto& c : cases) {
        LogCapture log(GetModuleHandleW(nullptr), 5);
        {
            const CryptoSpy spy(c.failing);
            EXPECT_EQ(Transform(c.encrypt, input).succeeded, c.succeeds) << c.failing;
            EXPECT_EQ(spy.LiveHandles(), 0) << c.failing;
        }
        EXPECT_THAT(log.Take(), ElementsAre(line(std::wstring(L"OrplDataCrypto error. ") + c.message),
                                            line(L"error(5). Msg = \"" + SystemText(5) + L"\"")))
            << c.failing;
    }
}

TEST(Crypto, EncryptIntoBufferAnswersByCode) {
    const std::string input = "0123456789";
    const auto* const data = reinterpret_cast<const uint8_t*>(input.data());
    uint8_t buffer[10] = {};
    uint32_t length = 0;
    EXPECT_EQ(OrplDataCrypto::EncryptIntoBuffer(nullptr, data, 10, buffer, 10, nullptr), 0xE0FF0007U);
    EXPECT_EQ(OrplDataCrypto::EncryptIntoBuffer(nullptr, data, 10, buffer, 9, &length), 0xE018000DU);
    EXPECT_EQ(length, 10U);
    length = 0;
    EXPECT_EQ(OrplDataCrypto::EncryptIntoBuffer(nullptr, data, 10, nullptr, 10, &length), 0xE018000DU);
    EXPECT_EQ(length, 10U);
    EXPECT_EQ(OrplDataCrypto::EncryptIntoBuffer(nullptr, data, 10, buffer, 10, &length), 0x20FF0000U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), length), Rc4(input));
    const CryptoSpy spy("derive key");
    EXPECT_EQ(OrplDataCrypto::EncryptIntoBuffer(nullptr, data, 10, buffer, 10, &length), 0xE018001AU);
}

} // namespace
} // namespace steward::test
