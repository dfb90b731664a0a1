#include "util/Std_Utils_Signature.h"

#include "util/Handles.h"
#include "util/Log.h"

#include <wincrypt.h>
#include <wintrust.h>

#include <mscat.h>
#include <softpub.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace steward {

namespace {

constexpr LogSource kLog{kUtilModule, L"Std_Utils_File.cpp"};

constexpr int32_t kChecksRan = 0;
constexpr int32_t kUnusableFile = -1;
constexpr int32_t kNoCatalogInterface = -2;

struct LibraryKind {
    using Handle = HMODULE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { FreeLibrary(handle); }
};
using LibraryHandle = UniqueHandle<LibraryKind>;

struct MessageKind {
    using Handle = HCRYPTMSG;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { CryptMsgClose(handle); }
};
using MessageHandle = UniqueHandle<MessageKind>;

struct StoreKind {
    using Handle = HCERTSTORE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { CertCloseStore(handle, 0); }
};
using StoreHandle = UniqueHandle<StoreKind>;

struct CertificateKind {
    using Handle = PCCERT_CONTEXT;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { CertFreeCertificateContext(handle); }
};
using CertificateHandle = UniqueHandle<CertificateKind>;

struct LocalBlockKind {
    using Handle = void*;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { LocalFree(handle); }
};
using LocalBlock = UniqueHandle<LocalBlockKind>;

// The state that a verification leaves is released by a second call.
class TrustState {
  public:
    TrustState(const wchar_t* path, HANDLE file) {
        file_.cbStruct = sizeof file_;
        file_.pcwszFilePath = path;
        file_.hFile = file;
        data_.cbStruct = sizeof data_;
        data_.dwUIChoice = WTD_UI_NONE;
        data_.fdwRevocationChecks = WTD_REVOKE_NONE;
        data_.dwUnionChoice = WTD_CHOICE_FILE;
        data_.pFile = &file_;
        data_.dwProvFlags = WTD_REVOCATION_CHECK_NONE;
        status_ = Call(WTD_STATEACTION_VERIFY);
    }
    TrustState(const TrustState&) = delete;
    TrustState& operator=(const TrustState&) = delete;
    ~TrustState() {
        const LastErrorKeeper keeper;
        if (status_ == ERROR_SUCCESS || data_.hWVTStateData != nullptr) {
            Call(WTD_STATEACTION_CLOSE);
        }
    }

    [[nodiscard]] LONG Status() const { return status_; }
    [[nodiscard]] HANDLE State() const { return data_.hWVTStateData; }

  private:
    LONG Call(DWORD action) {
        GUID verify = WINTRUST_ACTION_GENERIC_VERIFY_V2;
        data_.dwStateAction = action;
        return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &verify, &data_);
    }

    WINTRUST_FILE_INFO file_{};
    WINTRUST_DATA data_{};
    LONG status_;
};

bool HasEmbeddedSignature(const wchar_t* path, HANDLE file, std::wstring& signer) {
    const TrustState trust(path, file);
    if (trust.Status() != ERROR_SUCCESS) {
        STEWARD_LOG(5, L"Unsigned file! file=", path, L", lStatus=", trust.Status(), L", GetLastError=",
                    GetLastError());
        return false;
    }
    if (!GetSignerInfo_FromWinVerifyTrustStateData(trust.State(), signer)) {
        STEWARD_LOG(5, L"GetSignerInfo_FromWinVerifyTrustStateData() failed, GetLastError=", GetLastError());
        return false;
    }
    return true;
}

// The catalog functions are looked up at run time: the oldest systems lack some of them.
class CatalogInterface {
  public:
    explicit CatalogInterface(HMODULE library) : library_(library) {
        Resolve(acquireContext_, "CryptCATAdminAcquireContext");
        if (acquireContext_ != nullptr && !acquireContext_(&admin_, nullptr, 0)) {
            STEWARD_LOG(3, L"CryptCATAdminAcquireContext failed, GetLastError=", GetLastError());
        }
        Resolve(calcHash_, "CryptCATAdminCalcHashFromFileHandle");
        Resolve(enumCatalog_, "CryptCATAdminEnumCatalogFromHash");
        Resolve(catalogInfo_, "CryptCATCatalogInfoFromContext");
        Resolve(releaseCatalog_, "CryptCATAdminReleaseCatalogContext");
        Resolve(releaseContext_, "CryptCATAdminReleaseContext");
        if (!IsComplete()) {
            STEWARD_LOG(5, L"GetProcAddress fail!, GetLastError=", GetLastError());
        }
    }
    CatalogInterface(const CatalogInterface&) = delete;
    CatalogInterface& operator=(const CatalogInterface&) = delete;
    ~CatalogInterface() {
        if (admin_ != nullptr && releaseContext_ != nullptr) {
            const LastErrorKeeper keeper;
            releaseContext_(admin_, 0);
        }
    }

    [[nodiscard]] bool IsComplete() const {
        return calcHash_ != nullptr && enumCatalog_ != nullptr && catalogInfo_ != nullptr &&
               releaseCatalog_ != nullptr && releaseContext_ != nullptr;
    }

    // The signer of the first catalog that lists the file; no other catalog is looked at.
    bool FindSigner(HANDLE file, std::wstring& signer) {
        BYTE hash[32] = {};
        DWORD hashBytes = sizeof hash;
        SetFilePointer(file, 0, nullptr, FILE_BEGIN); // the verification before may have moved it
        calcHash_(file, &hashBytes, hash, 0);
        hashBytes =
            std::min<DWORD>(hashBytes, sizeof hash); // a hash that does not fit leaves the size it needs
        const FoundCatalog catalog(*this, enumCatalog_(admin_, hash, hashBytes, 0, nullptr));
        return catalog.Get() != nullptr && ReadSigner(catalog.Get(), signer);
    }

  private:
    // Owns what a lookup found; the administration context has to be at hand to release it.
    class FoundCatalog {
      public:
        FoundCatalog(const CatalogInterface& catalogs, HCATINFO catalog)
            : catalogs_(catalogs), catalog_(catalog) {}
        FoundCatalog(const FoundCatalog&) = delete;
        FoundCatalog& operator=(const FoundCatalog&) = delete;
        ~FoundCatalog() {
            if (catalog_ != nullptr) {
                const LastErrorKeeper keeper;
                catalogs_.releaseCatalog_(catalogs_.admin_, catalog_, 0);
            }
        }

        [[nodiscard]] HCATINFO Get() const { return catalog_; }

      private:
        const CatalogInterface& catalogs_;
        HCATINFO catalog_;
    };

    template <typename Function> void Resolve(Function& function, const char* name) {
        function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library_, name)));
    }

    bool ReadSigner(HCATINFO catalog, std::wstring& signer) {
        CATALOG_INFO info{};
        info.cbStruct = sizeof info;
        if (!catalogInfo_(catalog, &info, 0)) {
            STEWARD_LOG(5, L" CryptCATCatalogInfoFromContext fail! ", GetLastError());
            return false;
        }
        return GetSignerNameFromSignedFile(info.wszCatalogFile, signer);
    }

    HMODULE library_;
    HCATADMIN admin_ = nullptr;
    decltype(&CryptCATAdminAcquireContext) acquireContext_ = nullptr;
    decltype(&CryptCATAdminCalcHashFromFileHandle) calcHash_ = nullptr;
    decltype(&CryptCATAdminEnumCatalogFromHash) enumCatalog_ = nullptr;
    decltype(&CryptCATCatalogInfoFromContext) catalogInfo_ = nullptr;
    decltype(&CryptCATAdminReleaseCatalogContext) releaseCatalog_ = nullptr;
    decltype(&CryptCATAdminReleaseContext) releaseContext_ = nullptr;
};

// The status of the lookup; `isSigned` is set only when a catalog with a readable signer lists the file.
int32_t LookUpCatalog(HMODULE library, HANDLE file, bool& isSigned, std::wstring& signer) {
    CatalogInterface catalogs(library);
    if (!catalogs.IsComplete()) {
        return kNoCatalogInterface;
    }
    if (catalogs.FindSigner(file, signer)) {
        isSigned = true;
    }
    return kChecksRan;
}

// The one size is a byte count for the clearing and a character count for the copy. The C runtime of the
// oldest systems has no wcsncpy_s: the text is cut to fit by hand.
void HandOutName(const std::wstring& signer, wchar_t* nameBuffer, uint32_t bufferSize) {
    if (bufferSize == 0) {
        return;
    }
    std::memset(nameBuffer, 0, bufferSize);
    nameBuffer[signer.copy(nameBuffer, bufferSize - 1)] = L'\0';
}

int32_t CheckSignature(const wchar_t* path, wchar_t* nameBuffer, uint32_t bufferSize, bool& isSigned,
                       std::wstring& signer) {
    isSigned = false;
    const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        STEWARD_LOG(5, L" PreIncludeQXFile CreateFile fail! ", GetLastError());
        return kUnusableFile;
    }
    int32_t iRet = kChecksRan;
    LibraryHandle library;
    isSigned = HasEmbeddedSignature(path, file.Get(), signer);
    if (!isSigned) {
        library.Reset(LoadLibraryW(L"Wintrust.dll"));
        if (!library) {
            STEWARD_LOG(5, L"Failed to load Wintrust.dll, GetLastError=", GetLastError());
            iRet = kNoCatalogInterface;
        } else {
            iRet = LookUpCatalog(library.Get(), file.Get(), isSigned, signer);
        }
    }
    if (!signer.empty() && nameBuffer != nullptr) {
        iRet = kChecksRan;
        HandOutName(signer, nameBuffer, bufferSize);
    }
    return iRet;
}

} // namespace

int32_t ForcePreIncludeQXFile(const wchar_t* path, wchar_t* nameBuffer, uint32_t bufferSize, bool* isSigned) {
    STEWARD_LOG(2, L"==> ForcePreIncludeQXFile,", L"pcwszFileName = ", path);
    int32_t iRet = kUnusableFile;
    std::wstring signer;
    if (path != nullptr && isSigned != nullptr) {
        iRet = CheckSignature(path, nameBuffer, bufferSize, *isSigned, signer);
    }
    const bool signedFile = isSigned != nullptr && path != nullptr && *isSigned;
    STEWARD_LOG(2, L"<== ForcePreIncludeQXFile,", L"Is signed? ", signedFile ? L"Yes" : L"No",
                L", Signer Name = ", signer, L", iRet = ", iRet);
    return iRet;
}

bool GetSignerInfo_FromWinVerifyTrustStateData(HANDLE state, std::wstring& name) {
    CRYPT_PROVIDER_DATA* const provider = WTHelperProvDataFromStateData(state);
    if (provider == nullptr) {
        STEWARD_LOG(5, L"WTHelperProvDataFromStateData() failed, GetLastError=", GetLastError());
        return false;
    }
    const CRYPT_PROVIDER_SGNR* const signer = WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0);
    if (signer == nullptr) {
        STEWARD_LOG(5, L"WTHelperGetProvSignerFromChain() failed, GetLastError=", GetLastError());
        return false;
    }
    if (signer->csCertChain == 0 || signer->pasCertChain == nullptr ||
        signer->pasCertChain[0].pCert == nullptr) {
        STEWARD_LOG(5, L"CRYPT_PROVIDER_CERT.pCert is invalid!");
        return false;
    }
    const PCCERT_CONTEXT certificate = signer->pasCertChain[0].pCert;
    const DWORD units =
        CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, nullptr, 0);
    if (units == 0) {
        STEWARD_LOG(5, L"Failed to get the length by CertGetNameStringW(), GetLastError=", GetLastError());
        return false;
    }
    const std::unique_ptr<wchar_t[]> text(new (std::nothrow) wchar_t[units]());
    if (!text) {
        STEWARD_LOG(5, L"Failed to allocate memory for ", units, L" wide char.");
        return false;
    }
    CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, text.get(), units);
    name = text.get();
    return true;
}

bool GetSignerNameFromSignedFile(const wchar_t* path, std::wstring& name) {
    MessageHandle message;
    StoreHandle store;
    CertificateHandle certificate;
    if (!CryptQueryObject(CERT_QUERY_OBJECT_FILE, path, CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                          CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr, store.Out(),
                          message.Out(), nullptr)) {
        return false;
    }
    DWORD signerBytes = 0;
    if (!CryptMsgGetParam(message.Get(), CMSG_SIGNER_INFO_PARAM, 0, nullptr, &signerBytes)) {
        return false;
    }
    const LocalBlock signerBlock(LocalAlloc(LPTR, signerBytes));
    if (!signerBlock ||
        !CryptMsgGetParam(message.Get(), CMSG_SIGNER_INFO_PARAM, 0, signerBlock.Get(), &signerBytes)) {
        return false;
    }
    const auto& signer = *static_cast<const CMSG_SIGNER_INFO*>(signerBlock.Get());
    CERT_INFO subject{};
    subject.Issuer = signer.Issuer;
    subject.SerialNumber = signer.SerialNumber;
    certificate.Reset(CertFindCertificateInStore(store.Get(), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                 CERT_FIND_SUBJECT_CERT, &subject, nullptr));
    if (!certificate) {
        return false;
    }
    const DWORD units =
        CertGetNameStringW(certificate.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, nullptr, 0);
    const LocalBlock nameBlock(LocalAlloc(LPTR, units * sizeof(wchar_t)));
    if (units == 0 || !nameBlock) {
        return false;
    }
    auto* const text = static_cast<wchar_t*>(nameBlock.Get());
    if (CertGetNameStringW(certificate.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, text, units) <= 1) {
        return false;
    }
    name = text;
    return true;
}

} // namespace steward
