#include "e2e/Machine.h"

#include "WindowsFiles.h"
#include "util/Handles.h"
#include "util/RegKey.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>

namespace steward::test {

namespace fs = std::filesystem;

namespace {

ServiceHandle Manager() {
    return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
}

ServiceHandle Service(const std::wstring& name) {
    return ServiceHandle(OpenServiceW(Manager().Get(), name.c_str(), SERVICE_ALL_ACCESS));
}

Json NumberOrNull(const std::wstring& key, const wchar_t* name) {
    uint32_t value = 0;
    return ReadHKLMDword(value, key, name) ? Json(value) : Json();
}

std::string RegistryText(const std::wstring& key, const wchar_t* name) {
    std::wstring value;
    ReadHKLMString(value, key, name);
    return Utf8FromWide(value);
}

std::vector<std::wstring> RenamedFiles() {
    std::vector<std::wstring> paths;
    for (const std::wstring& folder : {kDriversFolder, kCatalogFolder}) {
        for (const auto& file : fs::directory_iterator(folder)) {
            const std::wstring name = file.path().filename();
            if (name.starts_with(L"qx") && name.ends_with(L".tmp")) {
                paths.push_back(folder + name);
            }
        }
    }
    return paths;
}

// Also one that is read-only.
void Delete(const std::wstring& file) {
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileW(file.c_str());
}

// For the end of a line.
std::string OrDash(const Json& value) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    return " " + (text.empty() || value.is_null() ? "-" : text);
}

} // namespace

uint32_t OpenHandles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

std::string ServiceState(const std::wstring& name) {
    const ServiceHandle service = Service(name);
    SERVICE_STATUS status{};
    if (!service || !QueryServiceStatus(service.Get(), &status)) {
        return "absent";
    }
    const bool isRunning = status.dwCurrentState == SERVICE_RUNNING;
    return isRunning                                  ? "running"
           : status.dwCurrentState == SERVICE_STOPPED ? "stopped"
                                                      : std::to_string(status.dwCurrentState);
}

std::string VersionOf(const std::wstring& path) {
    const auto identity = tools::IdentityOf(path);
    return identity ? identity->version : fs::exists(path) ? "none" : "absent";
}

void DeleteRegistryValue(const std::wstring& key, const std::wstring& name) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str());
}

std::wstring ServiceKey(const std::wstring& driver) {
    return L"SYSTEM\\CurrentControlSet\\Services\\" + driver;
}

Json Machine() {
    const auto pending = tools::FilesDeletedAtRestart();
    const std::wstring shared = ServiceKey(L"qxcomm");
    Json drivers = Json::array();
    for (const std::wstring& name : kDrivers) {
        drivers.push_back({{"name", Utf8FromWide(name)},
                           {"service", ServiceState(name)},
                           {"start", NumberOrNull(ServiceKey(name), L"Start")},
                           {"section", RegistryText(ServiceKey(name), L"InstallSection")},
                           {"file", VersionOf(kDriversFolder + name + L".sys")},
                           {"catalog", fs::exists(kCatalogFolder + name + L".cat")}});
    }
    Json renamed = Json::array();
    for (const std::wstring& path : RenamedFiles()) {
        const auto identity = tools::IdentityOf(path).value_or(tools::FileIdentity{});
        renamed.push_back({{"path", Utf8FromWide(path)},
                           {"was", Utf8FromWide(identity.originalName)},
                           {"version", identity.version},
                           {"pending", std::ranges::count(pending, path) > 0}});
    }
    Json deletions = Json::array();
    std::ranges::transform(pending, std::back_inserter(deletions), Utf8FromWide);
    return {{"plug-in", VersionOf(L"driverSteward.dll")},
            {"drivers", drivers},
            {"registry",
             {{"PermCount", NumberOrNull(shared, L"PermCount")},
              {"InstalledByOrpl", NumberOrNull(shared, L"InstalledByOrpl")},
              {"DeleteFlag", NumberOrNull(shared, L"DeleteFlag")},
              {"M9TZ", NumberOrNull(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ")},
              {"SSCFE", NumberOrNull(ServiceKey(L"qxactmon") + L"\\Parameters", L"SSCFE")}}},
            {"renamed", renamed},
            {"pending deletions", deletions}};
}

std::vector<std::string> MachineState() {
    const Json machine = Machine();
    std::vector<std::string> lines;
    std::string starts = "Start";
    std::string sections = "InstallSection";
    std::string catalogs = "catalogs";
    for (const Json& driver : machine["drivers"]) {
        const std::string name = " " + driver["name"].get<std::string>();
        lines.push_back(name.substr(1) + OrDash(driver["service"]) + OrDash(driver["file"]));
        starts += OrDash(driver["start"]);
        sections += OrDash(driver["section"]);
        catalogs += driver["catalog"] ? name : "";
    }
    std::string numbers;
    for (const auto& [name, number] : machine["registry"].items()) {
        numbers += (numbers.empty() ? "" : ", ") + name + OrDash(number);
    }
    const Json& renamed = machine["renamed"];
    const auto deleted =
        std::ranges::count_if(renamed, [](const Json& file) { return file["pending"].get<bool>(); });
    lines.insert(lines.end(), {starts, sections, numbers, catalogs,
                               "renamed " + std::to_string(renamed.size()) + ", deleted at boot " +
                                   std::to_string(deleted) + " of " +
                                   std::to_string(machine["pending deletions"].size())});
    return lines;
}

void StopService(const std::wstring& name) {
    SERVICE_STATUS status{};
    ControlService(Service(name).Get(), SERVICE_CONTROL_STOP, &status);
    while (ServiceState(name) == "3") {
        Sleep(10);
    }
}

void RegisterPlatform() {
    const ServiceHandle created(CreateServiceW(Manager().Get(), L"ORPL", L"ORPL", SERVICE_ALL_ACCESS,
                                               SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                               SERVICE_ERROR_NORMAL, L"C:\\orpl.exe", nullptr, nullptr,
                                               nullptr, nullptr, nullptr));
}

void UnregisterService(const std::wstring& name) {
    if (const ServiceHandle service = Service(name)) {
        DeleteService(service.Get());
    }
}

void RemoveDrivers() {
    for (const std::wstring& driver : kDrivers) {
        StopService(driver);
        UnregisterService(driver);
        Delete(kDriversFolder + driver + L".sys");
        Delete(kCatalogFolder + driver + L".cat");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, ServiceKey(driver).c_str());
    }
    std::ranges::for_each(RenamedFiles(), Delete);
    DeleteRegistryValue(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ");
    DeleteRegistryValue(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                        L"PendingFileRenameOperations");
}

} // namespace steward::test
