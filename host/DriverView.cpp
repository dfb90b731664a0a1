#include "DriverView.h"

#include "WindowsFiles.h"
#include "plugin/DriverTable.h"
#include "util/Handles.h"
#include "util/Utf8.h"

#include "setupKit.h"

#include <algorithm>
#include <optional>

namespace steward::host {

namespace {

using tools::FileIdentity;
using tools::IdentityOf;

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
    const std::vector<std::wstring> deletedAtRestart = tools::FilesDeletedAtRestart();
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
