#include "config/FileText.h"

#include "config/ParserLimits.h"
#include "config/util_OrplDataCrypto.h"
#include "util/Handles.h"

#include <windows.h>

#include <cstdint>

namespace steward {

std::optional<std::string> ReadText(const std::wstring& path) {
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || SetFilePointerEx(file.Get(), {}, &size, FILE_END) == FALSE ||
        SetFilePointerEx(file.Get(), {}, nullptr, FILE_BEGIN) == FALSE) {
        return std::nullopt;
    }
    if (size.QuadPart > UINT32_MAX) {
        SetLastError(ERROR_FILE_TOO_LARGE);
        return std::nullopt;
    }
    std::string text;
    text.reserve(static_cast<size_t>(size.QuadPart) +
                 kParserSlack); // no copy for what the parser wants behind it
    text.resize(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) == FALSE) {
        return std::nullopt;
    }
    if (read != text.size()) {
        SetLastError(ERROR_HANDLE_EOF);
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> ReadEncryptedText(const std::wstring& path) {
    auto text = ReadText(path);
    std::shared_ptr<uint8_t> decrypted;
    uint32_t length = 0;
    if (!text || !OrplDataCrypto::Decrypt(nullptr, reinterpret_cast<const uint8_t*>(text->data()),
                                          static_cast<uint32_t>(text->size()), decrypted, length)) {
        return std::nullopt;
    }
    text->assign(reinterpret_cast<const char*>(decrypted.get()), length);
    return text;
}

} // namespace steward
