// What the plug-in does when the machine refuses. Each case starts from a machine without the drivers and
// drives the shipped DLL; what Wine cannot be brought to do is answered by a patched import.
#include "e2e/Expected.h"
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "e2e/WindowsVersion.h"
#include "support/ToolRun.h"
#include "util/Handles.h"

#include "setupKit.h"

#include <gmock/gmock.h>

#include <functional>
#include <regex>

namespace steward::test {

namespace {

const std::string kVersion1 = "5.5.0.1256";
const std::string kVersion2 = "5.6.0.1300";
constexpr int kKilled = 77;

// A copy of a sample package from which files can be taken away.
std::wstring CopyOfPackage(const std::wstring& name) {
    std::wstring folder = L"C:\\package\\";
    CreateDirectoryW(folder.c_str(), nullptr);
    for (const std::wstring& driver : kDrivers) {
        for (const wchar_t* const extension : {L".inf", L".sys", L".cat"}) {
            const std::wstring file = driver + extension;
            EXPECT_TRUE(CopyFileW((Package(name) + file).c_str(), (folder + file).c_str(), FALSE));
        }
    }
    return folder;
}

// The service that a handle was opened for, so that a patch can choose one.
class ServiceNames {
  public:
    explicit ServiceNames(HMODULE module)
        : open_(module, [this](SC_HANDLE manager, LPCWSTR name, DWORD access) {
              SC_HANDLE service = open_.Original(manager, name, access);
              last_ = name;
              return service;
          }) {}
    [[nodiscard]] const std::wstring& Last() const { return last_; }

  private:
    std::wstring last_;
    ImportPatch<"OpenServiceW", decltype(OpenServiceW)> open_;
};

class Failure : public testing::Test {
  protected:
    Failure() {
        RemoveDrivers();
        UnregisterService(L"ORPL");
    }
    ~Failure() override { RemoveDrivers(); }

    static bool Is(const char* version) { return RunningVersion().name == std::string(version); }

    void Install() {
        ASSERT_EQ(Hex(plugin_.Act(INSTALL, Package(L"v1"))), Hex(DS_SUCCESS));
        plugin_.Log();
    }

    void StopAll() {
        for (const std::wstring& driver : kDrivers) {
            StopService(driver);
        }
    }

    // Runs an action whose transcript matters only inside the dispatcher's frame.
    void Expect(uint32_t action, const std::wstring& folder, uint32_t result, const Expected& transcript) {
        EXPECT_EQ(Hex(plugin_.Act(action, folder)), Hex(result));
        EXPECT_TRUE(SameTranscript(plugin_.Log(), transcript));
    }

    static Expected Begin(uint32_t action, const std::wstring& folder, const wchar_t* name) {
        Expected expected(false);
        expected.Entry(action, 2);
        if (action != UNINSTALL) {
            expected.SignatureGate(folder);
        }
        return expected.Drv(2, std::wstring(L"rDrvInfo.action = ") + name);
    }

    static std::string Versions() {
        std::string text;
        for (const std::wstring& driver : kDrivers) {
            text += VersionOf(kDriversFolder + driver + L".sys") + " ";
        }
        return text;
    }

    static std::string States() {
        std::string text;
        for (const std::wstring& driver : kDrivers) {
            text += ServiceState(driver) + " ";
        }
        return text;
    }

    Plugin plugin_;
};

using StartPatch = ImportPatch<"StartServiceW", decltype(StartServiceW)>;
using ControlPatch = ImportPatch<"ControlService", decltype(ControlService)>;
using MovePatch = ImportPatch<"MoveFileExW", decltype(MoveFileExW)>;

} // namespace

// Faults: a driver that does not start keeps the others from being installed; marks of a failed installation.
TEST_F(Failure, InstallGoesOnPastADriverThatDoesNotStart) {
    int starts = 0;
    StartPatch start(plugin_.Module(), [&](SC_HANDLE service, DWORD count, LPCWSTR* arguments) -> WINBOOL {
        if (++starts == 1) {
            SetLastError(ERROR_FILE_NOT_FOUND);
            return FALSE;
        }
        return start.Original(service, count, arguments);
    });
    const std::wstring folder = Package(L"v1");
    Expected expected = Begin(INSTALL, folder, L"INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,").InstallInf(folder, L"qxcomm");
    expected.Start(L"qxcomm", Outcome::refused, 2);
    expected.Drv(5, L"fail to start [qxcomm] service. Windows error code = 0x2");
    expected.InstallDriver(folder, L"qxevtmgr").InstallDriver(folder, L"qxactmon");
    expected.Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0xe01a000c").Exit(DS_FAILED_BATCH_ABORTED);
    Expect(INSTALL, folder, DS_FAILED_BATCH_ABORTED, expected);
    EXPECT_EQ(States(), "stopped running running ");
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"PermCount"), std::nullopt);
}

// Faults: drivers after the missing INF are touched; marks or restriction of a partial set.
TEST_F(Failure, InstallEndsAtAMissingInf) {
    const std::wstring folder = CopyOfPackage(L"v1");
    DeleteFileW((folder + L"qxevtmgr.inf").c_str());
    Expected expected = Begin(INSTALL, folder, L"INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,").InstallDriver(folder, L"qxcomm");
    expected.InfMissing(folder + L"qxevtmgr.inf").Drv(5, L"fail to install " + folder + L"qxevtmgr.inf");
    expected.Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0xe01a000c").Exit(DS_FAILED_BATCH_ABORTED);
    Expect(INSTALL, folder, DS_FAILED_BATCH_ABORTED, expected);
    EXPECT_EQ(States(), "running absent absent ");
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"PermCount"), std::nullopt);
    CopyOfPackage(L"v1");
    EXPECT_EQ(Hex(plugin_.Act(INSTALL, folder)), Hex(DS_SUCCESS)); // the action run again completes
}

// Faults: a mark that cannot be written changes the result or keeps the others from being tried.
TEST_F(Failure, InstallSucceedsWithoutItsMarks) {
    ImportPatch<"RegSetValueExW", decltype(RegSetValueExW)> set(
        plugin_.Module(), [](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS {
            SetLastError(ERROR_ACCESS_DENIED);
            return ERROR_ACCESS_DENIED;
        });
    const std::wstring folder = Package(L"v1");
    Expected expected = Begin(INSTALL, folder, L"INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,").InstallDriver(folder, L"qxcomm");
    expected.InstallDriver(folder, L"qxevtmgr").InstallInf(folder, L"qxactmon");
    expected.Drv(5, L"Fail to enable Smart-Create File Event. error: 0x5").Start(L"qxactmon");
    expected.Drv(2, L"Success to start [qxactmon] service.").Drv(5, L"fail to write registry PermCount");
    expected.Drv(5, L"fail to write registry InstalledByOrpl").Drv(5, L"fail to write registry M9TZ");
    expected.Restriction(true, kDrivers).Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0x201a0001");
    Expect(INSTALL, folder, DS_SUCCESS, expected.Exit(DS_SUCCESS));
}

// Fault: uninstallation goes on, or answers success, where there is nothing to uninstall.
TEST_F(Failure, UninstallOfAbsentDrivers) {
    Expected expected = Begin(UNINSTALL, L"", L"UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, {}).QueryFails();
    expected.Drv(3, L"fail to query driver[qxactmon] status");
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = 0xe01a000c").Exit(DS_FAILED_BATCH_ABORTED);
    Expect(UNINSTALL, Package(L"v1"), DS_FAILED_BATCH_ABORTED, expected);
}

// Fault: rows after one that cannot be uninstalled are touched. A package without .sys files reaches it all
// the same.
TEST_F(Failure, UninstallEndsAtAMissingInf) {
    Install();
    StopAll();
    const std::wstring folder = CopyOfPackage(L"v1");
    for (const wchar_t* const file : {L"qxevtmgr.inf", L"qxcomm.sys", L"qxevtmgr.sys", L"qxactmon.sys"}) {
        DeleteFileW((folder + file).c_str());
    }
    Expected expected = Begin(UNINSTALL, folder, L"UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, kDrivers).UninstallInf();
    if (RunningVersion().code >= 80) {
        expected.QueryFails();
    }
    expected.Manage(2, L"==> _UnInstallDriverByInf,").Manage(5, L"Incorrect driver INF filepath.");
    expected.Manage(2, L"<== _UnInstallDriverByInf,").Drv(5, L"fail to uninstall [qxevtmgr] by inf.");
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = 0xe01a000c").Exit(DS_FAILED_BATCH_ABORTED);
    Expect(UNINSTALL, folder, DS_FAILED_BATCH_ABORTED, expected);
    EXPECT_EQ(States(), "stopped stopped absent ");
}

// Fault: a driver that refuses to stop is uninstalled under its clients' feet.
TEST_F(Failure, UninstallEndsAtARefusedStopOnWindows7) {
    if (!Is("win7")) {
        GTEST_SKIP();
    }
    Install();
    const ServiceNames services(plugin_.Module());
    ControlPatch control(plugin_.Module(),
                         [&](SC_HANDLE service, DWORD code, LPSERVICE_STATUS status) -> WINBOOL {
                             if (services.Last() == L"qxevtmgr") {
                                 SetLastError(ERROR_DEPENDENT_SERVICES_RUNNING);
                                 return FALSE;
                             }
                             return control.Original(service, code, status);
                         });
    Expected expected = Begin(UNINSTALL, L"", L"UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, kDrivers).Stop().UninstallInf();
    expected.Stop(Outcome::refused, ERROR_DEPENDENT_SERVICES_RUNNING);
    expected.Drv(5, L"fail to stop original driver qxevtmgr");
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = 0xe01a0019").Exit(DS_DRIVER_NOT_STOPPED);
    Expect(UNINSTALL, Package(L"v1"), DS_DRIVER_NOT_STOPPED, expected);
    EXPECT_EQ(States(), "running running absent ");
}

// Faults: a restart is reported for a driver that is gone, or reported twice; a catalog in use turns the
// result.
TEST_F(Failure, UninstallLeavesACatalogThatIsInUse) {
    if (!Is("win10")) {
        GTEST_SKIP();
    }
    Install();
    StopAll();
    const std::wstring catalog = kCatalogFolder + L"qxevtmgr.cat";
    CopyFileW((Package(L"v1") + L"qxevtmgr.cat").c_str(), catalog.c_str(), FALSE);
    const FileHandle inUse(CreateFileW(catalog.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(inUse);
    Expected expected = Begin(UNINSTALL, L"", L"UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, kDrivers);
    for (int i = 0; i < 3; ++i) {
        expected.UninstallInf().QueryFails();
    }
    expected.Drv(2, L"==> DeleteDrvFile,").Drv(3, L"File is not exit : " + kCatalogFolder + L"qxcomm.cat");
    expected.AttributesReset(catalog);
    expected.File(5, L"Delete existing file fail, File: " + catalog + L", GetLastError() = 0x20");
    expected.Drv(5, L"Failed to delete the file: " + catalog + L", error: 0x20");
    expected.Drv(3, L"File is not exit : " + kCatalogFolder + L"qxactmon.cat");
    expected.Drv(2, L"<== DeleteDrvFile,bRet = 0");
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = 0x201a0001").Exit(DS_SUCCESS);
    Expect(UNINSTALL, Package(L"v1"), DS_SUCCESS, expected);
    EXPECT_EQ(States(), "absent absent absent ");
}

// Faults: a client of the shared driver loses it; an update goes on with a driver that still runs.
TEST_F(Failure, UpdateEndsAtASharedDriverInUseOnWindows7) {
    if (!Is("win7")) {
        GTEST_SKIP();
    }
    Install();
    const FileHandle client(CreateMailslotW(L"\\\\.\\mailslot\\qxcomm_INSTANCE15", 0, 0, nullptr));
    ASSERT_TRUE(client);
    const std::wstring folder = Package(L"v2");
    Expected expected = Begin(UPDATE, folder, L"UPDATE");
    expected.Restriction(false, kDrivers).Drv(2, L"==> UpdateDrvFromDrvInfo,");
    expected.Exists(L"qxactmon", true).StopForUpdate(L"qxactmon");
    expected.Exists(L"qxevtmgr", true).StopForUpdate(L"qxevtmgr");
    expected.Exists(L"qxcomm", true).RecoveryFails(L"qxcomm").Drv(2, L"Try to stop service: qxcomm");
    expected.Instances(1).Manage(5, L"driver instance found, cannot stop qxcomm service.");
    expected.Drv(5, L"Fail to stop service, qxcomm");
    expected.Drv(2, L"<== UpdateDrvFromDrvInfo,asStatus = 0xe01a000b").Restriction(true, kDrivers);
    Expect(UPDATE, folder, DS_PROCEDURE_FAILED, expected.Exit(DS_PROCEDURE_FAILED));
    EXPECT_EQ(States(), "running stopped stopped ");
    EXPECT_EQ(Versions(), kVersion1 + " " + kVersion1 + " " + kVersion1 + " ");
}

// Fault: an equal update gives up at a driver that refuses to stop, or forgets that a restart is due.
TEST_F(Failure, EqualUpdateGoesOnPastARefusedStopOnWindows7) {
    if (!Is("win7")) {
        GTEST_SKIP();
    }
    Install();
    const ServiceNames services(plugin_.Module());
    ControlPatch control(
        plugin_.Module(), [&](SC_HANDLE service, DWORD code, LPSERVICE_STATUS status) -> WINBOOL {
            const WINBOOL stopped = control.Original(service, code, status);
            if (services.Last() != L"qxevtmgr") {
                return stopped;
            }
            SetLastError(
                ERROR_SERVICE_CANNOT_ACCEPT_CTRL); // stopped all the same, so that its file can be replaced
            return FALSE;
        });
    const std::wstring folder = Package(L"v2");
    Expected expected = Begin(EQUAL_UPDATE, folder, L"EQUAL_UPDATE");
    expected.Restriction(false, kDrivers).Drv(2, L"==> UpdateDrvFromDrvInfo,");
    expected.Exists(L"qxactmon", true).StopForUpdate(L"qxactmon");
    expected.Exists(L"qxevtmgr", true);
    expected.StopForUpdate(L"qxevtmgr", Outcome::refused, ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    expected.Exists(L"qxcomm", true).StopForUpdate(L"qxcomm");
    expected.ExistencePhase(false).ReplaceAll(folder, false, false);
    expected.StartNew(L"qxcomm").StartNew(L"qxevtmgr").StartNew(L"qxactmon");
    expected.Drv(2, L"<== UpdateDrvFromDrvInfo,asStatus = 0x201a0002").Restriction(true, kDrivers);
    Expect(EQUAL_UPDATE, folder, DS_SUCCESS_RESTART_REQUIRED, expected.Exit(DS_SUCCESS_RESTART_REQUIRED));
    EXPECT_EQ(States(), "running running running ");
    EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
}

// Faults: drivers after one that does not start are started; a foreign registry is taken over after a
// failure. The missing driver is installed first.
TEST_F(Failure, UpdateEndsAtADriverThatDoesNotStartOnWindows7) {
    if (!Is("win7")) {
        GTEST_SKIP();
    }
    Install();
    StopAll();
    UnregisterService(L"qxevtmgr");
    DeleteRegistryValue(ServiceKey(L"qxcomm"), L"InstalledByOrpl");
    const ServiceNames services(plugin_.Module());
    StartPatch start(plugin_.Module(), [&](SC_HANDLE service, DWORD count, LPCWSTR* arguments) -> WINBOOL {
        if (services.Last() == L"qxevtmgr") {
            SetLastError(ERROR_GEN_FAILURE);
            return FALSE;
        }
        return start.Original(service, count, arguments);
    });
    const std::wstring folder = Package(L"v2");
    Expected expected = Begin(UPDATE, folder, L"UPDATE");
    expected.Restriction(false, {L"qxcomm", L"qxactmon"}).Drv(2, L"==> UpdateDrvFromDrvInfo,");
    expected.Exists(L"qxactmon", true).StopForUpdate(L"qxactmon", Outcome::already);
    expected.Exists(L"qxevtmgr", false);
    expected.Exists(L"qxcomm", true).StopForUpdate(L"qxcomm", Outcome::already);
    expected.Drv(2, L"Check if the driver is exist: qxcomm").Exists(L"qxcomm", true).CheckShared(true);
    expected.Drv(2, L"Check if the driver is exist: qxevtmgr").Exists(L"qxevtmgr", false);
    expected.InstallInf(folder, L"qxevtmgr");
    expected.Drv(2, L"Success to install driver by INF " + folder + L"qxevtmgr.inf");
    expected.Drv(2, L"Check if the driver is exist: qxactmon").Exists(L"qxactmon", true);
    expected.ReplaceAll(folder, false, false).StartNew(L"qxcomm");
    expected.StartNew(L"qxevtmgr", Outcome::refused, ERROR_GEN_FAILURE);
    expected.Drv(2, L"<== UpdateDrvFromDrvInfo,asStatus = 0xe01a000b").Restriction(true, kDrivers);
    Expect(UPDATE, folder, DS_PROCEDURE_FAILED, expected.Exit(DS_PROCEDURE_FAILED));
    EXPECT_EQ(States(), "running stopped stopped ");
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"InstalledByOrpl"), std::nullopt);
}

// Fault: the take-over of a foreign shared driver is forgotten by an update.
TEST_F(Failure, UpdateTakesOverAForeignSharedDriver) {
    Install();
    StopAll();
    DeleteRegistryValue(ServiceKey(L"qxcomm"), L"InstalledByOrpl");
    const uint32_t result = RunningVersion().code >= 80 ? DS_SUCCESS_RESTART_REQUIRED : DS_SUCCESS;
    EXPECT_EQ(Hex(plugin_.Act(UPDATE, Package(L"v2"))), Hex(result));
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"InstalledByOrpl"), 1);
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"PermCount"), 2);
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"Start"), 0);
}

// Fault: a migration that fails to start a driver goes on to the next, or takes the registry over.
TEST_F(Failure, MigrationEndsAtADriverThatDoesNotStart) {
    Install();
    SetRegistryNumber(ServiceKey(L"qxcomm"), L"InstalledByOrpl", 0);
    StopAll();
    const ServiceNames services(plugin_.Module());
    StartPatch start(plugin_.Module(), [&](SC_HANDLE service, DWORD count, LPCWSTR* arguments) -> WINBOOL {
        if (services.Last() == L"qxevtmgr") {
            SetLastError(ERROR_SERVICE_DISABLED);
            return FALSE;
        }
        return start.Original(service, count, arguments);
    });
    const std::wstring folder = Package(L"v2");
    Expected expected(false);
    expected.Entry(UPDATE, 1).SignatureGate(folder).Drv(2, L"rDrvInfo.action = UPDATE");
    expected.Restriction(false, kDrivers).Drv(2, L"==> RollbackDrvFromDrvInfo,").CheckShared(false);
    expected.Drv(2, L"qxcomm is installed by other Vexholm products.").MigrationBegins();
    for (const std::wstring& driver : kDrivers) {
        expected.Drv(2, L"Check if the driver is exist: " + driver).Exists(driver, true);
    }
    expected.StartNew(L"qxcomm").StartNew(L"qxevtmgr", Outcome::refused, ERROR_SERVICE_DISABLED);
    expected.Drv(2, L"<== MigrateDrvFromDrvInfo,asStatus = 0xe01a000b");
    expected.Drv(2, L"<== RollbackDrvFromDrvInfo,").Restriction(true, kDrivers).Exit(DS_PROCEDURE_FAILED);
    EXPECT_EQ(Hex(plugin_.Act(UPDATE, folder, COMPARE_ROLLBACK)), Hex(DS_PROCEDURE_FAILED));
    EXPECT_TRUE(SameTranscript(plugin_.Log(), expected));
    EXPECT_EQ(States(), "running stopped stopped ");
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxcomm"), L"InstalledByOrpl"), 0);
    EXPECT_EQ(Versions(), kVersion1 + " " + kVersion1 + " " + kVersion1 + " ");
}

// Fault: another than the last rename decides over the replacement. Copies succeed, the drivers being
// stopped.
TEST_F(Failure, LastRenameDecidesOnWindows10) {
    if (!Is("win10")) {
        GTEST_SKIP();
    }
    const std::wstring folder = Package(L"v2");
    for (const auto& [refused, result] : {std::pair(L"qxcomm.sys", DS_SUCCESS_RESTART_REQUIRED),
                                          std::pair(L"qxactmon.sys", DS_FAILED_BATCH_ABORTED)}) {
        RemoveDrivers();
        Install();
        StopAll();
        const MovePatch move(
            plugin_.Module(),
            [&, refused = std::wstring(refused)](LPCWSTR from, LPCWSTR to, DWORD flags) -> WINBOOL {
                if (std::wstring(from).ends_with(refused)) {
                    SetLastError(ERROR_ACCESS_DENIED);
                    return FALSE;
                }
                return move.Original(from, to, flags);
            });
        EXPECT_EQ(Hex(plugin_.Act(UPDATE, folder)), Hex(result)) << Utf8(refused);
        EXPECT_THAT(plugin_.Log(), testing::Contains(LogLine(
                                       5, L"System Driver Installation", L"driverSteward.cpp",
                                       L"Failed to rename old driver file from " + kDriversFolder + refused +
                                           L" to " + kDriversFolder + L"<temporary>, error: 0x5")));
        EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
        EXPECT_EQ(RenamedFiles().size(), 3U); // the empty file of the name that was not used among them
    }
}

// Fault: the fallback name has another form than folder, service name, four upper-case digits, ".tmp".
TEST_F(Failure, FallbackNameOfTheRenamedImageOnWindows10) {
    if (!Is("win10")) {
        GTEST_SKIP();
    }
    Install();
    const ImportPatch<"GetTempFileNameW", decltype(GetTempFileNameW)> name(
        plugin_.Module(), [](LPCWSTR, LPCWSTR, UINT, LPWSTR) -> UINT {
            SetLastError(ERROR_FILE_EXISTS);
            return 0;
        });
    EXPECT_EQ(Hex(plugin_.Act(UPDATE, Package(L"v2"))), Hex(DS_SUCCESS_RESTART_REQUIRED));
    const std::string log = Joined(plugin_.Log());
    EXPECT_TRUE(std::regex_search(
        log, std::regex(
                 "5 System Driver Installation driverSteward.cpp: GetTempFileNameW\\(\\) failed! "
                 "GetLastError\\(\\) = 0x50\n2 System Driver Installation driverSteward.cpp: Create a random "
                 "temp file name : C:.windows.system32.drivers.qxcomm[0-9A-F]{4}.tmp\n2 [^\n]*: Old driver "
                 "file is renamed from C:.windows.system32.drivers.qxcomm.sys to C:.windows.system32."
                 "drivers.qxcomm[0-9A-F]{4}.tmp\n")))
        << log;
    EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
}

// Faults: rows after a failed copy are touched; what was replaced is lost; the action cannot be run again.
TEST_F(Failure, UpdateEndsAtAFailedCopyAndCanBeRunAgain) {
    Install();
    StopAll();
    const std::wstring folder = Package(L"v2");
    {
        const ImportPatch<"Copy", decltype(Copy)> copy(
            plugin_.Module(),
            [&](const wchar_t* to, const wchar_t* from, BOOL overwrite, uint32_t* error) -> BOOL {
                if (std::wstring(to).ends_with(L"qxevtmgr.sys")) {
                    *error = ERROR_DISK_FULL;
                    return FALSE;
                }
                return copy.Original(to, from, overwrite, error);
            });
        EXPECT_EQ(Hex(plugin_.Act(UPDATE, folder)), Hex(DS_FAILED_BATCH_ABORTED));
    }
    const Transcript log = plugin_.Log();
    EXPECT_THAT(Joined(log), testing::HasSubstr("Copy file failed.0x70\n5 System Driver Installation "
                                                "driverSteward.cpp: replace driver file failed.\n"));
    EXPECT_EQ(VersionOf(kDriversFolder + L"qxcomm.sys"), kVersion2);
    EXPECT_EQ(VersionOf(kDriversFolder + L"qxactmon.sys"), kVersion1);
    EXPECT_GE(plugin_.Act(UPDATE, folder), DS_SUCCESS);
    EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
}

// The host of the next test: dies between the renaming and the copying of the second file.
TEST_F(Failure, DISABLED_HostKilledInsideAnUpdate) {
    const ImportPatch<"Copy", decltype(Copy)> copy(
        plugin_.Module(),
        [&](const wchar_t* to, const wchar_t* from, BOOL overwrite, uint32_t* error) -> BOOL {
            if (std::wstring(to).ends_with(L"qxevtmgr.sys")) {
                TerminateProcess(GetCurrentProcess(), kKilled);
            }
            return copy.Original(to, from, overwrite, error);
        });
    RemoveDrivers();
    Install();
    plugin_.Act(UPDATE, Package(L"v2"));
    FAIL() << "the host lives";
}

// Faults: a file that is neither old nor new; an update that cannot be completed after the host was killed.
TEST_F(Failure, NothingIsLostWhenTheHostIsKilledOnWindows10) {
    if (!Is("win10")) {
        GTEST_SKIP();
    }
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = std::wstring(self) + L" --gtest_also_run_disabled_tests "
                                                L"--gtest_filter=Failure.DISABLED_HostKilledInsideAnUpdate";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION host{};
    ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &host));
    DWORD exitCode = 0;
    WaitForSingleObject(host.hProcess, 60000);
    GetExitCodeProcess(host.hProcess, &exitCode);
    CloseHandle(host.hThread);
    CloseHandle(host.hProcess);
    ASSERT_EQ(exitCode, static_cast<DWORD>(kKilled));

    EXPECT_EQ(Versions(), kVersion2 + " absent " + kVersion1 + " ");
    std::vector<std::string> kept;
    for (const std::wstring& image : RenamedFiles()) {
        kept.push_back(VersionOf(image));
    }
    EXPECT_THAT(kept, testing::UnorderedElementsAre(kVersion1, kVersion1));
    EXPECT_EQ(States(), "running running running ");

    EXPECT_EQ(Hex(plugin_.Act(UPDATE, Package(L"v2"))), Hex(DS_SUCCESS_RESTART_REQUIRED));
    EXPECT_EQ(Versions(), kVersion2 + " " + kVersion2 + " " + kVersion2 + " ");
}

// Faults: a crash, a write into the host's records, a batch that goes on or ends where it must not.
TEST_F(Failure, BadInputIsAnswered) {
    struct Case {
        const char* fault;
        std::vector<DrvInfo> records;
        uint32_t result;
        std::string states;
    };
    const std::wstring good = Package(L"v1");
    const std::wstring nowhere = L"C:\\no such folder";
    const Case cases[] = {
        {"unknown action ends nothing",
         {Record(7, good), Record(INSTALL, good)},
         DS_SUCCESS,
         "running running running "},
        {"earlier failures are not reported",
         {Record(UPDATE, good, 0), Record(99, good)},
         DS_UNSUPPORTED_REQUEST,
         "absent absent absent "},
        {"failed record ends the batch",
         {Record(INSTALL, nowhere), Record(INSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         "absent absent absent "},
        {"earlier work stays",
         {Record(INSTALL, good), Record(INSTALL, nowhere), Record(UNINSTALL, good)},
         DS_FAILED_BATCH_ABORTED,
         "running running running "},
        {"path without terminator",
         {Record(INSTALL, std::wstring(DRV_INFO_PATH_UNITS, L'x'))},
         DS_FAILED_BATCH_ABORTED,
         "absent absent absent "},
        {"empty path",
         {Record(UPDATE, L"", COMPARE_UNKNOWN)},
         DS_UNSUPPORTED_REQUEST,
         "absent absent absent "},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        RemoveDrivers();
        const size_t bytes = each.records.size() * sizeof(DrvInfo);
        auto* const readOnly =
            static_cast<DrvInfo*>(VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        std::copy(each.records.begin(), each.records.end(), readOnly);
        DWORD before = 0;
        VirtualProtect(readOnly, bytes, PAGE_READONLY, &before);
        EXPECT_EQ(Hex(plugin_.Act(readOnly, static_cast<uint32_t>(each.records.size()))), Hex(each.result));
        EXPECT_EQ(States(), each.states);
        VirtualFree(readOnly, 0, MEM_RELEASE);
    }
    plugin_.Log();
    EXPECT_EQ(Hex(plugin_.Act(nullptr, 0)), Hex(DS_FAILED_BATCH_ABORTED));
    EXPECT_EQ(Hex(plugin_.Act(nullptr, 3)), Hex(DS_FAILED_BATCH_ABORTED));
    EXPECT_TRUE(SameTranscript(plugin_.Log(), {}));
}

// Faults: the host keeps to itself that a restart is due, or takes the file on disk for what is loaded.
TEST_F(Failure, HostNamesTheOldImagesThatRunOnWindows10) {
    if (!Is("win10")) {
        GTEST_SKIP();
    }
    Install();
    ASSERT_EQ(Hex(plugin_.Act(UPDATE, Package(L"v2"))), Hex(DS_SUCCESS_RESTART_REQUIRED));
    // Back to the first version on disk for one driver: what is loaded is what was renamed first.
    CopyFileW((Package(L"v1") + L"qxevtmgr.sys").c_str(), (kDriversFolder + L"qxevtmgr.sys").c_str(), FALSE);
    StopService(L"qxactmon");
    const ToolRun host = RunTool(L"stewardHost.exe", L"--json status");
    EXPECT_EQ(host.exitCode, 0U);
    EXPECT_THAT(host.output,
                testing::EndsWith(
                    "\"drivers\":[{\"name\":\"qxcomm\",\"service\":\"running\",\"file\":\"5.6.0.1300\","
                    "\"loaded\":\"5.5.0.1256\"},{\"name\":\"qxevtmgr\",\"service\":\"running\",\"file\":"
                    "\"5.5.0.1256\",\"loaded\":null},{\"name\":\"qxactmon\",\"service\":\"stopped\",\"file\":"
                    "\"5.6.0.1300\",\"loaded\":null}]}\n"));
}

// Faults: the rejected compare states skip the restriction, or leave it lifted.
TEST_F(Failure, RejectedCompareStateRestoresTheRestriction) {
    const std::wstring folder = Package(L"v1");
    Expected expected(false);
    expected.Entry(UPDATE, COMPARE_UNKNOWN).SignatureGate(folder).Drv(2, L"rDrvInfo.action = UPDATE");
    expected.Restriction(false, {}).Drv(3, L"Unexpected compare_state received!!").Restriction(true, {});
    expected.Exit(DS_UNSUPPORTED_REQUEST);
    EXPECT_EQ(Hex(plugin_.Act(UPDATE, folder, COMPARE_UNKNOWN)), Hex(DS_UNSUPPORTED_REQUEST));
    EXPECT_TRUE(SameTranscript(plugin_.Log(), expected));
}

// Faults: the version of a lower row stays when the shared driver's can be read; a failed query counts as
// running.
TEST_F(Failure, ReportOfAnIncompleteSet) {
    Install();
    StopService(L"qxactmon");
    EXPECT_EQ(Hex(plugin_.Report().state), Hex(DS_NOT_ALL_RUNNING));
    EXPECT_STREQ(plugin_.Report().version, "5.5.1256");
    MoveFileExW((kDriversFolder + L"qxcomm.sys").c_str(), (kDriversFolder + L"aside.sys").c_str(),
                MOVEFILE_REPLACE_EXISTING);
    UnregisterService(L"qxactmon");
    plugin_.Log();
    const DriverStateReport report = plugin_.Report();
    Expected expected;
    expected.QueryFails().Drv(3, L"Query driver qxactmon status failed!");
    expected.Drv(2, L"The current state of qxevtmgr is 0x4").Drv(2, L"The current state of qxcomm is 0x4");
    expected.Drv(3, L"Query driver qxcomm version failed!").Drv(2, L"driver version: 5.5.1256");
    EXPECT_TRUE(SameTranscript(plugin_.Log(), expected));
    EXPECT_EQ(Hex(report.state), Hex(DS_NOT_ALL_RUNNING));
}

// Fault: a batch leaves handles behind.
TEST_F(Failure, ABatchLeavesNoHandles) {
    const auto handles = [] {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    Install(); // what the system keeps open after its first use is not the batch's
    plugin_.Act(UPDATE, Package(L"v2"));
    plugin_.Act(UNINSTALL, Package(L"v1"));
    const DWORD before = handles();
    plugin_.Act(INSTALL, Package(L"v1"));
    plugin_.Act(UPDATE, Package(L"v2"));
    plugin_.Act(INSTALL, L"C:\\no such folder");
    plugin_.Act(UNINSTALL, Package(L"v1"));
    plugin_.Report();
    EXPECT_EQ(handles(), before);
}

} // namespace steward::test
