#include "ServiceView.h"

#include "util/Handles.h"
#include "util/util_PriviRestrict.h"

#include <windows.h>

#include <aclapi.h>

#include <array>
#include <cstddef>
#include <memory>

namespace steward::tools {

namespace {

ServiceHandle Open(SC_HANDLE manager, const wchar_t* name, DWORD access) {
    return ServiceHandle(OpenServiceW(manager, name, access));
}

void ReadState(SC_HANDLE manager, const wchar_t* name, ServiceView& view) {
    const ServiceHandle service = Open(manager, name, SERVICE_QUERY_STATUS);
    SERVICE_STATUS status{};
    view.isInstalled = static_cast<bool>(service) || GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST;
    if (service && QueryServiceStatus(service.Get(), &status)) {
        view.state = status.dwCurrentState;
        view.isNeverStarted =
            status.dwCurrentState == SERVICE_STOPPED && status.dwWin32ExitCode == ERROR_SERVICE_NEVER_STARTED;
    } else if (view.isInstalled) {
        view.error = GetLastError();
        view.failedCall = service ? "QueryServiceStatus" : "OpenService";
    }
}

void ReadStartType(SC_HANDLE manager, const wchar_t* name, ServiceView& view) {
    constexpr DWORD kMostBytes = 8192; // of the configuration, by its documentation
    alignas(QUERY_SERVICE_CONFIGW) std::array<std::byte, kMostBytes> buffer;
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    const ServiceHandle service = Open(manager, name, SERVICE_QUERY_CONFIG);
    DWORD needed = 0;
    if (service && QueryServiceConfigW(service.Get(), config, kMostBytes, &needed)) {
        view.start = config->dwStartType;
    }
}

struct LocalFreeing {
    void operator()(void* memory) const { LocalFree(memory); }
};
struct SidFreeing {
    void operator()(void* sid) const { FreeSid(sid); }
};

Restriction RestrictionBy(PACL list) {
    PSID sid = nullptr;
    if (list == nullptr || !GetBuiltinSid(DOMAIN_ALIAS_RID_ADMINS, sid)) {
        return Restriction::Unknown;
    }
    const std::unique_ptr<void, SidFreeing> administrators(sid);
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry) || static_cast<ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE) {
            continue;
        }
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (EqualSid(&allowed->SidStart, sid)) {
            return allowed->Mask == kAdministratorsRestricted ? Restriction::Restricted : Restriction::Open;
        }
    }
    return Restriction::Unknown;
}

Restriction ReadRestriction(const wchar_t* name) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    std::wstring object = name;
    if (GetNamedSecurityInfoW(object.data(), SE_SERVICE, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                              nullptr, &descriptor) != ERROR_SUCCESS) {
        return Restriction::Unknown;
    }
    const std::unique_ptr<void, LocalFreeing> owner(descriptor);
    return RestrictionBy(list);
}

} // namespace

ServiceView LookAtService(const wchar_t* name) {
    ServiceView view;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        view.error = GetLastError();
        view.failedCall = "OpenSCManager";
        return view;
    }
    ReadState(manager.Get(), name, view);
    if (view.isInstalled) {
        ReadStartType(manager.Get(), name, view);
        view.isMarkedForDeletion = IsMarkedForDeletion(name);
        view.restriction = ReadRestriction(name);
    }
    return view;
}

// A change of nothing is refused to a service that is to be deleted. Windows writes nothing then; Wine writes
// the start type that it remembers, and so undoes one that was written to the registry.
bool IsMarkedForDeletion(const wchar_t* name) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service = Open(manager.Get(), name, SERVICE_CHANGE_CONFIG);
    return service &&
           !ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) &&
           GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
}

std::string ServiceView::StateInWords() const {
    constexpr const char* kWords[] = {"unknown", "stopped",    "starting", "stopping",
                                      "running", "continuing", "pausing",  "paused"};
    if (error != 0) {
        return "unreadable (" + failedCall + ": Windows error " + std::to_string(error) + ")";
    }
    return !isInstalled ? "not installed" : state < std::size(kWords) ? kWords[state] : "unknown";
}

std::string ServiceView::StartInWords() const {
    constexpr const char* kWords[] = {"boot", "system", "automatic", "on demand", "disabled"};
    return !start ? "" : *start < std::size(kWords) ? kWords[*start] : std::to_string(*start);
}

} // namespace steward::tools
