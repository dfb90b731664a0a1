#include "PluginLibrary.h"

#include "PeImage.h"
#include "PlatformLibraries.h"

#include "util/Std_Utils_File.h"
#include "util/Utf8.h"

#include <windows.h>

#include <bit>
#include <cstdint>
#include <stdexcept>

namespace steward::host {

namespace {

std::wstring FullPath(const std::wstring& file) {
    std::wstring path(32768, L'\0');
    path.resize(GetFullPathNameW(file.c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr));
    return path.empty() ? file : path;
}

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.rfind(L'\\') + 1);
}

// A library that is loaded already serves the plug-in's import of that name, wherever it lies.
void LoadPlatformLibraries() {
    tools::IsTraceSinkThere();
    tools::IsSetupKitThere();
}

// The DLLs that the plug-in asks for and that are neither in its folder nor where Windows looks.
std::string MissingLibraries(const std::wstring& path) {
    std::string missing;
    const auto image = tools::ReadPeImage(path);
    for (const std::string& name : image ? image->imports : std::vector<std::string>()) {
        const std::wstring file = WideFromUtf8(name);
        wchar_t found[MAX_PATH] = {};
        if (!IsFileExist((FolderOf(path) + file).c_str()) && GetModuleHandleW(file.c_str()) == nullptr &&
            SearchPathW(nullptr, file.c_str(), nullptr, MAX_PATH, found, nullptr) == 0) {
            missing += (missing.empty() ? "" : ", ") + name;
        }
    }
    return missing;
}

std::string WhyNotLoaded(const std::wstring& path, DWORD error) {
    const std::string file = Utf8FromWide(path);
    const std::string folder = Utf8FromWide(FolderOf(path));
    if (!IsFileExist(path.c_str())) {
        return "there is no " + file + "; name the plug-in with --plugin";
    }
    const std::string missing = MissingLibraries(path);
    if (error == ERROR_MOD_NOT_FOUND && !missing.empty()) {
        return "cannot load " + file + ": " + missing + " is missing in " + folder + "; put it there";
    }
    return "cannot load " + file + " (Windows error " + std::to_string(error) +
           "); name a 64-bit plug-in with --plugin";
}

} // namespace

template <typename Function>
void PluginLibrary::LookUp(Function& function, const char* name, std::string& missing) const {
    function = std::bit_cast<Function>(GetProcAddress(static_cast<HMODULE>(module_), name));
    if (function == nullptr) {
        missing += (missing.empty() ? "" : ", ") + std::string(name);
    }
}

std::wstring PluginPath(const std::wstring& asTyped) {
    return asTyped.empty() ? tools::FolderOfThisProgram() + L"driverSteward.dll" : FullPath(asTyped);
}

PluginLibrary::PluginLibrary(const std::wstring& path) {
    tools::LookForPlatformLibrariesIn(FolderOf(path));
    LoadPlatformLibraries();
    module_ = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module_ == nullptr) {
        throw std::runtime_error(WhyNotLoaded(path, GetLastError()));
    }
    std::string missing;
    LookUp(doAction_, "Plugin_Interface_DriversDoAction", missing);
    LookUp(enumerate_, "Plugin_Interface_EnumerateDriversInfo", missing);
    LookUp(ownerModuleId_, "Plugin_Interface_GetHelperOwnerModuleID", missing);
    LookUp(version_, "Plugin_Interface_GetModuleVersion", missing);
    if (!missing.empty()) {
        FreeLibrary(static_cast<HMODULE>(module_));
        throw std::runtime_error(Utf8FromWide(path) + " is no driver steward plug-in: it does not export " +
                                 missing + "; name another with --plugin");
    }
}

PluginLibrary::~PluginLibrary() {
    FreeLibrary(static_cast<HMODULE>(module_));
}

DriverStateReport PluginLibrary::Report() const {
    DriverStateReport report{};
    enumerate_(
        [](const DriverStateReport* made, void* context) -> uint32_t {
            *static_cast<DriverStateReport*>(context) = *made;
            return 0;
        },
        &report);
    report.version[sizeof report.version - 1] = '\0';
    return report;
}

std::array<uint32_t, 3> PluginLibrary::Version() const {
    std::array<uint32_t, 3> version{};
    version_(version.data());
    return version;
}

} // namespace steward::host
