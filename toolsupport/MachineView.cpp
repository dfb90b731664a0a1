#include "MachineView.h"

#include "WindowsFiles.h"

#include "config/SignaturePolicy.h"
#include "config/SysConfigManager.h"
#include "lifecycle/Locations.h"
#include "lifecycle/SharedDriverRegistry.h"
#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "service/drvinstance.h"
#include "util/RegKey.h"
#include "util/Std_Utils_File.h"
#include "util/Utf8.h"
#include "util/util_PriviRestrict.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>

namespace steward::tools {

namespace {

std::string WindowsInWords() {
    const auto& record = OsVersionRecord;
    return std::to_string(record.dwMajorVersion) + "." + std::to_string(record.dwMinorVersion) + "." +
           std::to_string(record.dwBuildNumber) +
           (record.wProductType == VER_NT_WORKSTATION ? " workstation" : " server");
}

// Why the policy reads as it does.
std::string WhyPolicy(const std::wstring& folder) {
    const std::string file = Utf8FromWide(folder + L"\\" + kSysConfigFileName);
    const wchar_t* const name = SignaturePolicyNameOf(SP_MODULE_LOAD);
    SysConfigManager manager(folder, kSysConfigFileName);
    std::wstring value;
    const bool isLoaded = manager.Load();
    const bool isFound = manager.GetSysConfig(kSignaturePolicyGroup, name, value) == SYSCONFIG_SUCCESS;
    manager.Unload();
    if (isFound) {
        return Utf8FromWide(std::wstring(name) + L" is \"" + value + L"\"");
    }
    if (!IsFileExist((folder + L"\\" + kSysConfigFileName).c_str())) {
        return "there is no " + file;
    }
    return isLoaded ? Utf8FromWide(name) + " is not in " + file : file + " cannot be read";
}

PolicyView LookAtPolicy() {
    PolicyView policy;
    policy.graceSeconds = (SignatureGraceLeftMilliseconds() + 999) / 1000;
    policy.isOn = QuerySignaturePolicySetting(SP_MODULE_LOAD, nullptr);
    std::wstring folder;
    policy.why = ReadPlatformFolder(folder)
                     ? WhyPolicy(folder)
                     : "the registry names no platform folder (InstallDir under SOFTWARE\\Vexholm\\ORPL)";
    return policy;
}

SharedDriverView LookAtSharedDriver() {
    SharedDriverView shared;
    uint32_t holders = 0;
    if (ReadHKLMDword(holders, DriverServiceKey(kSharedDriver), L"PermCount")) {
        shared.holders = holders;
    }
    shared.isInstalledByPlatform = !IsQxcommInstalledByOthers();
    shared.hasClients = !CanStopDriverService(kSharedDriver);
    return shared;
}

std::vector<std::string> RestartReasons(const std::vector<DriverView>& drivers) {
    std::vector<std::string> reasons;
    for (const DriverView& driver : drivers) {
        if (driver.next == NextStart::IsRemoved) {
            reasons.push_back(driver.name + " will be removed");
        } else if (driver.WaitsForRestart()) {
            reasons.push_back(driver.name + " will be replaced by " + driver.NextInWords());
        } else if (driver.IsFirstLoadedByRestart()) {
            reasons.push_back(driver.name + " will be loaded");
        }
    }
    return reasons;
}

bool BelongsToDriver(const std::wstring& path) {
    const std::wstring file = path.substr(path.rfind(L'\\') + 1);
    return std::any_of(DriverTable.begin(), DriverTable.end(), [&](const DriverRow& row) {
        // Temporary names begin with the first three letters of the driver's.
        return _wcsnicmp(file.c_str(), row.name, 3) == 0;
    });
}

size_t CountOtherMoves() {
    const auto moves = MovesAtRestart();
    return static_cast<size_t>(std::count_if(moves.begin(), moves.end(), [](const PendingMove& move) {
        return !BelongsToDriver(move.from) && !BelongsToDriver(move.to);
    }));
}

} // namespace

bool IsElevated() {
    PSID administrators = nullptr;
    if (!GetBuiltinSid(DOMAIN_ALIAS_RID_ADMINS, administrators)) {
        return false;
    }
    BOOL isMember = FALSE;
    const bool isKnown = CheckTokenMembership(nullptr, administrators, &isMember) != FALSE;
    FreeSid(administrators);
    return isKnown && isMember != FALSE;
}

MachineView LookAtMachine() {
    MachineView machine;
    machine.isElevated = IsElevated();
    machine.windows = WindowsInWords();
    machine.windowsCode = OsVersionCode;
    machine.policy = LookAtPolicy();
    machine.shared = LookAtSharedDriver();
    machine.drivers = LookAtDrivers();
    machine.restartReasons = RestartReasons(machine.drivers);
    machine.otherMovesAtRestart = CountOtherMoves();
    return machine;
}

} // namespace steward::tools
