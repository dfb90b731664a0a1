#include "config/SaveCfgHelper.h"

#include "config/util_OrplDataCrypto.h"
#include "util/Handles.h"
#include "util/Log.h"

#include <windows.h>

#include <cstdint>

namespace steward {
namespace {

constexpr LogSource kLog{kConfigModule, L"SaveCfgHelper.h"};

} // namespace

SaveCfgHelper::SaveCfgHelper(const std::string& text) {
    if (text.size() <= UINT32_MAX) {
        m_bEncrypted =
            OrplDataCrypto::Encrypt(nullptr, reinterpret_cast<const uint8_t*>(text.data()),
                                    static_cast<uint32_t>(text.size()), m_encrypted, m_uiEncryptedLen);
    }
}

bool SaveCfgHelper::Save(const std::wstring& path, bool writeThrough) const {
    STEWARD_LOG(2, L"==> SaveCfgHelper::Save,pwszFolderPath = ", path, L". bWriteThrough = ", writeThrough);
    if (!m_bEncrypted) {
        STEWARD_LOG(5, path, L" encryption fail.");
        return false;
    }
    const DWORD flags = writeThrough ? FILE_FLAG_WRITE_THROUGH : FILE_ATTRIBUTE_NORMAL;
    FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, flags, nullptr));
    if (!file) {
        STEWARD_LOG(5, L"CreateFile Fail.");
        STEWARD_LOG(5, L"SaveCfgHelper::Save. wstrFilePath: ", path, L". GetLastError(): ", GetLastError(),
                    L". dwFileAttribute: ", flags, L". Return: false");
        return false;
    }
    DWORD written = 0;
    if (WriteFile(file.Get(), m_encrypted.get(), m_uiEncryptedLen, &written, nullptr) == FALSE) {
        STEWARD_LOG(5, L"WriteFile Fail.");
        return false;
    }
    if (written < m_uiEncryptedLen) {
        STEWARD_LOG(5, L"WriteFile() fail. dwBytesWritten: ", written, L" != uiEncrytionSrcLen: ",
                    m_uiEncryptedLen);
        return false;
    }
    file.Reset();
    STEWARD_LOG(2, L"<== SaveCfgHelper::Save,Return true");
    return true;
}

} // namespace steward
