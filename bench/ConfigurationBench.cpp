// The configuration file: what reading a setting costs beyond reading, decrypting and parsing the file.
#include "Comparison.h"

#include "config/SignaturePolicy.h"
#include "config/SysConfigManager.h"
#include "support/ConfigFolder.h"
#include "util/Handles.h"

#include <tinyxml.h>
#include <windows.h>

#include <wincrypt.h>

#include <memory>
#include <stdexcept>

namespace steward::bench {

namespace {

void Demand(bool holds, const char* problem) {
    if (!holds) {
        throw std::runtime_error(problem);
    }
}

// `entries` configurations of about 100 bytes each, and the switch that the policy asks for behind them.
std::string ConfigText(int entries) {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n<SysConfigManager>\n";
    for (int i = 0; i < entries; ++i) {
        if (i % 100 == 0) {
            text += std::string(i == 0 ? "" : "    </GROUP>\n") + "    <GROUP>\n";
        }
        const std::string name = "ORPL_CFG_ENTRY_WITH_A_NAME_" + std::to_string(10'000'000 + i);
        text += "        <" + name + ">value of the entry</" + name + ">\n";
    }
    return text +
           "    </GROUP>\n    <ORPL_ALL>\n        <ORPL_CFG_SP_MODULE_LOAD>1</ORPL_CFG_SP_MODULE_LOAD>\n"
           "    </ORPL_ALL>\n</SysConfigManager>\n";
}

// By the platform's provider, in the product's pieces.
std::string Decrypted(std::string bytes) {
    HCRYPTPROV context = 0;
    HCRYPTHASH hash = 0;
    HCRYPTKEY key = 0;
    constexpr BYTE kPassword[] = "5B9E21A7-C4F0-4d3b-8E6C-A17F0B2D59C3";
    CryptAcquireContextW(&context, nullptr, L"Microsoft Enhanced Cryptographic Provider v1.0", PROV_RSA_FULL,
                         CRYPT_VERIFYCONTEXT);
    CryptCreateHash(context, CALG_MD5, 0, 0, &hash);
    CryptHashData(hash, kPassword, sizeof kPassword - 1, 0);
    CryptDeriveKey(context, CALG_RC4, hash, 0x00800000, &key);
    CryptDestroyHash(hash);
    constexpr size_t kPiece = 1000;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
        auto length = static_cast<DWORD>(std::min(kPiece, bytes.size() - at));
        CryptDecrypt(key, 0, at + length == bytes.size(), 0, reinterpret_cast<BYTE*>(&bytes[at]), &length);
    }
    CryptDestroyKey(key);
    CryptReleaseContext(context, 0);
    return bytes;
}

void ReadDecryptAndParse(const std::wstring& folder) {
    const FileHandle file(CreateFileW((folder + L"\\system_config.cfg").c_str(), GENERIC_READ,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    std::string bytes(GetFileSize(file.Get(), nullptr), '\0');
    DWORD read = 0;
    ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    TiXmlDocument document;
    document.Parse(Decrypted(std::move(bytes)).c_str());
    Demand(!document.Error(), "the configuration is not parsed");
}

Comparison PolicyRead(const std::shared_ptr<test::ConfigFolder>& files, const std::string& size, int entries,
                      int repetitions) {
    const std::wstring name(size.begin(), size.end());
    const std::wstring folder = files->File(name);
    CreateDirectoryW(folder.c_str(), nullptr);
    files->Write(name + L"\\system_config.cfg", test::Rc4(ConfigText(entries)));
    return {"policy read, " + size,
            1.08,
            {[files, folder] {
                Demand(QuerySignaturePolicySetting(SP_MODULE_LOAD, folder.c_str()), "the policy is off");
            }},
            {[folder] { ReadDecryptAndParse(folder); }},
            repetitions};
}

std::function<void()> ListAll(const std::wstring& folder, size_t entries) {
    const std::shared_ptr<SysConfigManager> manager(new SysConfigManager(folder, kSysConfigFileName),
                                                    [](SysConfigManager* each) {
                                                        each->Unload();
                                                        delete each;
                                                    });
    manager->Load();
    return [manager, entries] {
        std::vector<SysConfig> list;
        manager->ListAllSysConfig(list);
        Demand(list.size() == entries + 1, "entries are missing");
    };
}

} // namespace

std::vector<Comparison> Configuration() {
    const auto files = std::make_shared<test::ConfigFolder>();
    std::vector<Comparison> comparisons{PolicyRead(files, "10 KB", 100, 100),
                                        PolicyRead(files, "1 MB", 10'000, 30),
                                        PolicyRead(files, "10 MB", 100'000, 10)};
    comparisons.push_back({"list all, 100,000 to 10,000",
                           10.5,
                           {ListAll(files->File(L"10 MB"), 100'000)},
                           {ListAll(files->File(L"1 MB"), 10'000)},
                           15});
    return comparisons;
}

} // namespace steward::bench
