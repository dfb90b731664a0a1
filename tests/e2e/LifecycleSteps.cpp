// The life of the drivers, step by step, on whichever Windows version the lab has set. lab/matrix runs the
// steps in its order, each in a process of its own, with restarts in between. A step carries out one action
// through the shipped DLL and checks the result code, the whole transcript and what is left on the machine;
// it prints the result code for the table.
#include "e2e/Expected.h"
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "e2e/WindowsVersion.h"

#include <gmock/gmock.h>

#include <cstdio>

namespace steward::test {

namespace {

using testing::SizeIs;
using testing::UnorderedElementsAreArray;

const std::string kVersion1 = "5.5.0.1256";
const std::string kVersion2 = "5.6.0.1300";
const std::wstring kShared = L"qxcomm";
const std::vector<std::wstring> kBackwards = {L"qxactmon", L"qxevtmgr", L"qxcomm"};

class Lifecycle : public testing::Test {
  protected:
    static bool StopsDrivers() { return RunningVersion().code <= 70; }
    static bool NeedsRestart() { return RunningVersion().code >= 80; }
    static bool RenamesImages() { return RunningVersion().code >= 100; }

    // Windows 8 and 8.1 neither stop nor rename: under Wine the image in use cannot be overwritten.
    static bool OverwritesImagesInUse() { return NeedsRestart() && !RenamesImages(); }

    void Run(uint32_t action, const std::wstring& package, uint32_t expectedResult,
             const Expected& transcript, uint32_t compareState = 2) {
        result_ = plugin_.Act(action, Package(package), compareState);
        EXPECT_EQ(Hex(result_), Hex(expectedResult));
        EXPECT_TRUE(SameTranscript(plugin_.Log(), transcript));
        std::printf("RESULT %08X\n", result_);
    }

    static void ExpectDrivers(const std::string& state, const std::string& version) {
        for (const std::wstring& driver : kDrivers) {
            EXPECT_EQ(ServiceState(driver), state) << Utf8(driver);
            EXPECT_EQ(VersionOf(kDriversFolder + driver + L".sys"), version) << Utf8(driver);
        }
    }

    static void ExpectHold(std::optional<uint32_t> permCount, std::optional<uint32_t> installedByOrpl) {
        EXPECT_EQ(RegistryNumber(ServiceKey(kShared), L"PermCount"), permCount);
        EXPECT_EQ(RegistryNumber(ServiceKey(kShared), L"InstalledByOrpl"), installedByOrpl);
    }

    static void ExpectCatalogs(bool there) {
        for (const std::wstring& driver : kDrivers) {
            EXPECT_EQ(FileExists(kCatalogFolder + driver + L".cat"), there) << Utf8(driver);
        }
    }

    // Each file that was renamed away is still there and will be deleted by the next boot, and no other
    // file.
    static void ExpectRenamedFiles(size_t count) {
        EXPECT_THAT(RenamedFiles(), SizeIs(count));
        EXPECT_THAT(FilesDeletedAtBoot(), UnorderedElementsAreArray(RenamedFiles()));
    }

    // The transcript of an update of running (or stopped) drivers of the platform's own, without the
    // dispatcher.
    static void AppendUpdate(Expected& expected, const std::wstring& folder, uint32_t result, bool running,
                             bool catalogsThere, bool foreign = false) {
        expected.Drv(2, L"==> UpdateDrvFromDrvInfo,");
        for (const std::wstring& driver : kBackwards) {
            expected.Exists(driver, true);
            if (StopsDrivers()) {
                expected.StopForUpdate(driver, running ? Outcome::done : Outcome::already);
            }
        }
        expected.ExistencePhase(foreign);
        if (result == DS_FAILED_BATCH_ABORTED) {
            expected.Drv(2, L"replace original driver file with: " + folder + L" to " + kDriversFolder);
            expected.Replace(folder, kDriversFolder, kShared, L".sys", false);
            expected.Drv(5, L"Copy file failed.0x20").Drv(5, L"replace driver file failed.");
        } else {
            AppendReplacement(expected, folder, catalogsThere);
        }
        expected.Drv(2, L"<== UpdateDrvFromDrvInfo,asStatus = " + Hex(result));
    }

    static void AppendReplacement(Expected& expected, const std::wstring& folder, bool catalogsThere) {
        expected.ReplaceAll(folder, RenamesImages(), catalogsThere);
        if (NeedsRestart()) {
            expected.Drv(2,
                         L"Reply REQUIRED_REBOOT events after success to replace Vigil driver files for Win8 "
                         L"above.");
            return;
        }
        for (const std::wstring& driver : kDrivers) {
            expected.StartNew(driver);
        }
    }

    // An update or equal update of the platform's own drivers, from dispatcher entry to exit.
    Expected WholeUpdate(uint32_t action, const std::wstring& folder, uint32_t result, bool running,
                         bool catalogsThere) {
        Expected expected;
        expected.Entry(action, 2).SignatureGate(folder);
        expected.Drv(2, action == UPDATE ? L"rDrvInfo.action = UPDATE" : L"rDrvInfo.action = EQUAL_UPDATE");
        expected.Restriction(false, kDrivers);
        AppendUpdate(expected, folder, result, running, catalogsThere);
        return expected.Restriction(true, kDrivers).Exit(result);
    }

    static uint32_t UpdateResult(bool running) {
        return !NeedsRestart()                      ? DS_SUCCESS
               : OverwritesImagesInUse() && running ? DS_FAILED_BATCH_ABORTED
                                                    : DS_SUCCESS_RESTART_REQUIRED;
    }

    void RunRollback(bool running, bool catalogsThere) {
        const std::wstring folder = Package(L"v1");
        const uint32_t result = UpdateResult(running);
        Expected expected;
        expected.Entry(UPDATE, COMPARE_ROLLBACK).SignatureGate(folder).Drv(2, L"rDrvInfo.action = UPDATE");
        expected.Restriction(false, kDrivers).Drv(2, L"==> RollbackDrvFromDrvInfo,").CheckShared(false);
        expected.Drv(2, L"begin rollback old drivers.");
        AppendUpdate(expected, folder, result, running, catalogsThere);
        expected.Drv(2, L"<== RollbackDrvFromDrvInfo,").Restriction(true, kDrivers).Exit(result);
        Run(UPDATE, L"v1", result, expected, COMPARE_ROLLBACK);
    }

    // Takes over a shared driver that another product installed; the activity monitor is missing.
    void RunMigration(bool permCountThere) {
        const std::wstring folder = Package(L"v1");
        Expected expected;
        expected.Entry(UPDATE, COMPARE_ROLLBACK).SignatureGate(folder).Drv(2, L"rDrvInfo.action = UPDATE");
        expected.Restriction(false, {L"qxcomm", L"qxevtmgr"}).Drv(2, L"==> RollbackDrvFromDrvInfo,");
        expected.CheckShared(false).Drv(2, L"qxcomm is installed by other Vexholm products.");
        expected.MigrationBegins();
        for (const std::wstring& driver : kDrivers) {
            const bool missing = driver == L"qxactmon";
            expected.Drv(2, L"Check if the driver is exist: " + driver).Exists(driver, !missing);
            if (missing) {
                expected.InstallInf(folder, driver);
                expected.Drv(2, L"Success to install driver by INF " + folder + driver + L".inf");
            }
        }
        expected.StartNew(L"qxcomm", Outcome::already).StartNew(L"qxevtmgr", Outcome::already);
        expected.StartNew(L"qxactmon").TakeOver(permCountThere, permCountThere);
        expected.Drv(2, L"<== MigrateDrvFromDrvInfo,asStatus = 0x201a0001");
        expected.Drv(2, L"<== RollbackDrvFromDrvInfo,").Restriction(true, kDrivers).Exit(DS_SUCCESS);
        Run(UPDATE, L"v1", DS_SUCCESS, expected, COMPARE_ROLLBACK);

        EXPECT_EQ(RegistryNumber(ServiceKey(kShared), L"Start"),
                  NeedsRestart() || RunningVersion().windows7Client ? 0 : 1);
        EXPECT_EQ(RegistryNumber(ServiceKey(kShared), L"DeleteFlag"), std::nullopt);
        ExpectDrivers("running", kVersion1);
    }

    static void MakeShared(std::optional<uint32_t> permCount, bool markedForeign) {
        const std::wstring key = ServiceKey(kShared);
        DeleteRegistryValue(key, L"PermCount");
        DeleteRegistryValue(key, L"InstalledByOrpl");
        if (permCount) {
            SetRegistryNumber(key, L"PermCount", *permCount);
            SetRegistryNumber(key, L"DeleteFlag", 1);
        }
        if (markedForeign) {
            SetRegistryNumber(key, L"InstalledByOrpl", 0);
        }
        StopService(L"qxactmon");
        UnregisterService(L"qxactmon");
    }

    // The log of the three uninstallations up to where they end.
    static void AppendRemoval(Expected& expected, const std::wstring& name, bool running,
                              bool& restartNoted) {
        if (StopsDrivers() && running) {
            expected.Stop();
        }
        expected.UninstallInf();
        if (!NeedsRestart() || restartNoted) {
            return;
        }
        expected.Drv(3, L"Reboot is required to uninstall driver: " + name);
        restartNoted = true;
    }

    Plugin plugin_;
    uint32_t result_ = 0;
};

} // namespace

TEST_F(Lifecycle, Clean) {
    RemoveDrivers();
    RegisterPlatformService();
    ExpectDrivers("absent", "absent");
    EXPECT_EQ(Hex(plugin_.Report().state), Hex(DS_NONE_PRESENT));
    Expected expected;
    for (const std::wstring& driver : kBackwards) {
        expected.QueryFails().Drv(3, L"Query driver " + driver + L" status failed!");
    }
    EXPECT_TRUE(SameTranscript(plugin_.Log(), expected.Drv(2, L"driver version: ")));
}

TEST_F(Lifecycle, Install) {
    const std::wstring folder = Package(L"v1");
    Expected expected;
    expected.Entry(INSTALL, 2).SignatureGate(folder).Drv(2, L"rDrvInfo.action = INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,");
    for (const std::wstring& driver : kDrivers) {
        expected.InstallDriver(folder, driver);
    }
    expected.Restriction(true, kDrivers).Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0x201a0001");
    Run(INSTALL, L"v1", DS_SUCCESS, expected.Exit(DS_SUCCESS));

    ExpectDrivers("running", kVersion1);
    ExpectHold(1, 1);
    EXPECT_EQ(RegistryNumber(L"SOFTWARE\\Vexholm\\BRISK", L"M9TZ"), 2);
    EXPECT_EQ(RegistryNumber(ServiceKey(L"qxactmon") + L"\\Parameters", L"SSCFE"), 1);
    for (const std::wstring& driver : kDrivers) {
        EXPECT_EQ(RegistryText(ServiceKey(driver), L"InstallSection"), Utf8(InstallSection(driver, true)));
    }
}

// Whatever state the drivers are in, the second installation of what runs counts as a success.
TEST_F(Lifecycle, InstallAgain) {
    const std::wstring folder = Package(L"v1");
    Expected expected;
    expected.Entry(INSTALL, 2).SignatureGate(folder).Drv(2, L"rDrvInfo.action = INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,");
    for (const std::wstring& driver : kDrivers) {
        expected.InstallDriver(folder, driver, Outcome::already);
    }
    expected.Restriction(true, kDrivers).Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0x201a0001");
    Run(INSTALL, L"v1", DS_SUCCESS, expected.Exit(DS_SUCCESS));
    ExpectDrivers("running", kVersion1);
    ExpectHold(1, 1);
}

TEST_F(Lifecycle, Report) {
    const DriverStateReport report = plugin_.Report();
    const std::string onDisk = VersionOf(kDriversFolder + L"qxcomm.sys");
    EXPECT_EQ(Hex(report.report_tag), L"0x22000100");
    EXPECT_EQ(Hex(report.state), Hex(DS_ALL_RUNNING));
    EXPECT_EQ(std::string(report.version), onDisk == kVersion1 ? "5.5.1256" : "5.6.1300");
    EXPECT_EQ(report.valid, 1);
    Expected expected;
    for (const std::wstring& driver : kBackwards) {
        expected.Drv(2, L"The current state of " + driver + L" is 0x4");
    }
    const std::string version = report.version;
    expected.Drv(2, L"driver version: " + std::wstring(version.begin(), version.end()));
    EXPECT_TRUE(SameTranscript(plugin_.Log(), expected));
    std::printf("RESULT %08X\n", report.state);
}

TEST_F(Lifecycle, Update) {
    const uint32_t result = UpdateResult(true);
    Run(UPDATE, L"v2", result, WholeUpdate(UPDATE, Package(L"v2"), result, true, false));
    ExpectDrivers("running", OverwritesImagesInUse() ? kVersion1 : kVersion2);
    ExpectRenamedFiles(RenamesImages() ? 3 : 0);
    ExpectCatalogs(RenamesImages());
    ExpectHold(1, 1);
}

// What is left to a Windows version that overwrites: the drivers stopped by hand beforehand.
TEST_F(Lifecycle, UpdateOfStoppedDrivers) {
    if (!OverwritesImagesInUse()) {
        GTEST_SKIP();
    }
    for (const std::wstring& driver : kBackwards) {
        StopService(driver);
    }
    Run(UPDATE, L"v2", DS_SUCCESS_RESTART_REQUIRED,
        WholeUpdate(UPDATE, Package(L"v2"), DS_SUCCESS_RESTART_REQUIRED, false, false));
    ExpectDrivers("stopped", kVersion2);
}

// After a restart the new drivers run and the old images are gone.
TEST_F(Lifecycle, AfterUpdate) {
    ExpectDrivers("running", kVersion2);
    ExpectRenamedFiles(0);
    std::printf("RESULT %08X\n", plugin_.Report().state);
}

TEST_F(Lifecycle, EqualUpdate) {
    const uint32_t result = UpdateResult(true);
    Run(EQUAL_UPDATE, L"v2", result, WholeUpdate(EQUAL_UPDATE, Package(L"v2"), result, true, true));
    ExpectDrivers("running", kVersion2);
    ExpectRenamedFiles(RenamesImages() ? 6 : 0);
}

TEST_F(Lifecycle, Rollback) {
    RunRollback(true, true);
    ExpectDrivers("running", OverwritesImagesInUse() ? kVersion2 : kVersion1);
    ExpectRenamedFiles(RenamesImages() ? 12 : 0);
}

TEST_F(Lifecycle, RollbackOfStoppedDrivers) {
    if (!OverwritesImagesInUse()) {
        GTEST_SKIP();
    }
    for (const std::wstring& driver : kBackwards) {
        StopService(driver);
    }
    RunRollback(false, false);
    ExpectDrivers("stopped", kVersion1);
}

TEST_F(Lifecycle, AfterRollback) {
    ExpectDrivers("running", kVersion1);
    ExpectRenamedFiles(0);
    std::printf("RESULT %08X\n", plugin_.Report().state);
}

TEST_F(Lifecycle, MigrateFromMarkedForeignDriver) {
    MakeShared(2, true);
    RunMigration(true);
    ExpectHold(3, 1);
}

TEST_F(Lifecycle, MigrateFromUnmarkedForeignDriver) {
    MakeShared(std::nullopt, false);
    RunMigration(false);
    ExpectHold(1, 1);
}

TEST_F(Lifecycle, UninstallWithTwoHolders) {
    SetRegistryNumber(ServiceKey(kShared), L"PermCount", 2);
    Expected expected;
    expected.Entry(UNINSTALL, 2).Drv(2, L"rDrvInfo.action = UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, kDrivers);
    bool restartNoted = false;
    for (const wchar_t* const driver : {L"qxactmon", L"qxevtmgr"}) {
        AppendRemoval(expected, driver, true, restartNoted);
    }
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = 0x201a0001");
    Run(UNINSTALL, L"v1", DS_SUCCESS, expected.Exit(DS_SUCCESS));

    ExpectHold(1, 0);
    EXPECT_EQ(ServiceState(kShared), "running");
    EXPECT_EQ(VersionOf(kDriversFolder + L"qxcomm.sys"), kVersion1);
    EXPECT_EQ(ServiceState(L"qxactmon"), NeedsRestart() ? "running" : "absent");
    ExpectCatalogs(RenamesImages());
}

// The other drivers are missing (or, from Windows 8 on, on their way out) and are installed beside the shared
// one.
TEST_F(Lifecycle, InstallBesideSharedDriver) {
    const std::wstring folder = Package(L"v1");
    Expected expected;
    expected.Entry(INSTALL, 2).SignatureGate(folder).Drv(2, L"rDrvInfo.action = INSTALL");
    expected.Drv(2, L"==> InstallDrvFromDrvInfo,").InstallDriver(folder, kShared, Outcome::already);
    const Outcome others = ServiceState(L"qxevtmgr") == "running" ? Outcome::already : Outcome::done;
    expected.InstallDriver(folder, L"qxevtmgr", others).InstallDriver(folder, L"qxactmon", others);
    expected.Restriction(true, kDrivers).Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0x201a0001");
    Run(INSTALL, L"v1", DS_SUCCESS, expected.Exit(DS_SUCCESS));
    ExpectHold(1, 1);
}

TEST_F(Lifecycle, Uninstall) {
    const uint32_t result = NeedsRestart() ? DS_SUCCESS_RESTART_REQUIRED : DS_SUCCESS;
    Expected expected;
    expected.Entry(UNINSTALL, 2).Drv(2, L"rDrvInfo.action = UNINSTALL");
    expected.Drv(2, L"==> UninstallDrvFromDrvInfo,").Restriction(false, kDrivers);
    bool restartNoted = false;
    for (const std::wstring& driver : kBackwards) {
        AppendRemoval(expected, driver, true, restartNoted);
    }
    if (RenamesImages()) {
        expected.Drv(2, L"==> DeleteDrvFile,");
        for (const std::wstring& driver : kDrivers) {
            const std::wstring path = kCatalogFolder + driver + L".cat";
            expected.AttributesReset(path).Drv(2, L"Delete file : " + path);
        }
        expected.Drv(2, L"<== DeleteDrvFile,bRet = 1");
    }
    expected.Drv(2, L"<== UninstallDrvFromDrvInfo,asStatus = " + Hex(result));
    Run(UNINSTALL, L"v1", result, expected.Exit(result));
    ExpectCatalogs(false);
    if (!NeedsRestart()) {
        ExpectDrivers("absent", "absent");
    }
}

} // namespace steward::test
