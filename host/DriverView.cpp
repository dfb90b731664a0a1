#include "DriverView.h"

#include "config/Utf8.h"
#include "plugin/DriverTable.h"
#include "util/Handles.h"
#include "util/RegKey.h"

#include "setupKit.h"

#include <algorithm>
#include <optional>

namespace steward::host {

namespace {

constexpr wchar_t kDevicePrefix[] = L"\\??\\";

std::string StateInWords(DWORD state) {
    constexpr const char* kWords[] = {"unknown", "stopped",    "starting", "stopping",
                                      "running", "continuing", "pausing",  "paused"};
    return state < std::size(kWords) ? kWords[state] : "unknown";
}

std::string ServiceState(const wchar_t* name) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(OpenServiceW(manager.Get(), name, SERVICE_QUERY_STATUS));
    SERVICE_STATUS status{};
    if (service && QueryServiceStatus(service.Get(), &status)) {
        return StateInWords(status.dwCurrentState);
    }
    switch (GetLastError()) {
    case ERROR_SERVICE_DOES_NOT_EXIST:
        return "not installed";
    case ERROR_ACCESS_DENIED:
        return "access denied (run as administrator)";
    default:
        return "unreadable (Windows error " + std::to_string(GetLastError()) + ")";
    }
}

// The version resource of a file: its full version and the name that it was built under.
struct FileIdentity {
    std::string version;
    std::wstring originalName;
};

std::optional<FileIdentity> IdentityOf(const std::wstring& path) {
    const DWORD bytes = GetFileVersionInfoSizeW(path.c_str(), nullptr);
    std::vector<std::byte> resource(bytes + 1);
    void* root = nullptr;
    UINT length = 0;
    if (bytes == 0 || !GetFileVersionInfoW(path.c_str(), 0, bytes, resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", &root, &length)) {
        return std::nullopt;
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(root);
    FileIdentity identity;
    identity.version = std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
                       std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
                       std::to_string(HIWORD(info.dwFileVersionLS)) + "." +
                       std::to_string(LOWORD(info.dwFileVersionLS));
    void* translation = nullptr;
    if (VerQueryValueW(resource.data(), L"\\VarFileInfo\\Translation", &translation, &length) &&
        length >= 4) {
        const auto* const words = static_cast<const WORD*>(translation);
        wchar_t block[64];
        wsprintfW(block, L"\\StringFileInfo\\%04x%04x\\OriginalFilename", words[0], words[1]);
        void* name = nullptr;
        if (VerQueryValueW(resource.data(), block, &name, &length)) {
            identity.originalName = static_cast<const wchar_t*>(name);
        }
    }
    return identity;
}

// The files that the next start of Windows deletes.
std::vector<std::wstring> FilesDeletedAtRestart() {
    RegKey key;
    DWORD bytes = 0;
    constexpr wchar_t kValue[] = L"PendingFileRenameOperations";
    if (key.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", KEY_READ) !=
            ERROR_SUCCESS ||
        key.QueryBinaryValue(kValue, nullptr, bytes) != ERROR_SUCCESS || bytes == 0) {
        return {};
    }
    std::wstring pairs(bytes / sizeof(wchar_t) + 2, L'\0');
    if (key.QueryBinaryValue(kValue, pairs.data(), bytes) != ERROR_SUCCESS) {
        return {};
    }
    std::vector<std::wstring> files;
    const wchar_t* const end = pairs.data() + bytes / sizeof(wchar_t);
    for (const wchar_t* at = pairs.data(); at < end && *at != L'\0';) {
        std::wstring from = at;
        at += from.size() + 1;
        const std::wstring to = at < end ? at : L"";
        at += to.size() + 1;
        if (to.empty()) {
            files.push_back(from.starts_with(kDevicePrefix) ? from.substr(std::size(kDevicePrefix) - 1)
                                                            : from);
        }
    }
    return files;
}

// An image in use that was renamed away waits for its deletion. The first one of a driver since the last
// restart is the one that is loaded.
std::optional<FileIdentity> RenamedImage(const std::wstring& driverFile,
                                         const std::vector<std::wstring>& files) {
    for (const std::wstring& file : files) {
        auto identity = IdentityOf(file);
        if (identity && _wcsicmp(identity->originalName.c_str(), driverFile.c_str()) == 0) {
            return identity;
        }
    }
    return std::nullopt;
}

} // namespace

std::vector<DriverView> LookAtDrivers() {
    wchar_t folder[SETUPKIT_PATH_UNITS] = {};
    GetWindowsDrvDir(folder);
    const std::vector<std::wstring> deletedAtRestart = FilesDeletedAtRestart();
    std::vector<DriverView> views;
    for (const DriverRow& row : DriverTable) {
        const std::wstring driverFile = std::wstring(row.name) + L".sys";
        const auto onDisk = IdentityOf(folder + driverFile);
        DriverView view{Utf8FromWide(row.name), ServiceState(row.name), onDisk ? onDisk->version : "none",
                        ""};
        const auto renamed = RenamedImage(driverFile, deletedAtRestart);
        if (view.service == "running" && renamed && renamed->version != view.file) {
            view.loaded = renamed->version;
        }
        views.push_back(std::move(view));
    }
    return views;
}

} // namespace steward::host
