#include "support/ConfigFolder.h"

#include "util/RegKey.h"

#include <windows.h>

#include <numeric>

namespace steward::test {

namespace fs = std::filesystem;

std::string Rc4(std::string text) {
    constexpr unsigned char kKey[] = {0xa2, 0xab, 0xd4, 0x82, 0x5e, 0xec, 0x88, 0x05,
                                      0xcc, 0x9e, 0x01, 0xa5, 0x49, 0xd2, 0xd7, 0xe3};
    unsigned char state[256];
    std::iota(std::begin(state), std::end(state), static_cast<unsigned char>(0));
    for (unsigned i = 0, j = 0; i < 256; ++i) {
        j = (j + state[i] + kKey[i % 16]) & 0xFF;
        std::swap(state[i], state[j]);
    }
    for (unsigned i = 0, j = 0; char& c : text) {
        i = (i + 1) & 0xFF;
        j = (j + state[i]) & 0xFF;
        std::swap(state[i], state[j]);
        c = static_cast<char>(c ^ state[(state[i] + state[j]) & 0xFF]);
    }
    return text;
}

std::string Repeated(const std::string& text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

ConfigFolder::ConfigFolder()
    : path_(fs::temp_directory_path() / (L"config_test_" + std::to_wstring(GetCurrentProcessId()))) {
    fs::create_directory(path_);
    fs::current_path(path_);
}

void ConfigFolder::SetInstallDir(bool isPlatforms) const {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Vexholm\\ORPL";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"InstallDir");
    if (isPlatforms) {
        WriteHKLMString(path_, kKey, L"InstallDir");
    }
}

ConfigFolder::~ConfigFolder() {
    SetInstallDir(false);
    std::error_code ignored;
    fs::current_path(L"C:\\", ignored);
    fs::remove_all(path_, ignored);
}

} // namespace steward::test
