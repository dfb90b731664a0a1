#include "e2e/Actions.h"

#include "e2e/Machine.h"
#include "util/RegKey.h"

#include <algorithm>

namespace steward::test {

namespace {

const std::filesystem::path kStart = std::filesystem::current_path(); // a policy moves it

constexpr const char* kLeftOut[] = {
    // They cannot fail.
    "EqualSid", "GetCurrentProcess", "GetCurrentProcessId", "GetCurrentThread", "GetCurrentThreadId",
    "GetLastError", "GetTickCount", "SetLastError", "Sleep",
    // The C++ runtime's own: locks, thread-local storage and the throwing of exceptions.
    "DeleteCriticalSection", "EnterCriticalSection", "InitializeCriticalSection", "LeaveCriticalSection",
    "RaiseException", "RtlCaptureContext", "RtlLookupFunctionEntry", "RtlUnwindEx", "RtlVirtualUnwind",
    "TlsAlloc", "TlsGetValue", "TlsSetValue"};

} // namespace

// Of the C runtime (msvcrt.dll) only its running out of memory is the plug-in's business.
std::vector<std::string> SweptImports(HMODULE module) {
    std::vector<std::string> names;
    for (const Import& import : ImportsOf(module)) {
        const bool ofTheRuntime =
            _stricmp(import.library.c_str(), "msvcrt.dll") == 0 && import.name != "malloc";
        if (!ofTheRuntime &&
            std::find(std::begin(kLeftOut), std::end(kLeftOut), import.name) == std::end(kLeftOut)) {
            names.push_back(import.name);
        }
    }
    return names;
}

PolicyOn::PolicyOn() {
    WriteConfig("<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>1</ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL>"
                "</SysConfigManager>");
    SetInstallDir(true);
}

void Action::Load() {
    loaded_.reset();
    loaded_.emplace();
}

void Action::Stop() const {
    OSVERSIONINFOW system{};
    system.dwOSVersionInfoSize = sizeof system;
    GetVersionExW(&system);
    const DWORD version = system.dwMajorVersion * 100 + system.dwMinorVersion;
    if (version >= 602 && (version < 1000 || what_ == What::Uninstall)) {
        std::for_each(kDrivers.rbegin(), kDrivers.rend(), StopService);
    }
}

void Action::Prepare() {
    Load();
    if (!ready_.empty() && MachineState() == ready_) {
        return;
    }
    RemoveDrivers();
    if (what_ != What::Install) {
        EXPECT_EQ(Run(What::Install), DS_SUCCESS);
        Load();
    }
    if (what_ == What::Migration) {
        WriteHKLMDword(0, ServiceKey(L"qxcomm"), L"InstalledByOrpl");
        StopService(L"qxactmon");
        UnregisterService(L"qxactmon");
    }
    Stop();
    if (what_ == What::Uninstall) {
        for (const std::wstring& driver : kDrivers) {
            const std::wstring catalog = driver + L".cat";
            CopyFileW((Package(L"v1") + catalog).c_str(), (kCatalogFolder + catalog).c_str(), FALSE);
        }
    }
    ready_ = MachineState();
}

uint32_t Action::Run(What what) {
    Plugin& plugin = loaded_->plugin;
    if (what == What::Report) { // of which nothing comes when memory runs out
        return std::max<uint32_t>(plugin.Report().state, DS_ALL_RUNNING);
    }
    const auto& row = kActions[static_cast<size_t>(what)];
    const uint32_t result = plugin.Act(row.action, Package(row.package), row.compareState);
    // Wine now and then loses a process at its start, that of the drivers, too.
    const bool isLost = Joined(plugin.Log()).find("StartService Error = 0x54f") != std::string::npos;
    return isLost ? Run(what) : result;
}

Transcript Action::Outcome() const {
    Transcript state = MachineState();
    std::erase_if(state, [this](const std::string& line) {
        return line.starts_with("renamed") || (what_ == What::Migration && line.starts_with("PermCount"));
    });
    return state;
}

void ExpectAsBefore(const std::wstring& file, const Transcript& machine) {
    const std::string before = ReadWholeFile(kStart / file);
    if (before.empty()) {
        std::ofstream(kStart / file, std::ios::binary) << Joined(machine);
    } else {
        EXPECT_EQ(Joined(machine), before);
    }
}

} // namespace steward::test
