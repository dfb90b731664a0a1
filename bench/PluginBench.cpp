// The shipped DLL and stewardHost beside the same work done by hand.
#include "Comparison.h"

#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "support/Fault.h"
#include "support/ToolRun.h"
#include "util/Handles.h"
#include "util/Log.h"

#include "setupKit.h"
#include "traceSink.h"

#include <windows.h>

#include <cstddef>
#include <memory>
#include <ranges>
#include <stdexcept>

namespace steward::bench {

namespace {

using test::kDrivers;
using test::Package;

constexpr LogSource kLog{kDriverModule, L"PluginBench.cpp"};
constexpr wchar_t kSystem[] = L"C:\\windows\\system32\\";
constexpr int kStatements = 10'000;

void Demand(bool holds, const char* problem) {
    if (!holds) {
        throw std::runtime_error(problem);
    }
}

void LoadAndUnload(const wchar_t* library) {
    const HMODULE module = LoadLibraryW(library);
    Demand(module != nullptr, "the library is not loaded");
    FreeLibrary(module);
}

void RunChecked(const wchar_t* program, const std::wstring& arguments) {
    Demand(test::RunTool(program, arguments).exitCode == 0, "the program failed");
}

void Setup(const wchar_t* section, const wchar_t* package, const std::wstring& driver) {
    test::RunTool(std::wstring(kSystem) + L"rundll32.exe", std::wstring(L"setupapi,InstallHinfSection ") +
                                                               section + L" 128 " + Package(package) +
                                                               driver + L".inf");
}

void Control(const wchar_t* verb, const std::wstring& driver) {
    test::RunTool(std::wstring(kSystem) + L"sc.exe", verb + std::wstring(L" ") + driver);
}

void DemandDrivers(const std::string& state, const std::string& version) {
    for (const std::wstring& driver : kDrivers) {
        Demand(test::ServiceState(driver) == state &&
                   test::VersionOf(test::kDriversFolder + driver + L".sys") == version,
               "a driver is not as it should be");
    }
}

void StopByHand() {
    for (const std::wstring& driver : kDrivers | std::views::reverse) {
        Control(L"stop", driver);
    }
}

void InstallByHand(const wchar_t* package) {
    for (const std::wstring& driver : kDrivers) {
        Setup(L"DefaultInstall", package, driver);
        Control(L"start", driver);
    }
}

void EnumerateByHand() {
    for (const std::wstring& driver : kDrivers) {
        {
            const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
            const ServiceHandle service(OpenServiceW(manager.Get(), driver.c_str(), 0xE01FF));
            SERVICE_STATUS status{};
            QueryServiceStatus(service.Get(), &status);
        }
        wchar_t path[MAX_PATH] = {};
        GetWindowsDrvDir(path);
        std::wcscat(std::wcscat(path, driver.c_str()), L".sys");
        std::vector<std::byte> resource(GetFileVersionInfoSizeW(path, nullptr));
        void* root = nullptr;
        UINT length = 0;
        GetFileVersionInfoW(path, 0, static_cast<DWORD>(resource.size()), resource.data());
        VerQueryValueW(resource.data(), L"\\", &root, &length);
    }
}

void DisabledStatements() {
    for (int i = 0; i < kStatements; ++i) {
        STEWARD_LOG(2, L"OpenService failed, err=", GetLastError());
    }
}

// What a wanted statement does; never called here.
[[gnu::noinline]] void Write(DWORD error) {
    Demand(error == ~DWORD{0}, "a disabled statement is written");
}

// Keeping last-error is the caller's due whatever the statement is made of.
void QuestionsOfDisabledStatements() {
    for (int i = 0; i < kStatements; ++i) {
        const LastErrorKeeper keeper;
        void* const handle = Log_GetDefaultHandle();
        if (handle != nullptr && Log_GetLogLevel(handle, kLog.module) != 0 &&
            Log_GetLogLevel(handle, kLog.module) <= 2) {
            Write(GetLastError());
        }
    }
}

void DemandNoAllocation() {
    const test::Fault allocations(GetModuleHandleW(nullptr), "malloc", 0, test::Fault::kNoCall);
    DisabledStatements();
    Demand(allocations.Calls() == 0, "a disabled statement allocates");
}

} // namespace

std::vector<Comparison> LoadingAndChecking() {
    return {
        {"load and unload",
         1.3,
         {[] { LoadAndUnload(L"driverSteward.dll"); }},
         {[] { LoadAndUnload(L"emptyPlugin.dll"); }},
         40},
        {"stewardHost check",
         1.5,
         {[] { RunChecked(L"stewardHost.exe", L"check install " + Package(L"v1")); }},
         {[] { RunChecked(L"verifyPackage.exe", Package(L"v1")); }},
         20},
    };
}

std::vector<Comparison> Lifecycle() {
    const auto plugin = std::make_shared<test::Plugin>();
    const auto act = [plugin](uint32_t action, const wchar_t* package) {
        Demand(DS_SUCCEEDED(plugin->Act(action, Package(package))), "the action failed");
    };
    const auto installed = [act] {
        test::RemoveDrivers();
        act(INSTALL, L"v1");
    };
    const Comparison install{"install",
                             0.5,
                             {[act] { act(INSTALL, L"v1"); }, test::RemoveDrivers},
                             {[] {
                                  InstallByHand(L"v1");
                                  DemandDrivers("running", "5.5.0.1256");
                              },
                              test::RemoveDrivers},
                             5};
    const Comparison update{"update",
                            0.5,
                            {[act] {
                                 act(UPDATE, L"v2");
                                 DemandDrivers("running", "5.6.0.1300");
                             },
                             installed},
                            {[] {
                                 StopByHand();
                                 InstallByHand(L"v2");
                                 DemandDrivers("running", "5.6.0.1300");
                             },
                             installed},
                            5};
    const Comparison uninstall{"uninstall",
                               0.5,
                               {[act] {
                                    act(UNINSTALL, L"v1");
                                    DemandDrivers("absent", "absent");
                                },
                                installed},
                               {[] {
                                    StopByHand();
                                    for (const std::wstring& driver : kDrivers) {
                                        Setup(L"DefaultUninstall", L"v1", driver);
                                    }
                                    DemandDrivers("absent", "absent");
                                },
                                installed},
                               5};
    return {install, update, uninstall};
}

std::vector<Comparison> Reporting() {
    const auto plugin = std::make_shared<test::Plugin>();
    plugin->Act(INSTALL, Package(L"v1"));
    DemandDrivers("running", "5.5.0.1256");
    DemandNoAllocation();
    const auto enumerate = reinterpret_cast<EnumerateDriversInfoFunction>(reinterpret_cast<void*>(
        GetProcAddress(LoadLibraryW(L"driverSteward.dll"), "Plugin_Interface_EnumerateDriversInfo")));
    return {
        {"state report",
         1.03,
         {[enumerate] { enumerate([](const DriverStateReport*, void*) -> uint32_t { return 0; }, nullptr); }},
         {EnumerateByHand},
         60},
        {"10,000 disabled statements", 1.05, {DisabledStatements}, {QuestionsOfDisabledStatements}, 100},
    };
}

} // namespace steward::bench
