// The signature gate in front of every action, driven through the shipped DLL with real signatures, a real
// encrypted configuration file and real drivers. The policy is read once per process of the plug-in: every
// case loads it anew.
#include "e2e/Expected.h"
#include "e2e/InstalledCatalogs.h"
#include "e2e/Machine.h"
#include "e2e/Plugin.h"
#include "unit/config/ConfigFolder.h"
#include "util/RegKey.h"

#include <wincrypt.h>
#include <windows.h>

#include <mscat.h>

#include <gmock/gmock.h>

namespace steward::test {

namespace {

const std::wstring kPlatformKey = L"SOFTWARE\\Vexholm\\ORPL";
const std::string kPolicyOn =
    "<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>1</ORPL_CFG_SP_MODULE_LOAD>"
    "</ORPL_ALL></SysConfigManager>";
constexpr DWORD kGraceOver = 120'000;

// The plug-in on a machine that has been up for `ticks` milliseconds.
class PluginAt {
  public:
    explicit PluginAt(DWORD ticks)
        : ticks_(ticks),
          clock_(plugin_.Module(), [this]() -> DWORD { return ticks_ + (GetTickCount() & 0xFF); }) {}
    Plugin* operator->() { return &plugin_; }

  private:
    Plugin plugin_;
    DWORD ticks_;
    ImportPatch<"GetTickCount", decltype(GetTickCount)> clock_;
};

class SignatureGate : public testing::Test {
  protected:
    SignatureGate() {
        RemoveDrivers();
        UnregisterService(L"ORPL");
        WriteHKLMString(config_.Path(), kPlatformKey, L"InstallDir");
    }
    ~SignatureGate() override {
        RemoveDrivers();
        DeleteRegistryValue(kPlatformKey, L"InstallDir");
    }

    // The lines of one reading of the policy from a file that decrypts.
    Expected& AppendPolicyRead(Expected& expected, bool ready = true) {
        AppendLoadBegin(expected);
        for (const wchar_t* const text :
             {L"A cryptographic provider has been acquired.", L"A hash object has been created.",
              L"The password has been added to the hash.",
              L"An encryption key is derived from the password hash.",
              L"Memory has been allocated for the buffer.",
              L"Memory has been allocated for output buffer."}) {
            expected.Line(2, L"Util COMMON", L"util_OrplDataCrypto.cpp", text);
        }
        return ready ? AppendLoadEnd(expected, true) : expected;
    }

    Expected& AppendLoadBegin(Expected& expected) {
        return expected.Line(2, kModule, kFile,
                             L"==> SysConfigManager::loadFile,pwszFolderPath = " + config_.Path() +
                                 L", pwszConfigFileName = system_config.cfg");
    }

    static Expected& AppendLoadEnd(Expected& expected, bool ready) {
        return expected.Line(2, kModule, kFile,
                             std::wstring(L"<== SysConfigManager::loadFile,m_bIsConfigReady = ") +
                                 (ready ? L"1" : L"0"));
    }

    static Expected& AppendNothingFound(Expected& expected) {
        return expected.Line(3, kModule, kFile,
                             L"GetSysConfig failed, id=ORPL_CFG_SP_MODULE_LOAD, "
                             L"xpath=[/SysConfigManager/ORPL_ALL/ORPL_CFG_SP_MODULE_LOAD]");
    }

    static Expected& AppendSigned(Expected& expected, const std::wstring& path) {
        expected.File(2, L"==> ForcePreIncludeQXFile,pcwszFileName = " + path);
        return expected.File(
            2, L"<== ForcePreIncludeQXFile,Is signed? Yes, Signer Name = driverSteward Sample Signer, "
               L"iRet = 0");
    }

    static Expected& AppendUnsigned(Expected& expected, const std::wstring& path, const wchar_t* status) {
        expected.File(2, L"==> ForcePreIncludeQXFile,pcwszFileName = " + path);
        AppendNotEmbedded(expected, path, status);
        return expected.File(2, L"<== ForcePreIncludeQXFile,Is signed? No, Signer Name = , iRet = 0");
    }

    static Expected& AppendNotEmbedded(Expected& expected, const std::wstring& path, const wchar_t* status) {
        return expected.File(5, L"Unsigned file! file=" + path + L", lStatus=" + status + L", GetLastError=" +
                                    status);
    }

    static Expected& AppendInstallation(Expected& expected, const std::wstring& folder) {
        expected.Drv(2, L"rDrvInfo.action = INSTALL").Drv(2, L"==> InstallDrvFromDrvInfo,");
        for (const std::wstring& driver : kDrivers) {
            expected.InstallDriver(folder, driver);
        }
        return expected.Restriction(true, kDrivers)
            .Drv(2, L"<== InstallDrvFromDrvInfo,asStatus = 0x201a0001")
            .Exit(DS_SUCCESS);
    }

    // A package whose second driver is refused: the gate ends there, and with it the batch.
    void ExpectRefused(const std::wstring& package, const wchar_t* status) {
        config_.WriteConfig(kPolicyOn);
        const std::wstring folder = Package(package);
        PluginAt plugin(kGraceOver);
        const DrvInfo batch[] = {Record(INSTALL, folder), Record(UNINSTALL, folder)};
        EXPECT_EQ(Hex(plugin->Act(batch, 2)), Hex(DS_FAILED_BATCH_ABORTED));
        Expected expected(false);
        expected.Entry(INSTALL, 2).Drv(2, L"Sign check for " + folder + L"qxcomm.sys");
        AppendSigned(AppendPolicyRead(expected), folder + L"qxcomm.sys");
        expected.Drv(2, L"Sign check for " + folder + L"qxevtmgr.sys");
        AppendUnsigned(expected, folder + L"qxevtmgr.sys", status);
        expected.Drv(2, L"<== DoActionFromDrvInfo,Driver file not signed! path=" + folder + L"qxevtmgr.sys");
        EXPECT_TRUE(SameTranscript(plugin->Log(), expected));
        for (const std::wstring& driver : kDrivers) {
            EXPECT_EQ(ServiceState(driver), "absent");
        }
    }

    static constexpr const wchar_t* kModule = L"Core Config Repository";
    static constexpr const wchar_t* kFile = L"core\\coreConfigRepository\\SysConfigManager.cpp";
    ConfigFolder config_;
};

} // namespace

TEST_F(SignatureGate, ASignedPackageInstalls) {
    config_.WriteConfig(kPolicyOn);
    const std::wstring folder = Package(L"v1");
    PluginAt plugin(kGraceOver);
    EXPECT_EQ(Hex(plugin->Act(INSTALL, folder)), Hex(DS_SUCCESS));
    Expected expected(false);
    expected.Entry(INSTALL, 2);
    for (const std::wstring& driver : kDrivers) {
        expected.Drv(2, L"Sign check for " + folder + driver + L".sys");
        if (driver == L"qxcomm") {
            AppendPolicyRead(expected); // once per process
        }
        AppendSigned(expected, folder + driver + L".sys");
    }
    EXPECT_TRUE(SameTranscript(plugin->Log(), AppendInstallation(expected, folder)));
}

TEST_F(SignatureGate, AnUnsignedDriverEndsTheBatch) {
    ExpectRefused(L"unsigned-qxevtmgr", L"0x800b0100");
}

TEST_F(SignatureGate, ATamperedDriverEndsTheBatch) {
    ExpectRefused(L"tampered", L"0x80096010");
}

TEST_F(SignatureGate, ACatalogCoversAPackageWithoutEmbeddedSignatures) {
    config_.WriteConfig(kPolicyOn);
    const std::wstring folder = Package(L"catalog-only");
    {
        PluginAt plugin(kGraceOver);
        EXPECT_EQ(Hex(plugin->Act(INSTALL, folder)), Hex(DS_FAILED_BATCH_ABORTED)); // no catalog yet
    }
    const InstalledCatalogs catalogs(folder);
    PluginAt plugin(kGraceOver);
    EXPECT_EQ(Hex(plugin->Act(INSTALL, folder)), Hex(DS_SUCCESS));
    Expected expected(false);
    expected.Entry(INSTALL, 2);
    for (const std::wstring& driver : kDrivers) {
        const std::wstring path = folder + driver + L".sys";
        expected.Drv(2, L"Sign check for " + path);
        if (driver == L"qxcomm") {
            AppendPolicyRead(expected);
        }
        expected.File(2, L"==> ForcePreIncludeQXFile,pcwszFileName = " + path);
        AppendNotEmbedded(expected, path, L"0x800b0100");
        expected.File(2,
                      L"<== ForcePreIncludeQXFile,Is signed? Yes, Signer Name = driverSteward Sample Signer, "
                      L"iRet = 0");
    }
    EXPECT_TRUE(SameTranscript(plugin->Log(), AppendInstallation(expected, folder)));
}

// Faults: a value other than 1 switches the policy on, or one that reads as 1 does not.
TEST_F(SignatureGate, OnlyAValueThatReadsAsOneSwitchesThePolicyOn) {
    const std::wstring folder = Package(L"tampered");
    for (const auto& [value, on] : {std::pair("1", true),
                                    {"01", true},
                                    {"&#x20;1", true},
                                    {"1abc", true},
                                    {"0", false},
                                    {"2", false},
                                    {"true", false},
                                    {"", false}}) {
        SCOPED_TRACE(value);
        config_.WriteConfig("<SysConfigManager><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>" + std::string(value) +
                            "</ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL></SysConfigManager>");
        PluginAt plugin(kGraceOver);
        // An unknown action: the gate, and nothing behind it.
        EXPECT_EQ(Hex(plugin->Act(9, folder)), Hex(on ? DS_FAILED_BATCH_ABORTED : DS_UNSUPPORTED_REQUEST));
        if (!on) {
            Expected expected(false);
            expected.Entry(9, 2).Drv(2, L"Sign check for " + folder + L"qxcomm.sys");
            AppendPolicyRead(expected).Drv(2, L"Sign check for " + folder + L"qxevtmgr.sys");
            expected.Drv(2, L"Sign check for " + folder + L"qxactmon.sys").Exit(DS_UNSUPPORTED_REQUEST);
            EXPECT_TRUE(SameTranscript(plugin->Log(), expected));
        }
    }
}

// Fault: a policy that cannot be read locks a machine out, or says nothing of it.
TEST_F(SignatureGate, APolicyThatCannotBeReadIsOff) {
    const std::wstring folder = Package(L"tampered");
    const auto run = [&](const char* situation, const std::function<void(Expected&)>& policyLines) {
        SCOPED_TRACE(situation);
        PluginAt plugin(kGraceOver);
        EXPECT_EQ(Hex(plugin->Act(9, folder)), Hex(DS_UNSUPPORTED_REQUEST));
        Expected expected(false);
        expected.Entry(9, 2).Drv(2, L"Sign check for " + folder + L"qxcomm.sys");
        policyLines(expected);
        expected.Drv(2, L"Sign check for " + folder + L"qxevtmgr.sys");
        expected.Drv(2, L"Sign check for " + folder + L"qxactmon.sys").Exit(DS_UNSUPPORTED_REQUEST);
        EXPECT_TRUE(SameTranscript(plugin->Log(), expected));
    };
    run("file absent",
        [&](Expected& expected) { AppendNothingFound(AppendLoadEnd(AppendLoadBegin(expected), false)); });
    config_.WriteConfig("<SysConfigManager><ORPL_ALL/></SysConfigManager>");
    run("key absent", [&](Expected& expected) { AppendNothingFound(AppendPolicyRead(expected)); });
    config_.WriteConfig(
        "<Other><ORPL_ALL><ORPL_CFG_SP_MODULE_LOAD>1</ORPL_CFG_SP_MODULE_LOAD></ORPL_ALL></Other>");
    run("wrong root", [&](Expected& expected) {
        AppendPolicyRead(expected, false)
            .Line(3, kModule, kFile, L"system_config.cfg parse failed. There's no root element");
        AppendNothingFound(AppendLoadEnd(expected, false));
    });
    config_.Write(L"system_config.cfg", kPolicyOn); // not encrypted: decrypts to noise
    run("file garbled", [&](Expected& expected) {
        AppendPolicyRead(expected, false).Line(3, kModule, kFile, L"system_config.cfg parse failed.");
        expected.Line(3, kModule, kFile, L"description: Error document empty.");
        expected.Line(3, kModule, kFile, L"detailed: row = 0, col = 0");
        AppendNothingFound(AppendLoadEnd(expected, false));
    });
    config_.WriteConfig(kPolicyOn);
    DeleteRegistryValue(kPlatformKey, L"InstallDir");
    run("no InstallDir", [](Expected&) {});
}

// Faults: the grace ends a tick early or late; the configuration is read, or its answer kept, within it; a
// change of the file changes the answer of a running process.
TEST_F(SignatureGate, GraceAndOneReadingPerProcess) {
    const std::wstring folder = Package(L"tampered");
    config_.WriteConfig(kPolicyOn);
    Plugin plugin;
    DWORD now = kGraceOver - 1;
    const ImportPatch<"GetTickCount", decltype(GetTickCount)> clock(plugin.Module(), [&] { return now; });
    EXPECT_EQ(Hex(plugin.Act(9, folder)), Hex(DS_UNSUPPORTED_REQUEST));
    Expected expected(false);
    expected.Entry(9, 2).SignatureGate(folder).Exit(DS_UNSUPPORTED_REQUEST);
    EXPECT_TRUE(SameTranscript(plugin.Log(), expected));

    now = kGraceOver;
    EXPECT_EQ(Hex(plugin.Act(9, folder)), Hex(DS_FAILED_BATCH_ABORTED));
    DeleteFileW(config_.File(L"system_config.cfg").c_str());
    EXPECT_EQ(Hex(plugin.Act(9, folder)), Hex(DS_FAILED_BATCH_ABORTED));
    now = 5; // the counter wrapped
    EXPECT_EQ(Hex(plugin.Act(9, folder)), Hex(DS_UNSUPPORTED_REQUEST));
}

// Fault: an uninstallation is refused for want of a signature.
TEST_F(SignatureGate, UninstallationIsNotGated) {
    config_.WriteConfig(kPolicyOn);
    {
        Plugin early;
        const ImportPatch<"GetTickCount", decltype(GetTickCount)> clock(early.Module(),
                                                                        [] { return DWORD{0}; });
        ASSERT_EQ(Hex(early.Act(INSTALL, Package(L"tampered"))), Hex(DS_SUCCESS));
    }
    for (const std::wstring& driver : kDrivers) {
        StopService(driver);
    }
    PluginAt plugin(kGraceOver);
    EXPECT_EQ(Hex(plugin->Act(UNINSTALL, Package(L"tampered"))), Hex(DS_SUCCESS));
    EXPECT_EQ(ServiceState(L"qxcomm"), "absent");
}

} // namespace steward::test
