#include "FileHash.h"

#include "util/Handles.h"

#include <windows.h>

#include <wincrypt.h>

#include <vector>

namespace steward::tools {

namespace {

constexpr DWORD kPiece = 64 * 1024;

// A provider and one hash in it.
class Hasher {
  public:
    Hasher() {
        // XP x64 has the AES provider, and SHA-256 in it only with a later service pack.
        if (!Open(PROV_RSA_AES, CALG_SHA_256)) {
            algorithm_ = "SHA-1";
            Open(PROV_RSA_FULL, CALG_SHA1);
        }
    }
    Hasher(const Hasher&) = delete;
    Hasher& operator=(const Hasher&) = delete;
    ~Hasher() { Close(); }

    [[nodiscard]] const char* Algorithm() const { return algorithm_; }

    bool Add(const std::vector<BYTE>& data, DWORD bytes) const {
        return CryptHashData(hash_, data.data(), bytes, 0) != FALSE;
    }

    [[nodiscard]] std::string Digits() const {
        BYTE value[32];
        DWORD bytes = sizeof value;
        std::string digits;
        if (CryptGetHashParam(hash_, HP_HASHVAL, value, &bytes, 0)) {
            for (DWORD i = 0; i < bytes; ++i) {
                digits += {"0123456789abcdef"[value[i] >> 4], "0123456789abcdef"[value[i] & 15]};
            }
        }
        return digits;
    }

  private:
    bool Open(DWORD type, ALG_ID algorithm) {
        if (CryptAcquireContextW(&provider_, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) &&
            CryptCreateHash(provider_, algorithm, 0, 0, &hash_)) {
            return true;
        }
        Close();
        return false;
    }

    void Close() {
        if (hash_ != 0) {
            CryptDestroyHash(hash_);
        }
        if (provider_ != 0) {
            CryptReleaseContext(provider_, 0);
        }
        hash_ = 0;
        provider_ = 0;
    }

    HCRYPTPROV provider_ = 0;
    HCRYPTHASH hash_ = 0;
    const char* algorithm_ = "SHA-256";
};

} // namespace

FileHash HashOf(const std::wstring& path) {
    const Hasher hasher;
    FileHash result{hasher.Algorithm(), "", 0};
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    std::vector<BYTE> piece(kPiece);
    for (DWORD bytes = 1; bytes != 0;) {
        if (!file || !ReadFile(file.Get(), piece.data(), kPiece, &bytes, nullptr) ||
            !hasher.Add(piece, bytes)) {
            result.error = GetLastError();
            return result;
        }
    }
    result.digits = hasher.Digits();
    return result;
}

} // namespace steward::tools
