#include "PluginLibrary.h"

#include "util/Utf8.h"

#include <windows.h>

#include <stdexcept>

namespace steward::host {

namespace {

std::wstring FolderOfThisProgram() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\') + 1);
}

} // namespace

template <typename Function>
void PluginLibrary::LookUp(Function& function, const char* name, std::string& missing) const {
    function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), name)));
    if (function == nullptr) {
        missing += (missing.empty() ? "" : ", ") + std::string(name);
    }
}

PluginLibrary::PluginLibrary(const std::wstring& path) {
    const std::wstring file = path.empty() ? FolderOfThisProgram() + L"driverSteward.dll" : path;
    module_ = LoadLibraryW(file.c_str());
    if (module_ == nullptr) {
        throw std::runtime_error(
            "cannot load " + Utf8FromWide(file) + " (Windows error " + std::to_string(GetLastError()) +
            "); name the plug-in with --plugin, and keep traceSink.dll and setupKit.dll beside it");
    }
    std::string missing;
    LookUp(doAction_, "Plugin_Interface_DriversDoAction", missing);
    LookUp(enumerate_, "Plugin_Interface_EnumerateDriversInfo", missing);
    LookUp(ownerModuleId_, "Plugin_Interface_GetHelperOwnerModuleID", missing);
    LookUp(version_, "Plugin_Interface_GetModuleVersion", missing);
    if (!missing.empty()) {
        FreeLibrary(static_cast<HMODULE>(module_));
        throw std::runtime_error(Utf8FromWide(file) + " is no driver steward plug-in: it does not export " +
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
