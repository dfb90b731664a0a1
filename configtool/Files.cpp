#include "Files.h"

#include "Failure.h"
#include "config/SignatureSettings.h"
#include "config/SysConfigManager.h"
#include "util/Handles.h"

#include <optional>

namespace steward::configtool {

namespace {

constexpr size_t kLongestPath = 240; // a file beside it has some characters more, of 259

std::optional<BY_HANDLE_FILE_INFORMATION> InformationOf(const std::wstring& path) {
    const FileHandle file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (!file || GetFileInformationByHandle(file.Get(), &information) == FALSE) {
        return std::nullopt;
    }
    return information;
}

} // namespace

std::wstring FullPath(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    const bool isDevice = full.starts_with(L"\\\\.\\"); // "NUL.xml" is one
    if (isDevice || full.find(L'\\') == std::wstring::npos || full.back() == L'\\') {
        Fail(L"\"" + path + L"\" is not the path of a file; name a file");
    }
    if (full.size() > kLongestPath) {
        Fail(full + L" is longer than " + std::to_wstring(kLongestPath) +
             L" characters; use a shorter path, or a drive letter that \"subst\" makes for the folder");
    }
    const DWORD attributes = GetFileAttributesW(full.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        Fail(full + L" is a folder; name a file in it");
    }
    return full;
}

std::wstring InstalledConfiguration() {
    std::wstring folder;
    if (!ReadPlatformFolder(folder)) {
        Fail(L"the registry value \"InstallDir\" under HKEY_LOCAL_MACHINE\\SOFTWARE\\Vexholm\\ORPL cannot be "
             L"read; name the configuration file with --file");
    }
    return FullPath(folder.empty() ? kSysConfigFileName : folder + L"\\" + kSysConfigFileName);
}

bool IsSameFile(const std::wstring& a, const std::wstring& b) {
    const auto first = InformationOf(a);
    const auto second = InformationOf(b);
    return first && second && first->dwVolumeSerialNumber == second->dwVolumeSerialNumber &&
           first->nFileIndexHigh == second->nFileIndexHigh && first->nFileIndexLow == second->nFileIndexLow;
}

} // namespace steward::configtool
