#include "util/util_PriviRestrict.h"

#include "util/Handles.h"
#include "util/Log.h"

#include <utility>

namespace steward {

namespace {

constexpr LogSource kLog{kUtilModule, L"util_PriviRestrict.cpp"};

constexpr DWORD kAdministratorsUnrestricted = GENERIC_ALL;
constexpr DWORD kEverybodyElse = GENERIC_READ | GENERIC_EXECUTE;

struct SidKind {
    using Handle = PSID;
    static Handle Empty() { return nullptr; }
    static void Close(Handle sid) { FreeSid(sid); }
};
using UniqueSid = UniqueHandle<SidKind>;

bool IsEmpty(const wchar_t* text) {
    return text == nullptr || *text == L'\0';
}

// A group of the built-in domain, or everyone for 0.
PSID MakeSid(DWORD rid) {
    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    SID_IDENTIFIER_AUTHORITY worldAuthority = SECURITY_WORLD_SID_AUTHORITY;
    PSID sid = nullptr;
    const BOOL made = rid != 0 ? AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, rid,
                                                          0, 0, 0, 0, 0, 0, &sid)
                               : AllocateAndInitializeSid(&worldAuthority, 1, SECURITY_WORLD_RID, 0, 0, 0, 0,
                                                          0, 0, 0, &sid);
    return made ? sid : nullptr;
}

} // namespace

CSecurityInfo::~CSecurityInfo() {
    const LastErrorKeeper keeper;
    Release();
}

// Both buffers come from the system as blocks of the process heap.
bool CSecurityInfo::Release() {
    const HANDLE heap = GetProcessHeap();
    if (newDacl_ != nullptr && heap != nullptr) {
        HeapFree(heap, 0, std::exchange(newDacl_, nullptr));
    }
    if (descriptor_ == nullptr) {
        return true;
    }
    if (heap == nullptr) {
        return false;
    }
    HeapFree(heap, 0, std::exchange(descriptor_, nullptr));
    owner_ = nullptr;
    group_ = nullptr;
    dacl_ = nullptr;
    sacl_ = nullptr;
    return true;
}

DWORD CSecurityInfo::RetrieveInfoByNameEx(const wchar_t* objectName, PSID targetSid, DWORD targetMask,
                                          DWORD adminMask, DWORD otherMask) {
    STEWARD_LOG(2, L"==> CSecurityInfo::RetrieveInfoByNameEx,", L"pObjectName=", objectName);
    const DWORD dwRet = Retrieve(objectName, targetSid, targetMask, adminMask, otherMask);
    STEWARD_LOG(2, L"<== CSecurityInfo::RetrieveInfoByNameEx,", L"dwRet=", dwRet);
    return dwRet;
}

DWORD CSecurityInfo::Retrieve(const wchar_t* objectName, PSID targetSid, DWORD targetMask, DWORD adminMask,
                              DWORD otherMask) {
    if (IsEmpty(objectName)) {
        STEWARD_LOG(5, L"given pObjectName is not correct. pObjectName=", objectName);
        return ERROR_INVALID_DATA;
    }
    if (!Release()) {
        return ERROR_SUCCESS;
    }
    const DWORD read = GetNamedSecurityInfoW(objectName, objectType_, securityInformation_, &owner_, &group_,
                                             &dacl_, &sacl_, &descriptor_);
    if (read != ERROR_SUCCESS || dacl_ == nullptr) {
        STEWARD_LOG(5, L"GetNamedSecurityInfo error. dwRet=", read);
        return read;
    }
    const bool targetFound = EditEntries(targetSid, targetMask, adminMask, otherMask);
    return targetSid == nullptr || targetFound ? ERROR_SUCCESS : AddEntry(targetSid, targetMask);
}

bool CSecurityInfo::EditEntries(PSID targetSid, DWORD targetMask, DWORD adminMask, DWORD otherMask) {
    UniqueSid administrators;
    PSID found = nullptr;
    if (GetBuiltinSid(DOMAIN_ALIAS_RID_ADMINS, found)) {
        administrators.Reset(found);
    }
    bool targetFound = false;
    for (DWORD i = 0; i < dacl_->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(dacl_, i, &entry) ||
            static_cast<ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE) {
            continue;
        }
        auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
        PSID const trustee = &allowed.SidStart;
        if (targetSid != nullptr && EqualSid(targetSid, trustee)) {
            allowed.Mask = targetMask;
            targetFound = true;
            STEWARD_LOG(2, L"Found target SID in DACL.");
        } else if (administrators && EqualSid(administrators.Get(), trustee)) {
            allowed.Mask = adminMask;
            STEWARD_LOG(2, L"Found administrators SID in DACL.");
        } else {
            allowed.Mask = otherMask;
        }
    }
    return targetFound;
}

DWORD CSecurityInfo::AddEntry(PSID sid, DWORD mask) {
    EXPLICIT_ACCESS_W access{};
    access.grfAccessPermissions = mask;
    access.grfAccessMode = GRANT_ACCESS;
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.ptstrName = static_cast<wchar_t*>(sid);
    const DWORD dwRes = SetEntriesInAclW(1, &access, dacl_, &newDacl_);
    if (dwRes != ERROR_SUCCESS) {
        STEWARD_LOG(5, L"SetEntriesInAcl failed. dwRes=", dwRes);
    }
    return dwRes;
}

DWORD CSecurityInfo::ApplyInfoByName(const wchar_t* objectName) {
    STEWARD_LOG(2, L"==> CSecurityInfo::ApplyInfoByName,", L"pObjectName=", objectName);
    DWORD dwRet = ERROR_INVALID_DATA;
    if (IsEmpty(objectName)) {
        STEWARD_LOG(5, L"given pObjectName is NULL or empty.");
    } else {
        // Protected: nothing is inherited into the list any more.
        std::wstring name(objectName);
        dwRet = SetNamedSecurityInfoW(name.data(), objectType_,
                                      securityInformation_ | PROTECTED_DACL_SECURITY_INFORMATION, owner_,
                                      group_, newDacl_ != nullptr ? newDacl_ : dacl_, sacl_);
    }
    STEWARD_LOG(2, L"<== CSecurityInfo::ApplyInfoByName,", L"dwRet=", dwRet);
    return dwRet;
}

CWorkOnSpecificAccount::~CWorkOnSpecificAccount() {
    if (impersonating_ && !RevertToSelf()) {
        STEWARD_LOG(5, L"RevertToSelf failed. GetLastError=", GetLastError());
    }
    if (accountSid_ != nullptr) {
        FreeSid(accountSid_);
    }
}

bool CWorkOnSpecificAccount::DoSecurityRestrictActionOnServiceObject(const wchar_t* pwszServiceName,
                                                                     bool bRestrictAct) {
    STEWARD_LOG(2, L"==> ", L"CWorkOnSpecificAccount::DoSecurityRestrictActionOnServiceObject", L",",
                L"pwszServiceName=", pwszServiceName, L", bRestrictAct=", bRestrictAct);
    bool bRet = true;
    {
        CSecurityInfo security(SE_SERVICE);
        const DWORD adminMask = bRestrictAct ? kAdministratorsRestricted : kAdministratorsUnrestricted;
        if (security.RetrieveInfoByNameEx(pwszServiceName, nullptr, GENERIC_ALL, adminMask, kEverybodyElse) ==
            ERROR_SUCCESS) {
            const DWORD dwErrSvc = security.ApplyInfoByName(pwszServiceName);
            if (dwErrSvc != ERROR_SUCCESS) {
                bRet = false;
                STEWARD_LOG(5, L"Apply privilege to service obj failed. pwszServiceName=", pwszServiceName,
                            L", dwErrSvc=", dwErrSvc);
            }
        }
        STEWARD_LOG(2, L"<== ", L"CWorkOnSpecificAccount::DoSecurityRestrictActionOnServiceObject", L",",
                    L" bRet=", bRet);
    }
    return bRet;
}

bool GetBuiltinSid(DWORD rid, PSID& sid) {
    UniqueSid made(MakeSid(rid));
    if (!made) {
        STEWARD_LOG(5, L"[GetBuiltinSid] (Err) - can't AllocateAndInitializeSid. GetLastError=",
                    GetLastError(), L", dwRID=", rid);
        return false;
    }
    wchar_t name[256] = {};
    wchar_t domain[256] = {};
    DWORD nameUnits = static_cast<DWORD>(std::size(name));
    DWORD domainUnits = static_cast<DWORD>(std::size(domain));
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, made.Get(), name, &nameUnits, domain, &domainUnits, &use)) {
        STEWARD_LOG(5, L"[GetBuiltinSid] (Err) - can't find account. GetLastError=", GetLastError(),
                    L", dwRID=", rid);
        return false;
    }
    STEWARD_LOG(2, L"[GetBuiltinSid] find account group name=", name, L", dwRID=", rid);
    sid = made.Release();
    return true;
}

} // namespace steward
