#include "service/drivermanage.h"

#include "service/InfCommand.h"
#include "service/OsVersion.h"
#include "service/drvinstance.h"
#include "util/Handles.h"
#include "util/Log.h"
#include "util/Std_Utils_File.h"

#include <setupapi.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"drivermanage.cpp"};

// Every right of a service, and those to read and write its security, but not DELETE.
constexpr DWORD kServiceAccess = SERVICE_ALL_ACCESS & ~static_cast<DWORD>(DELETE);
static_assert(kServiceAccess == 0xE01FF);

constexpr DWORD kStateTimeoutMs = 30000;
constexpr wchar_t kPlatformService[] = L"ORPL";

ServiceHandle OpenManager() {
    return ServiceHandle(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
}

ServiceHandle OpenManagerLogged() {
    ServiceHandle manager = OpenManager();
    if (!manager) {
        STEWARD_LOG(5, L"OpenSCManager failed, err=", GetLastError());
    }
    return manager;
}

ServiceHandle OpenServiceByName(SC_HANDLE manager, const wchar_t* name) {
    return ServiceHandle(OpenServiceW(manager, name, kServiceAccess));
}

DWORD PollIntervalMs(const SERVICE_STATUS& status) {
    return std::clamp<DWORD>(status.dwWaitHint / 10, 1000, 10000);
}

// Reaches standard output at once, also when this library has a runtime of its own.
void PrintControlFailure(const char* function, DWORD error) {
    const LastErrorKeeper keeper;
    std::fputs("ControlService failed! function:", stdout);
    std::fputs(function, stdout);
    std::fputs(" Error = ", stdout);
    std::fputs(std::to_string(static_cast<int>(error)).c_str(), stdout);
    std::fputs(" \n", stdout);
    std::fflush(stdout);
}

bool IsEmpty(const wchar_t* text) {
    return text == nullptr || *text == L'\0';
}

// The wait itself; false with last-error 1460 when the time ran out.
bool ReachesState(SC_HANDLE service, DWORD wanted) {
    const DWORD deadline = GetTickCount() + kStateTimeoutMs;
    SERVICE_STATUS status{};
    DWORD lastState = 0;
    DWORD lastCheckPoint = 0;
    for (bool first = true;; first = false) {
        if (!QueryServiceStatus(service, &status)) {
            return false;
        }
        if (status.dwCurrentState == wanted) {
            return true;
        }
        if (deadline < GetTickCount()) { // deliberately without an allowance for the counter's wrap
            SetLastError(ERROR_TIMEOUT);
            return false;
        }
        if (!first && status.dwCurrentState == lastState && status.dwCheckPoint < lastCheckPoint) {
            return false;
        }
        lastState = status.dwCurrentState;
        lastCheckPoint = status.dwCheckPoint;
        Sleep(PollIntervalMs(status));
    }
}

bool StopOpenService(SC_HANDLE service) {
    SERVICE_STATUS status{};
    if (ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        if (WaitForServiceState(service, SERVICE_STOPPED) == 1) {
            return true;
        }
        STEWARD_LOG(5, L"ControlService SERVICE_CONTROL_STOP timed out!");
        SetLastError(ERROR_SERVICE_REQUEST_TIMEOUT);
        return false;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_SERVICE_NOT_ACTIVE) {
        return true;
    }
    PrintControlFailure("StopDriver", error);
    STEWARD_LOG(5, L"ControlService SERVICE_CONTROL_STOP failed, err=", error);
    return false;
}

// Runs one section of an INF file. Setup reports nothing back.
void RunInfSection(const std::wstring& commandLine) {
    InstallHinfSectionW(nullptr, nullptr, commandLine.c_str(), 0);
}

bool IsUsableInf(const wchar_t* infPath) {
    if (!IsEmpty(infPath) && IsFileExist(infPath)) {
        return true;
    }
    STEWARD_LOG(5, L"Incorrect driver INF filepath.");
    return false;
}

} // namespace

int WaitForServiceState(SC_HANDLE service, DWORD wanted) {
    STEWARD_LOG(2, L"==> WaitForServiceState,timeout value: ", kStateTimeoutMs);
    const int result = ReachesState(service, wanted) ? 1 : 0;
    STEWARD_LOG(2, L"<== WaitForServiceState,Is Service Ok: ", result);
    return result;
}

int StartServiceAndWait(SC_HANDLE manager, const wchar_t* name) {
    const ServiceHandle service = OpenServiceByName(manager, name);
    if (!service) {
        STEWARD_LOG(5, L"OpenService failed, err=", GetLastError());
        return 0;
    }
    if (StartServiceW(service.Get(), 0, nullptr)) {
        if (WaitForServiceState(service.Get(), SERVICE_RUNNING) == 1) {
            return 1;
        }
        STEWARD_LOG(3, L"WaitForServiceState(SERVICE_RUNNING) timeout!");
        SetLastError(ERROR_SERVICE_REQUEST_TIMEOUT);
        return 0;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_SERVICE_ALREADY_RUNNING) {
        return 1;
    }
    STEWARD_LOG(5, L"ControlService failed! function:StartService Error = ", error);
    PrintControlFailure("StartService", error);
    return 0;
}

bool StopDriver(SC_HANDLE manager, const wchar_t* name) {
    const ServiceHandle service = OpenServiceByName(manager, name);
    if (!service) {
        STEWARD_LOG(5, L"OpenService failed, err=", GetLastError());
        return false;
    }
    return StopOpenService(service.Get());
}

bool QueryServiceStatusByName(SC_HANDLE manager, const wchar_t* name, SERVICE_STATUS* status) {
    ServiceHandle service = OpenServiceByName(manager, name);
    if (service && status != nullptr) {
        return QueryServiceStatus(service.Get(), status) != FALSE;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_SERVICE_DOES_NOT_EXIST) {
        STEWARD_LOG(2, L"Service not exist.");
    } else {
        STEWARD_LOG(5, L"OpenService failed, err=", error);
    }
    static_cast<void>(service.Release()); // the documented leak for a null status
    return false;
}

bool StartDriverService(const wchar_t* name) {
    STEWARD_LOG(2, L"==> StartDriverService,Driver Name:", name);
    if (IsEmpty(name)) {
        return false;
    }
    ServiceHandle manager = OpenManagerLogged();
    const bool result = manager && StartServiceAndWait(manager.Get(), name) == 1;
    manager.Reset();
    STEWARD_LOG(2, L"<== StartDriverService,bResult: ", result);
    return result;
}

bool StopDriverService(const wchar_t* name) {
    if (IsEmpty(name)) {
        return false;
    }
    if (IsSharedDriver(name) && !CanStopDriverService(name)) {
        STEWARD_LOG(5, L"driver instance found, cannot stop qxcomm service.");
        SetLastError(ERROR_SERVICE_ALREADY_RUNNING);
        return false;
    }
    const ServiceHandle manager = OpenManagerLogged();
    return manager && StopDriver(manager.Get(), name);
}

bool QueryDriverServiceStatus(const wchar_t* name, SERVICE_STATUS* status) {
    if (IsEmpty(name) || status == nullptr) {
        return false;
    }
    const ServiceHandle manager = OpenManagerLogged();
    return manager && QueryServiceStatusByName(manager.Get(), name, status);
}

bool IsDriverExist(const wchar_t* name) {
    STEWARD_LOG(2, L"==> IsDriverExist,");
    if (IsEmpty(name)) {
        return false;
    }
    STEWARD_LOG(2, L"try to opens an existing service: ", name);
    ServiceHandle manager = OpenManager();
    ServiceHandle service;
    if (!manager) {
        STEWARD_LOG(5, L"OpenSCManager failed. GetLastError() = ", GetLastError());
    } else {
        service = OpenServiceByName(manager.Get(), name);
        if (!service) {
            STEWARD_LOG(5, L"OpenService failed. GetLastError() = ", GetLastError());
        }
    }
    const bool exists = static_cast<bool>(service);
    service.Reset();
    manager.Reset();
    STEWARD_LOG(2, L"<== IsDriverExist,The service: ", name, exists ? L" exists" : L" does not exist");
    return exists;
}

const wchar_t* InstallSectionHere(const DriverRow& row) {
    const bool platformPresent = IsDriverExist(kPlatformService);
    return ChooseInstallSection(row, OsVersionCode, OsVersionRecord.dwMinorVersion,
                                OsVersionRecord.wProductType, platformPresent);
}

bool _InstallDriverByInf(const wchar_t* infPath, const DriverRow& row) {
    STEWARD_LOG(2, L"==> _InstallDriverByInf,INF File Path: ", infPath);
    const bool usable = IsUsableInf(infPath);
    if (usable) {
        const std::wstring commandLine = InfCommandLine(InstallSectionHere(row), infPath);
        RunInfSection(commandLine);
        STEWARD_LOG(2, L"called InstallHinfSectionW() Success!, command line: ", commandLine);
    }
    STEWARD_LOG(2, L"<== _InstallDriverByInf,");
    return usable;
}

bool _UnInstallDriverByInf(const wchar_t* infPath) {
    STEWARD_LOG(2, L"==> _UnInstallDriverByInf,");
    const bool usable = IsUsableInf(infPath);
    if (usable) {
        RunInfSection(InfCommandLine(kUninstallSection, infPath));
    }
    STEWARD_LOG(2, L"<== _UnInstallDriverByInf,");
    return usable;
}

} // namespace steward
