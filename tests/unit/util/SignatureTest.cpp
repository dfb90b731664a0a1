#include "e2e/Plugin.h"
#include "util/Std_Utils_Signature.h"
#include "util/Utf8.h"

#include <gtest/gtest.h>

namespace steward::test {

namespace {

const std::wstring kSigned = Package(L"v1") + L"qxcomm.sys";

} // namespace

// Faults: a null argument is used; the outcome depends on the name being wanted; a name that does not fit
// runs over or is refused; the clearing takes the size for characters.
TEST(Signature, NameGoesIntoTheBufferAsFarAsItFits) {
    bool isSigned = false;
    EXPECT_EQ(ForcePreIncludeQXFile(nullptr, nullptr, 0, &isSigned), -1);
    EXPECT_EQ(ForcePreIncludeQXFile(kSigned.c_str(), nullptr, 0, nullptr), -1);
    EXPECT_EQ(ForcePreIncludeQXFile(kSigned.c_str(), nullptr, 64, &isSigned), 0);
    EXPECT_TRUE(isSigned);
    for (const auto& [size, name] : {std::pair(0U, L""), // null characters shown as '0'
                                     {8U, L"driverS0"},
                                     {28U, L"driverSteward Sample Signer0"},
                                     {80U, L"driverSteward Sample Signer0000000000000"}}) {
        std::wstring buffer(80, L'.');
        EXPECT_EQ(ForcePreIncludeQXFile(kSigned.c_str(), buffer.data(), size, &isSigned), 0);
        std::ranges::replace(buffer, L'\0', L'0');
        EXPECT_EQ(Utf8FromWide(buffer), Utf8FromWide(name + std::wstring(80 - std::wcslen(name), L'.')));
    }
}

// Fault: a hash that does not fit is looked up beyond its buffer.
TEST(Signature, HashThatDoesNotFitIsCutToItsBuffer) {
    static DWORD lookedUp;
    const Tap functions(kSelf, "GetProcAddress", [](const Tap::Call& call) {
        constexpr auto kHash = [](HANDLE, DWORD* bytes, BYTE*, DWORD) { return *bytes = 64, FALSE; };
        constexpr auto kLookUp = [](void*, BYTE*, DWORD bytes, DWORD, void*) {
            return lookedUp = bytes, static_cast<void*>(nullptr);
        };
        const std::string name = reinterpret_cast<const char*>(call.arguments[1]);
        return name == "CryptCATAdminCalcHashFromFileHandle" ? reinterpret_cast<uint64_t>(+kHash)
               : name == "CryptCATAdminEnumCatalogFromHash"  ? reinterpret_cast<uint64_t>(+kLookUp)
                                                             : call.Run();
    });
    bool isSigned = true;
    EXPECT_EQ(ForcePreIncludeQXFile((Package(L"v1") + L"qxcomm.inf").c_str(), nullptr, 0, &isSigned), 0);
    EXPECT_FALSE(isSigned);
    EXPECT_EQ(lookedUp, 32U);
}

} // namespace steward::test
