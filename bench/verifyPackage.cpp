// The floor of "stewardHost check": reads the package's nine files and verifies the three drivers. Exit code
// 0 when all verify.
#include <windows.h>

#include <wintrust.h>

#include <softpub.h>

#include <string>
#include <vector>

namespace {

bool IsRead(const std::wstring& path) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD size = GetFileSize(file, nullptr);
    if (size == INVALID_FILE_SIZE) {
        return false;
    }
    std::vector<char> bytes(size);
    DWORD read = 0;
    const BOOL done = ReadFile(file, bytes.data(), size, &read, nullptr);
    CloseHandle(file);
    return done && read == size;
}

bool IsSigned(const std::wstring& path) {
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof file;
    file.pcwszFilePath = path.c_str();
    WINTRUST_DATA data{};
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    data.dwProvFlags = WTD_REVOCATION_CHECK_NONE;
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    GUID verify = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    const LONG status = WinVerifyTrust(nullptr, &verify, &data);
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    WinVerifyTrust(nullptr, &verify, &data);
    return status == ERROR_SUCCESS;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring folder = argc > 1 ? argv[1] : L"";
    for (const wchar_t* const driver : {L"qxcomm", L"qxevtmgr", L"qxactmon"}) {
        for (const wchar_t* const extension : {L".inf", L".sys", L".cat"}) {
            if (!IsRead(folder + driver + extension)) {
                return 1;
            }
        }
        if (!IsSigned(folder + driver + L".sys")) {
            return 1;
        }
    }
    return 0;
}
