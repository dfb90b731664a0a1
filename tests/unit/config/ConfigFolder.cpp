#include "ConfigFolder.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <utility>

namespace steward::test {

std::string Rc4(std::string text) {
    constexpr unsigned char kKey[] = {0xa2, 0xab, 0xd4, 0x82, 0x5e, 0xec, 0x88, 0x05,
                                      0xcc, 0x9e, 0x01, 0xa5, 0x49, 0xd2, 0xd7, 0xe3};
    unsigned char state[256];
    std::iota(std::begin(state), std::end(state), static_cast<unsigned char>(0));
    for (unsigned i = 0, j = 0; i < 256; ++i) {
        j = (j + state[i] + kKey[i % 16]) & 0xFF;
        std::swap(state[i], state[j]);
    }
    unsigned i = 0;
    unsigned j = 0;
    for (char& c : text) {
        i = (i + 1) & 0xFF;
        j = (j + state[i]) & 0xFF;
        std::swap(state[i], state[j]);
        c = static_cast<char>(c ^ state[(state[i] + state[j]) & 0xFF]);
    }
    return text;
}

ConfigFolder::ConfigFolder() {
    static int counter = 0;
    path_ = (std::filesystem::temp_directory_path() /
             (L"config_test_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter)))
                .wstring();
    std::filesystem::create_directory(path_);
}

ConfigFolder::~ConfigFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void ConfigFolder::Write(const std::wstring& name, const std::string& bytes) const {
    std::ofstream(std::filesystem::path(File(name)), std::ios::binary) << bytes;
}

std::string ConfigFolder::Read(const std::wstring& name) const {
    std::ifstream file(std::filesystem::path(File(name)), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

int ConfigFolder::FileCount() const {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(path_), {}));
}

} // namespace steward::test
