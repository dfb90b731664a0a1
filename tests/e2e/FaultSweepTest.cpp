// Every call, on Windows 10 with the signature policy on, of every import here: failed once, it must leave no
// handle behind and end in a result code of the table, and the action run again (after an uninstallation: an
// installation) must succeed.
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "support/Fault.h"
#include "unit/config/ConfigFolder.h"
#include "util/RegKey.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

namespace steward::test {

namespace {

constexpr uint32_t kResultCodes[] = {DS_SUCCESS,          DS_SUCCESS_RESTART_REQUIRED, DS_UNSUPPORTED_REQUEST,
                                     DS_PROCEDURE_FAILED, DS_FAILED_BATCH_ABORTED,     DS_DRIVER_NOT_STOPPED};

constexpr wchar_t kPlatformKey[] = L"SOFTWARE\\Vexholm\\ORPL";
constexpr const char* kActionNames[] = {"Install", "Update", "Uninstall"};

constexpr const char* kImports[] = {
    "AllocateAndInitializeSid",
    "CertGetNameStringW",
    "CoordinateBackSlash",
    "Copy",
    "CreateFileW",
    "CryptAcquireContextW",
    "CryptCreateHash",
    "CryptDecrypt",
    "CryptDeriveKey",
    "CryptHashData",
    "GetDirInWinDir",
    "GetFileAttributesW",
    "GetFileVersionInfoSizeW",
    "GetFileVersionInfoW",
    "GetNamedSecurityInfoW",
    "GetProcessHeap",
    "GetTempFileNameW",
    "GetWindowsDrvDir",
    "InstallHinfSectionW",
    "Log_GetDefaultHandle",
    "LookupAccountSidW",
    "MoveFileExW",
    "OpenSCManagerW",
    "OpenServiceW",
    "QueryServiceStatus",
    "ReadFile",
    "RegCreateKeyExW",
    "RegOpenKeyExW",
    "RegQueryValueExW",
    "RegSetValueExW",
    "SetFilePointerEx",
    "SetNamedSecurityInfoW",
    "StartServiceW",
    "VerQueryValueW",
    "WTHelperGetProvSignerFromChain",
    "WTHelperProvDataFromStateData",
    "WinVerifyTrust",
    "malloc",
};

DWORD Handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

// Past the grace in which every file is trusted, and silent.
struct Loaded {
    Plugin plugin;
    LogCapture log{plugin.Module(), 7};
    ImportPatch<"GetTickCount", decltype(GetTickCount)> clock{plugin.Module(), [] { return DWORD{120'000}; }};
};

class FaultSweep : public testing::TestWithParam<uint32_t> {
  protected:
    FaultSweep() {
        config_.WriteConfig("<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>1</ORPL_CFG_SP_MODULE_LOAD>"
                            "</ORPL_ALL></SysConfigManager>");
        WriteHKLMString(config_.Path(), kPlatformKey, L"InstallDir");
    }
    ~FaultSweep() override {
        RemoveDrivers();
        DeleteRegistryValue(kPlatformKey, L"InstallDir");
    }

    // The machine before the action: without drivers, or with drivers running. The plug-in has not read its
    // policy yet.
    void Prepare() {
        loaded_.reset();
        loaded_.emplace();
        if (GetParam() == INSTALL) {
            RemoveDrivers();
        } else if (GetParam() == UNINSTALL || ServiceState(L"qxcomm") == "absent") {
            ASSERT_EQ(loaded_->plugin.Act(INSTALL, Package(L"v1")), DS_SUCCESS);
        }
        for (const std::wstring& leftover : RenamedFiles()) {
            DeleteFileW(leftover.c_str());
        }
    }

    uint32_t Act() {
        loaded_->plugin.Report();
        return loaded_->plugin.Act(GetParam(), Package(L"v2"));
    }
    [[nodiscard]] HMODULE Module() const { return loaded_->plugin.Module(); }

  private:
    ConfigFolder config_;
    std::optional<Loaded> loaded_;
};

} // namespace

TEST_P(FaultSweep, EveryFailingCallIsSurvived) {
    Prepare();
    std::vector<std::unique_ptr<Fault>> counters;
    for (const char* const import : kImports) {
        counters.push_back(std::make_unique<Fault>(Module(), import, 0, Fault::kNoCall));
    }
    Act();
    std::vector<int> calls(counters.size());
    std::transform(counters.begin(), counters.end(), calls.begin(),
                   [](auto& counter) { return counter->Calls(); });
    counters.clear();
    int faults = 0;
    for (size_t i = 0; i < calls.size(); ++i) {
        for (int call = 1; call <= calls[i]; ++call, ++faults) {
            SCOPED_TRACE(std::string(kImports[i]) + " call " + std::to_string(call));
            Prepare();
            const DWORD handles = Handles();
            {
                const Fault fault(Module(), kImports[i], ERROR_NOT_ENOUGH_MEMORY, call);
                EXPECT_THAT(kResultCodes, testing::Contains(Act()));
            }
            EXPECT_EQ(Handles(), handles);
            if (GetParam() != UNINSTALL) { // an installation is next
                EXPECT_LE(Act(), DS_SUCCESS_RESTART_REQUIRED);
            }
        }
    }
    std::printf("%d faults\n", faults);
}

INSTANTIATE_TEST_SUITE_P(Actions, FaultSweep, testing::Values(INSTALL, UPDATE, UNINSTALL),
                         [](auto& action) { return std::string(kActionNames[action.param]); });

} // namespace steward::test
