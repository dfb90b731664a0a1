#include "e2e/Expected.h"

#include "e2e/Machine.h"

#include <algorithm>

namespace steward::test {

namespace {

const std::wstring kLegacy = L"SYSTEM\\CurrentControlSet\\Enum\\Root\\LEGACY_";

std::wstring Digit(bool value) {
    return value ? L"1" : L"0";
}

} // namespace

std::wstring Hex(uint32_t value) {
    wchar_t text[16];
    wsprintfW(text, L"0x%x", value);
    return value == 0 ? L"0" : text;
}

std::wstring InstallSection(const std::wstring& driver, bool platformPresent) {
    const WindowsVersion& version = RunningVersion();
    if (driver != L"qxcomm" || !platformPresent) {
        return L"DefaultInstall";
    }
    return version.windows7Client ? L"DriverInstall_Win7"
           : version.code >= 80   ? L"DriverInstall_Win8"
                                  : L"DefaultInstall";
}

Expected& Expected::Line(uint32_t level, const std::wstring& module, const std::wstring& file,
                         const std::wstring& text) {
    lines_.push_back(LogLine(level, module, file, text));
    return *this;
}

Expected& Expected::Drv(uint32_t level, const std::wstring& text) {
    return Line(level, L"System Driver Installation", L"driverSteward.cpp", text);
}

Expected& Expected::Manage(uint32_t level, const std::wstring& text) {
    return Line(level, L"System Driver Installation", L"drivermanage.cpp", text);
}

Expected& Expected::Priv(uint32_t level, const std::wstring& text) {
    return Line(level, L"Util COMMON", L"util_PriviRestrict.cpp", text);
}

Expected& Expected::File(uint32_t level, const std::wstring& text) {
    return Line(level, L"Util COMMON", L"Std_Utils_File.cpp", text);
}

Expected& Expected::Exists(const std::wstring& name, bool exists) {
    Manage(2, L"==> IsDriverExist,").Manage(2, L"try to opens an existing service: " + name);
    if (!exists) {
        Manage(5, L"OpenService failed. GetLastError() = 0x424");
    }
    return Manage(2, L"<== IsDriverExist,The service: " + name + (exists ? L" exists" : L" does not exist"));
}

Expected& Expected::Start(const std::wstring& name, Outcome outcome, uint32_t error) {
    Manage(2, L"==> StartDriverService,Driver Name:" + name);
    if (outcome == Outcome::done) {
        Manage(2, L"==> WaitForServiceState,timeout value: 0x7530");
        Manage(2, L"<== WaitForServiceState,Is Service Ok: 0x1");
    } else if (outcome == Outcome::refused) {
        Manage(5, L"ControlService failed! function:StartService Error = " + Hex(error));
    } else if (outcome == Outcome::absent) {
        Manage(5, L"OpenService failed, err=0x424");
    }
    const bool runs = outcome == Outcome::done || outcome == Outcome::already;
    return Manage(2, L"<== StartDriverService,bResult: " + Digit(runs));
}

Expected& Expected::Stop(Outcome outcome, uint32_t error) {
    if (outcome == Outcome::refused) {
        return Manage(5, L"ControlService SERVICE_CONTROL_STOP failed, err=" + Hex(error));
    }
    if (outcome == Outcome::done) {
        Manage(2, L"==> WaitForServiceState,timeout value: 0x7530");
        Manage(2, L"<== WaitForServiceState,Is Service Ok: 0x1");
    }
    return *this;
}

Expected& Expected::QueryFails() {
    return Manage(2, L"Service not exist.");
}

Expected& Expected::InstallInf(const std::wstring& folder, const std::wstring& name) {
    const std::wstring path = folder + name + L".inf";
    Manage(2, L"==> _InstallDriverByInf,INF File Path: " + path);
    Exists(L"ORPL", platformPresent_);
    Manage(2, L"called InstallHinfSectionW() Success!, command line: " +
                  InstallSection(name, platformPresent_) + L" 128 " + path);
    return Manage(2, L"<== _InstallDriverByInf,");
}

Expected& Expected::InfMissing(const std::wstring& path) {
    Manage(2, L"==> _InstallDriverByInf,INF File Path: " + path);
    return Manage(5, L"Incorrect driver INF filepath.").Manage(2, L"<== _InstallDriverByInf,");
}

Expected& Expected::UninstallInf() {
    return Manage(2, L"==> _UnInstallDriverByInf,").Manage(2, L"<== _UnInstallDriverByInf,");
}

Expected& Expected::Instances(uint32_t count) {
    return Line(5, L"System Driver Installation", L"drvinstance.cpp",
                Hex(count) + L" driver instance(s) found");
}

Expected& Expected::AttributesReset(const std::wstring& path) {
    return File(2, L"Succed to reset  file attributes to FILE_ATTRIBUTE_NORMAL: " + path);
}

Expected& Expected::Restriction(bool restore, const std::vector<std::wstring>& present) {
    const std::wstring action = L"CWorkOnSpecificAccount::DoSecurityRestrictActionOnServiceObject,";
    for (const std::wstring& name : kDrivers) {
        Priv(2, L"==> " + action + L"pwszServiceName=" + name + L", bRestrictAct=" + Digit(restore));
        Priv(2, L"==> CSecurityInfo::RetrieveInfoByNameEx,pObjectName=" + name);
        if (std::ranges::find(present, name) == present.end()) {
            Priv(5, L"GetNamedSecurityInfo error. dwRet=0x424");
            Priv(2, L"<== CSecurityInfo::RetrieveInfoByNameEx,dwRet=0x424");
        } else {
            Priv(2, L"[GetBuiltinSid] find account group name=Administrators, dwRID=0x220");
            Priv(2, L"<== CSecurityInfo::RetrieveInfoByNameEx,dwRet=0");
            Priv(2, L"==> CSecurityInfo::ApplyInfoByName,pObjectName=" + name);
            Priv(2, L"<== CSecurityInfo::ApplyInfoByName,dwRet=0");
        }
        Priv(2, L"<== " + action + L" bRet=1");
    }
    return *this;
}

Expected& Expected::Entry(uint32_t action, uint32_t compareState) {
    return Drv(2, L"==> DoActionFromDrvInfo,rDrvInfo.action = " + Hex(action) +
                      L", rDrvInfo.compare_state = " + Hex(compareState));
}

Expected& Expected::SignatureGate(const std::wstring& folder) {
    for (const std::wstring& name : kDrivers) {
        Drv(2, L"Sign check for " + folder + name + L".sys");
    }
    return *this;
}

Expected& Expected::Exit(uint32_t result) {
    return Drv(2, L"<== DoActionFromDrvInfo,asStatus = " + Hex(result));
}

Expected& Expected::InstallDriver(const std::wstring& folder, const std::wstring& name, Outcome start) {
    InstallInf(folder, name);
    if (name == L"qxactmon") {
        Drv(2, L"Success to enable Smart-Create File Event.");
    }
    return Start(name, start).Drv(2, L"Success to start [" + name + L"] service.");
}

Expected& Expected::RecoveryFails(const std::wstring& name) {
    Drv(2, L"==> RecoverVigilDriverRegistryIfNeeded,");
    Drv(5, L"Fail to delete registry: key=" + ServiceKey(name) + L"\\Enum");
    Drv(5, L"Fail to delete registry: key=" + kLegacy + name);
    Drv(5, L"Fail to delete Vigil related registry!");
    Drv(2, L"<== RecoverVigilDriverRegistryIfNeeded,bRet = 0");
    return Drv(5, L"Fail to recovery Vigil driver registry, " + name);
}

Expected& Expected::StopForUpdate(const std::wstring& name, Outcome outcome, uint32_t error) {
    RecoveryFails(name).Drv(2, L"Try to stop service: " + name).Stop(outcome, error);
    return outcome == Outcome::refused ? Drv(5, L"Fail to stop service, " + name)
                                       : Drv(2, L"Success to stop service: " + name);
}

Expected& Expected::CheckShared(bool foreign) {
    Drv(2, L"Check qxcomm is installed by other Vexholm products?");
    return foreign ? Drv(2, L"qxcomm is installed by other Vexholm products, we should modify its registry.")
                   : *this;
}

Expected& Expected::Replace(const std::wstring& folder, const std::wstring& target, const std::wstring& name,
                            const std::wstring& extension, bool renamed) {
    const std::wstring file = name + extension;
    if (!renamed) {
        return Drv(2,
                   L"replace old drivers with new drivers from: " + folder + file + L" to " + target + file);
    }
    Drv(2, L"Old driver file is renamed from " + target + file + L" to " + target + L"<temporary>");
    return Drv(2, L"The renamed driver file will be deleted after reboot: " + target + L"<temporary>");
}

Expected& Expected::ExistencePhase(bool foreign) {
    for (const std::wstring& driver : kDrivers) {
        Drv(2, L"Check if the driver is exist: " + driver).Exists(driver, true);
        if (driver == L"qxcomm") {
            CheckShared(foreign);
        }
    }
    return *this;
}

Expected& Expected::ReplaceAll(const std::wstring& folder, bool renamed, bool catalogsThere) {
    Drv(2,
        (renamed ? L"rename and copy original driver file with: " : L"replace original driver file with: ") +
            folder + L" to " + kDriversFolder);
    for (const std::wstring& driver : kDrivers) {
        Replace(folder, kDriversFolder, driver, L".sys", renamed);
    }
    if (!renamed) {
        return *this;
    }
    Drv(2, L"copy cat file from: " + folder + L" to " + kCatalogFolder);
    for (const std::wstring& driver : kDrivers) {
        Replace(folder, kCatalogFolder, driver, L".cat", catalogsThere);
    }
    return *this;
}

Expected& Expected::MigrationBegins() {
    Drv(2, L"==> MigrateDrvFromDrvInfo,");
    return Drv(
        2, L"Qxcomm is installed by other Vexholm products and qxcomm version is newer than our version, we "
           L"should keep latest qxcomm and install the rest.");
}

Expected& Expected::StartNew(const std::wstring& name, Outcome outcome, uint32_t error) {
    Start(name, outcome, error);
    const bool runs = outcome == Outcome::done || outcome == Outcome::already;
    return runs ? Drv(2, L"Success to start new driver: " + name)
                : Drv(5, L"Fail to start new driver." + name);
}

Expected& Expected::TakeOver(bool permCountThere, bool deleteFlagThere) {
    const std::wstring key = ServiceKey(L"qxcomm");
    Drv(2, L"==> ModifyQxcommRegistry,");
    if (!permCountThere) {
        Drv(3, L"fail to query registry: " + key + L"\\PermCount");
    }
    if (!deleteFlagThere) {
        Drv(3, L"fail to delete registry: " + key + L"\\DeleteFlag");
    }
    return Drv(2, L"<== ModifyQxcommRegistry,bRet = 1");
}

} // namespace steward::test
