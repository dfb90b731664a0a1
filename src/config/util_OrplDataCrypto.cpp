#include "config/util_OrplDataCrypto.h"

#include "util/Handles.h"
#include "util/Log.h"

#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace steward {
namespace {

constexpr LogSource kLog{kUtilModule, L"util_OrplDataCrypto.cpp"};

constexpr char kPassword[] = "5B9E21A7-C4F0-4d3b-8E6C-A17F0B2D59C3";
constexpr wchar_t kProvider[] = L"Microsoft Enhanced Cryptographic Provider v1.0";
constexpr DWORD kKeyFlags = 0x00800000; // a key of 128 bits
constexpr uint32_t kPieceBytes = 1000;
constexpr uint32_t kWorkingBytes = 1008;

constexpr uint32_t kSuccess = 0x20FF0000;
constexpr uint32_t kNoLengthPointer = 0xE0FF0007;
constexpr uint32_t kEncryptionFailed = 0xE018001A;
constexpr uint32_t kBufferTooSmall = 0xE018000D;

enum class Direction { Decrypt = 0, Encrypt = 1 };

std::wstring SystemMessage(DWORD error) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                                        error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(text, LocalFree);
    return {text == nullptr ? L"" : text, length};
}

void ReportError(const wchar_t* message) {
    const DWORD error = GetLastError();
    try {
        STEWARD_LOG(5, L"OrplDataCrypto error. ", message);
        STEWARD_LOG(5, L"error(", std::to_string(error), L"). Msg = \"", SystemMessage(error), L"\"");
    } catch (const std::bad_alloc&) { // the line is lost, not the operation
        SetLastError(error);
    }
}

bool Fail(const wchar_t* message) {
    ReportError(message);
    return false;
}

struct ContextKind {
    using Handle = HCRYPTPROV;
    static Handle Empty() { return 0; }
    static void Close(Handle handle) {
        if (CryptReleaseContext(handle, 0) == FALSE) {
            ReportError(L"Error during CryptReleaseContext");
        }
    }
};

struct HashKind {
    using Handle = HCRYPTHASH;
    static Handle Empty() { return 0; }
    static void Close(Handle handle) { CryptDestroyHash(handle); }
};

struct KeyKind {
    using Handle = HCRYPTKEY;
    static Handle Empty() { return 0; }
    static void Close(Handle handle) {
        if (CryptDestroyKey(handle) == FALSE) {
            ReportError(L"Error during CryptDestroyKey");
        }
    }
};

// Null when there is no memory for it.
std::shared_ptr<uint8_t> AllocateBuffer(size_t bytes) {
    try {
        auto* const memory = static_cast<uint8_t*>(std::malloc(std::max<size_t>(bytes, 1)));
        return {memory, CryptoBuffDeleter()};
    } catch (const std::bad_alloc&) { // no memory for the reference count; the buffer is freed already
        return nullptr;
    }
}

bool DeriveKey(HCRYPTPROV context, const char* password, UniqueHandle<KeyKind>& key) {
    UniqueHandle<HashKind> hash;
    if (CryptCreateHash(context, CALG_MD5, 0, 0, hash.Out()) == FALSE) {
        return Fail(L"Error during CryptCreateHash!");
    }
    STEWARD_LOG(2, L"A hash object has been created.");
    if (CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(password),
                      static_cast<DWORD>(std::strlen(password)), 0) == FALSE) {
        return Fail(L"Error during CryptHashData.");
    }
    STEWARD_LOG(2, L"The password has been added to the hash.");
    if (CryptDeriveKey(context, CALG_RC4, hash.Get(), kKeyFlags, key.Out()) == FALSE) {
        return Fail(L"Error during CryptDeriveKey!");
    }
    STEWARD_LOG(2, L"An encryption key is derived from the password hash.");
    if (CryptDestroyHash(hash.Release()) == FALSE) {
        return Fail(L"Error during CryptDestroyHash");
    }
    return true;
}

// What the whole output needs. Some providers answer 0 for a stream cipher, whose output is as long as its
// input.
bool QueryOutputSize(Direction direction, HCRYPTKEY key, uint32_t inputLength, uint32_t& size) {
    size = inputLength;
    if (direction == Direction::Decrypt) {
        return true;
    }
    DWORD answer = inputLength;
    if (CryptEncrypt(key, 0, TRUE, 0, nullptr, &answer, 0) == FALSE) {
        return Fail(L"Error during CryptEncrypt - count crypto size.");
    }
    size = std::max<uint32_t>(inputLength, answer);
    return true;
}

bool TransformPiece(Direction direction, HCRYPTKEY key, bool isFinal, uint8_t* piece, DWORD& length) {
    if (length == 0) {
        return true; // some providers refuse it
    }
    if (direction == Direction::Encrypt) {
        return CryptEncrypt(key, 0, isFinal, 0, piece, &length, kWorkingBytes) != FALSE ||
               Fail(L"Error during CryptEncrypt.");
    }
    return CryptDecrypt(key, 0, isFinal, 0, piece, &length) != FALSE || Fail(L"Error during CryptDecrypt.");
}

bool TransformPieces(Direction direction, HCRYPTKEY key, const uint8_t* input, uint32_t inputLength,
                     uint8_t* working, uint8_t* output, uint32_t capacity, uint32_t& written) {
    uint32_t consumed = 0;
    for (bool isFinal = false; !isFinal;) {
        const uint32_t remaining = inputLength - consumed;
        DWORD length = std::min(remaining, kPieceBytes);
        isFinal = remaining <= kPieceBytes;
        std::copy_n(input + consumed, length, working);
        consumed += length;
        if (!TransformPiece(direction, key, isFinal, working, length)) {
            return false;
        }
        if (capacity - written < length) {
            return Fail(L"Output buffer is not enough.");
        }
        std::copy_n(working, length, output + written);
        written += length;
    }
    return true;
}

bool Transform(Direction direction, const char* password, const uint8_t* input, uint32_t inputLength,
               std::shared_ptr<uint8_t>& output, uint32_t& written) {
    output = nullptr;
    written = 0;
    UniqueHandle<ContextKind> context;
    if (CryptAcquireContextW(context.Out(), nullptr, kProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) ==
        FALSE) {
        return Fail(L"Error during CryptAcquireContext!");
    }
    STEWARD_LOG(2, L"A cryptographic provider has been acquired.");
    UniqueHandle<KeyKind> key;
    if (!DeriveKey(context.Get(), password == nullptr ? kPassword : password, key)) {
        return false;
    }
    const auto working = AllocateBuffer(kWorkingBytes);
    if (!working) {
        return Fail(L"Out of memory.");
    }
    STEWARD_LOG(2, L"Memory has been allocated for the buffer.");
    uint32_t capacity = 0;
    if (!QueryOutputSize(direction, key.Get(), inputLength, capacity)) {
        return false;
    }
    output = AllocateBuffer(capacity);
    if (!output) {
        return Fail(L"Out of memory.");
    }
    STEWARD_LOG(2, L"Memory has been allocated for output buffer.");
    return TransformPieces(direction, key.Get(), input, inputLength, working.get(), output.get(), capacity,
                           written);
}

} // namespace

void CryptoBuffDeleter::operator()(uint8_t* buffer) const {
    std::free(buffer);
}

bool OrplDataCrypto::Decrypt(const char* password, const uint8_t* input, uint32_t inputLength,
                             std::shared_ptr<uint8_t>& output, uint32_t& outputLength) {
    return Transform(Direction::Decrypt, password, input, inputLength, output, outputLength);
}

bool OrplDataCrypto::Encrypt(const char* password, const uint8_t* input, uint32_t inputLength,
                             std::shared_ptr<uint8_t>& output, uint32_t& outputLength) {
    return Transform(Direction::Encrypt, password, input, inputLength, output, outputLength);
}

uint32_t OrplDataCrypto::EncryptIntoBuffer(const char* password, const uint8_t* input, uint32_t inputLength,
                                           uint8_t* buffer, uint32_t capacity, uint32_t* outputLength) {
    if (outputLength == nullptr) {
        return kNoLengthPointer;
    }
    std::shared_ptr<uint8_t> encrypted;
    if (!Encrypt(password, input, inputLength, encrypted, *outputLength)) {
        return kEncryptionFailed;
    }
    if (buffer == nullptr || *outputLength > capacity) {
        return kBufferTooSmall;
    }
    std::copy_n(encrypted.get(), *outputLength, buffer);
    return kSuccess;
}

} // namespace steward
