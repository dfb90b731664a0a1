#include "e2e/Machine.h"

#include "WindowsFiles.h"
#include "util/Handles.h"
#include "util/RegKey.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>

namespace steward::test {

namespace {

ServiceHandle Manager() {
    return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
}

ServiceHandle Service(const std::wstring& name) {
    return ServiceHandle(OpenServiceW(Manager().Get(), name.c_str(), SERVICE_ALL_ACCESS));
}

} // namespace

std::string ServiceState(const std::wstring& name) {
    const ServiceHandle service = Service(name);
    SERVICE_STATUS status{};
    if (!service || !QueryServiceStatus(service.Get(), &status)) {
        return "absent";
    }
    switch (status.dwCurrentState) {
    case SERVICE_RUNNING:
        return "running";
    case SERVICE_STOPPED:
        return "stopped";
    default:
        return std::to_string(status.dwCurrentState);
    }
}

std::string VersionOf(const std::wstring& path) {
    const auto identity = tools::IdentityOf(path);
    return identity ? identity->version : FileExists(path) ? "none" : "absent";
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::optional<uint32_t> RegistryNumber(const std::wstring& key, const std::wstring& name) {
    uint32_t value = 0;
    return ReadHKLMDword(value, key, name) ? std::optional(value) : std::nullopt;
}

std::string RegistryText(const std::wstring& key, const std::wstring& name) {
    std::wstring value;
    ReadHKLMString(value, key, name);
    return {value.begin(), value.end()};
}

void SetRegistryNumber(const std::wstring& key, const std::wstring& name, uint32_t value) {
    WriteHKLMDword(value, key, name);
}

void DeleteRegistryValue(const std::wstring& key, const std::wstring& name) {
    RegKey open;
    if (open.Open(HKEY_LOCAL_MACHINE, key.c_str(), KEY_ALL_ACCESS) == ERROR_SUCCESS) {
        open.DeleteValue(name.c_str());
    }
}

std::wstring ServiceKey(const std::wstring& driver) {
    return L"SYSTEM\\CurrentControlSet\\Services\\" + driver;
}

std::vector<std::string> MachineState() {
    const auto number = [](const std::wstring& key, const wchar_t* name) {
        const auto value = RegistryNumber(key, name);
        return " " + (value ? std::to_string(*value) : "-");
    };
    std::vector<std::string> lines;
    std::string starts = "Start";
    std::string sections = "InstallSection";
    std::string catalogs = "catalogs";
    for (const std::wstring& driver : kDrivers) {
        const std::string name(driver.begin(), driver.end());
        const std::string section = RegistryText(ServiceKey(driver), L"InstallSection");
        lines.push_back(name + " " + ServiceState(driver) + " " +
                        VersionOf(kDriversFolder + driver + L".sys"));
        starts += number(ServiceKey(driver), L"Start");
        sections += " " + (section.empty() ? "-" : section);
        catalogs += FileExists(kCatalogFolder + driver + L".cat") ? " " + name : "";
    }
    const std::wstring shared = ServiceKey(L"qxcomm");
    const auto renamed = RenamedFiles();
    const auto pending = tools::FilesDeletedAtRestart();
    const auto deleted = std::count_if(pending.begin(), pending.end(), [&](const std::wstring& path) {
        return std::find(renamed.begin(), renamed.end(), path) != renamed.end();
    });
    lines.insert(lines.end(),
                 {starts, sections,
                  "PermCount" + number(shared, L"PermCount") + ", InstalledByOrpl" +
                      number(shared, L"InstalledByOrpl") + ", DeleteFlag" + number(shared, L"DeleteFlag") +
                      ", M9TZ" + number(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ") + ", SSCFE" +
                      number(ServiceKey(L"qxactmon") + L"\\Parameters", L"SSCFE"),
                  catalogs,
                  "renamed " + std::to_string(renamed.size()) + ", deleted at boot " +
                      std::to_string(deleted) + " of " + std::to_string(pending.size())});
    return lines;
}

std::vector<std::wstring> RenamedFiles() {
    std::vector<std::wstring> paths;
    for (const std::wstring& folder : {kDriversFolder, kCatalogFolder}) {
        WIN32_FIND_DATAW found;
        const HANDLE search = FindFirstFileW((folder + L"qx*.tmp").c_str(), &found);
        for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found)) {
            paths.push_back(folder + found.cFileName);
        }
        FindClose(search);
    }
    return paths;
}

void StopService(const std::wstring& name) {
    SERVICE_STATUS status{};
    ControlService(Service(name).Get(), SERVICE_CONTROL_STOP, &status);
    while (ServiceState(name) == "3") {
        Sleep(10);
    }
}

void RegisterPlatformService() {
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
        DeleteFileW((kDriversFolder + driver + L".sys").c_str());
        DeleteFileW((kCatalogFolder + driver + L".cat").c_str());
        RegKey services;
        services.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services", KEY_ALL_ACCESS);
        services.RecurseDeleteKey(driver.c_str());
    }
    for (const std::wstring& leftover : RenamedFiles()) {
        DeleteFileW(leftover.c_str());
    }
    DeleteRegistryValue(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ");
    DeleteRegistryValue(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                        L"PendingFileRenameOperations");
}

} // namespace steward::test
