// Every call of every import that can fail, failed once: no crash, no handle left behind, a result code of
// the table, and afterwards the machine can be brought to order by an installation.
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "e2e/WindowsVersion.h"
#include "support/Fault.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

namespace steward::test {

namespace {

constexpr uint32_t kResultCodes[] = {DS_SUCCESS,          DS_SUCCESS_RESTART_REQUIRED, DS_UNSUPPORTED_REQUEST,
                                     DS_PROCEDURE_FAILED, DS_FAILED_BATCH_ABORTED,     DS_DRIVER_NOT_STOPPED};

constexpr const char* kActionNames[] = {"Install", "Update", "Uninstall"};

constexpr const char* kImports[] = {
    "AllocateAndInitializeSid",
    "ControlService",
    "CoordinateBackSlash",
    "Copy",
    "CreateFileW",
    "CryptAcquireContextW",
    "CryptCreateHash",
    "CryptDecrypt",
    "CryptDeriveKey",
    "CryptHashData",
    "DeleteFileW",
    "GetAce",
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
    "RegDeleteKeyW",
    "RegDeleteValueW",
    "RegEnumKeyExW",
    "RegOpenKeyExW",
    "RegQueryValueExW",
    "RegSetValueExW",
    "SetFileAttributesW",
    "SetFilePointerEx",
    "SetNamedSecurityInfoW",
    "StartServiceW",
    "VerQueryValueW",
    "WinVerifyTrust",
    "malloc",
};

DWORD Handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

class FaultSweep : public testing::TestWithParam<uint32_t> {
  protected:
    FaultSweep() : log_(plugin_.Module(), 5) {}
    ~FaultSweep() override { RemoveDrivers(); }

    // The machine before the action: without drivers, or with drivers running.
    void Prepare() {
        if (GetParam() == INSTALL) {
            RemoveDrivers();
        } else if (GetParam() == UNINSTALL || ServiceState(L"qxcomm") == "absent") {
            ASSERT_EQ(plugin_.Act(INSTALL, Package(L"v1")), DS_SUCCESS);
        }
        for (const std::wstring& leftover : RenamedFiles()) {
            DeleteFileW(leftover.c_str());
        }
    }

    uint32_t Act() {
        plugin_.Report();
        return plugin_.Act(GetParam(), Package(L"v2"));
    }

    Plugin plugin_;
    LogCapture log_;
};

} // namespace

TEST_P(FaultSweep, EveryFailingCallIsSurvived) {
    Prepare();
    std::vector<std::unique_ptr<Fault>> counters;
    for (const char* const import : kImports) {
        counters.push_back(std::make_unique<Fault>(plugin_.Module(), import, 0, Fault::kNoCall));
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
                const Fault fault(plugin_.Module(), kImports[i], ERROR_NOT_ENOUGH_MEMORY, call);
                EXPECT_THAT(kResultCodes, testing::Contains(Act()));
            }
            EXPECT_EQ(Handles(), handles);
            if (GetParam() != UNINSTALL) { // an installation is next
                EXPECT_LE(Act(), DS_SUCCESS_RESTART_REQUIRED);
            }
            log_.Take();
            plugin_.Log();
        }
    }
    std::printf("%d faults\n", faults);
}

INSTANTIATE_TEST_SUITE_P(Actions, FaultSweep, testing::Values(INSTALL, UPDATE, UNINSTALL),
                         [](auto& action) { return std::string(kActionNames[action.param]); });

} // namespace steward::test
