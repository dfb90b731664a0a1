#include "e2e/InstalledCatalogs.h"
#include "e2e/Plugin.h"
#include "util/Std_Utils_Signature.h"

#include <gmock/gmock.h>

#include <wincrypt.h>
#include <wintrust.h>

#include <functional>

namespace steward::test {

namespace {

constexpr wchar_t kSigner[] = L"driverSteward Sample Signer";

std::string Line(uint32_t level, const std::wstring& text) {
    return LogLine(level, L"Util COMMON", L"Std_Utils_File.cpp", text);
}

std::string Unsigned(const std::wstring& path, const std::wstring& status) {
    return Line(5, L"Unsigned file! file=" + path + L", lStatus=" + status + L", GetLastError=" + status);
}

Transcript Whole(const std::wstring& path, Transcript lines, bool isSigned, const std::wstring& signer,
                 const std::wstring& status) {
    lines.insert(lines.begin(), Line(2, L"==> ForcePreIncludeQXFile,pcwszFileName = " + path));
    lines.push_back(Line(2, std::wstring(L"<== ForcePreIncludeQXFile,Is signed? ") +
                                (isSigned ? L"Yes" : L"No") + L", Signer Name = " + signer + L", iRet = " +
                                status));
    return lines;
}

class SignatureTest : public testing::Test {
  protected:
    // What the check answers and logs for `path`; the signer's name is in `name_` afterwards.
    void Expect(const std::wstring& path, const Transcript& lines, bool isSigned, int32_t result,
                const std::wstring& status) {
        name_.assign(64, L'.');
        bool verdict = !isSigned;
        LogCapture log;
        EXPECT_EQ(ForcePreIncludeQXFile(path.c_str(), name_.data(), 64, &verdict), result);
        EXPECT_EQ(verdict, isSigned);
        EXPECT_STREQ(name_.substr(0, 28).c_str(), isSigned ? kSigner : std::wstring(28, L'.').c_str());
        EXPECT_EQ(Joined(log.Take()), Joined(Whole(path, lines, isSigned, isSigned ? kSigner : L"", status)));
    }

    HMODULE self_ = GetModuleHandleW(nullptr);
    std::wstring name_;
    const std::wstring signed_ = Package(L"v1") + L"qxcomm.sys";
    const std::wstring tampered_ = Package(L"tampered") + L"qxevtmgr.sys";
    const std::wstring unsigned_ = Package(L"unsigned-qxevtmgr") + L"qxevtmgr.sys";
    const std::wstring catalogOnly_ = Package(L"catalog-only") + L"qxcomm.sys";
};

} // namespace

// Faults: a verified file whose signer cannot be read passes, or ends the check before the catalogs.
TEST_F(SignatureTest, SignerThatCannotBeRead) {
    const std::string failed =
        Line(5, L"GetSignerInfo_FromWinVerifyTrustStateData() failed, GetLastError=0x1234");
    const auto expectFailure = [&](const std::wstring& reason) {
        Expect(signed_, {Line(5, reason), failed}, false, 0, L"0");
    };
    {
        const ImportPatch<"WTHelperProvDataFromStateData", decltype(WTHelperProvDataFromStateData)> data(
            self_, [](HANDLE) -> CRYPT_PROVIDER_DATA* {
                SetLastError(0x1234);
                return nullptr;
            });
        expectFailure(L"WTHelperProvDataFromStateData() failed, GetLastError=0x1234");
    }
    CRYPT_PROVIDER_SGNR* answer = nullptr;
    const ImportPatch<"WTHelperGetProvSignerFromChain", decltype(WTHelperGetProvSignerFromChain)> chain(
        self_, [&](CRYPT_PROVIDER_DATA*, DWORD signer, WINBOOL counterSigner, DWORD) {
            EXPECT_EQ(signer, 0U);
            EXPECT_EQ(counterSigner, FALSE);
            SetLastError(0x1234);
            return answer;
        });
    expectFailure(L"WTHelperGetProvSignerFromChain() failed, GetLastError=0x1234");
    CRYPT_PROVIDER_CERT noCertificate{};
    CRYPT_PROVIDER_SGNR signer{};
    answer = &signer;
    expectFailure(L"CRYPT_PROVIDER_CERT.pCert is invalid!");
    signer.csCertChain = 1;
    signer.pasCertChain = &noCertificate;
    expectFailure(L"CRYPT_PROVIDER_CERT.pCert is invalid!");
    const CERT_CONTEXT certificate{};
    noCertificate.pCert = &certificate;
    const ImportPatch<"CertGetNameStringW", decltype(CertGetNameStringW)> name(
        self_, [](PCCERT_CONTEXT, DWORD, DWORD, void*, LPWSTR, DWORD) -> DWORD {
            SetLastError(0x1234);
            return 0;
        });
    expectFailure(L"Failed to get the length by CertGetNameStringW(), GetLastError=0x1234");
}

// Faults: a missing function is called, the missing context is an error, or the wrong status is answered.
TEST_F(SignatureTest, CatalogInterfaceThatCannotBeHad) {
    const InstalledCatalogs catalogs(Package(L"catalog-only"));
    const std::string notVerified = Unsigned(catalogOnly_, L"0x800b0100");
    {
        const ImportPatch<"LoadLibraryW", decltype(LoadLibraryW)> load(self_, [](LPCWSTR name) -> HMODULE {
            EXPECT_STREQ(name, L"Wintrust.dll");
            SetLastError(ERROR_MOD_NOT_FOUND);
            return nullptr;
        });
        Expect(catalogOnly_, {notVerified, Line(5, L"Failed to load Wintrust.dll, GetLastError=0x7e")}, false,
               -2, L"0xfffffffe");
    }
    std::string replaced;
    FARPROC replacement = nullptr;
    const ImportPatch<"GetProcAddress", decltype(GetProcAddress)> lookUp(
        self_, [&](HMODULE module, LPCSTR name) -> FARPROC {
            const FARPROC function = lookUp.Original(module, name);
            SetLastError(ERROR_PROC_NOT_FOUND);
            return name == replaced ? replacement : function;
        });
    for (const char* const missing : {"CryptCATAdminCalcHashFromFileHandle",
                                      "CryptCATAdminEnumCatalogFromHash", "CryptCATCatalogInfoFromContext",
                                      "CryptCATAdminReleaseCatalogContext", "CryptCATAdminReleaseContext"}) {
        SCOPED_TRACE(missing);
        replaced = missing;
        Expect(catalogOnly_, {notVerified, Line(5, L"GetProcAddress fail!, GetLastError=0x7f")}, false, -2,
               L"0xfffffffe");
    }
    // The system, not the check, decides what a null context finds.
    replaced = "CryptCATAdminAcquireContext";
    bool isSigned = false;
    LogCapture log;
    EXPECT_EQ(ForcePreIncludeQXFile(catalogOnly_.c_str(), nullptr, 0, &isSigned), 0);
    EXPECT_EQ(Joined(log.Take()),
              Joined(Whole(catalogOnly_, {notVerified}, isSigned, isSigned ? kSigner : L"", L"0")));

    replacement =
        reinterpret_cast<FARPROC>(reinterpret_cast<void*>(+[](HCATADMIN*, const GUID*, DWORD) -> WINBOOL {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }));
    EXPECT_EQ(ForcePreIncludeQXFile(catalogOnly_.c_str(), nullptr, 0, &isSigned), 0);
    EXPECT_EQ(Joined(log.Take()),
              Joined(Whole(catalogOnly_,
                           {notVerified, Line(3, L"CryptCATAdminAcquireContext failed, GetLastError=0x5")},
                           isSigned, isSigned ? kSigner : L"", L"0")));

    replaced = "CryptCATCatalogInfoFromContext";
    replacement =
        reinterpret_cast<FARPROC>(reinterpret_cast<void*>(+[](HCATINFO, CATALOG_INFO*, DWORD) -> WINBOOL {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }));
    Expect(catalogOnly_, {notVerified, Line(5, L" CryptCATCatalogInfoFromContext fail! 0x5")}, false, 0,
           L"0");
}

// Faults: a null argument is used; a file that cannot be opened is unsigned with status 0.
TEST_F(SignatureTest, ArgumentsThatAreNoFile) {
    const std::wstring missing = Package(L"v1") + L"missing.sys";
    Expect(missing, {Line(5, L" PreIncludeQXFile CreateFile fail! 0x2")}, false, -1, L"0xffffffff");
    LogCapture log;
    bool isSigned = true;
    EXPECT_EQ(ForcePreIncludeQXFile(nullptr, nullptr, 0, &isSigned), -1);
    EXPECT_EQ(ForcePreIncludeQXFile(signed_.c_str(), nullptr, 0, nullptr), -1);
    Transcript expected = Whole(L"", {}, false, L"", L"0xffffffff");
    std::ranges::copy(Whole(signed_, {}, false, L"", L"0xffffffff"), std::back_inserter(expected));
    EXPECT_EQ(Joined(log.Take()), Joined(expected));
}

// Faults: the outcome depends on the name being wanted; a name that does not fit runs over or is refused; the
// clearing takes the size for characters.
TEST_F(SignatureTest, NameGoesIntoTheBufferAsFarAsItFits) {
    bool isSigned = false;
    EXPECT_EQ(ForcePreIncludeQXFile(signed_.c_str(), nullptr, 64, &isSigned), 0);
    EXPECT_TRUE(isSigned);
    struct Case {
        uint32_t size;
        std::wstring buffer; // of 80 characters, null characters shown as '0'
    };
    const auto padded = [](std::wstring text) { return text.append(80 - text.size(), L'.'); };
    const Case cases[] = {
        {0, padded(L"")},
        {1, padded(L"0")},
        {8, padded(L"driverS0")},
        {27, padded(L"driverSteward Sample Signe0")},
        {28, padded(L"driverSteward Sample Signer0")},
        {80, padded(std::wstring(kSigner) + std::wstring(13, L'0'))},
    };
    for (const Case& each : cases) {
        std::wstring buffer(80, L'.');
        EXPECT_EQ(ForcePreIncludeQXFile(signed_.c_str(), buffer.data(), each.size, &isSigned), 0);
        std::ranges::replace(buffer, L'\0', L'0');
        EXPECT_EQ(Utf8(buffer), Utf8(each.buffer));
    }
}

} // namespace steward::test
