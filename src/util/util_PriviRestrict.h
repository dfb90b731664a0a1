// The restriction on the drivers' service objects: who may do what with a driver's service.
#pragma once

#include <windows.h>

#include <aclapi.h>

#include <cstdint>
#include <string>

namespace steward {

// Security information of one named object between reading and writing it. Owns the read descriptor and, when
// the read had to add an entry, the new DACL.
class CSecurityInfo {
  public:
    explicit CSecurityInfo(SE_OBJECT_TYPE objectType) : objectType_(objectType) {}
    CSecurityInfo(const CSecurityInfo&) = delete;
    CSecurityInfo& operator=(const CSecurityInfo&) = delete;
    virtual ~CSecurityInfo();

    // Reads group and DACL of the object and rewrites the masks of its access-allowed entries in memory:
    // those of `targetSid` (may be null), of the built-in Administrators, and of everybody else. A target
    // without an entry gets one. Win32 code; 0 also when the object has no DACL or earlier contents could not
    // be released.
    DWORD RetrieveInfoByNameEx(const wchar_t* objectName, PSID targetSid, DWORD targetMask, DWORD adminMask,
                               DWORD otherMask);

    // Writes what was read back as a protected DACL. Win32 code.
    DWORD ApplyInfoByName(const wchar_t* objectName);

  private:
    bool Release();
    DWORD Retrieve(const wchar_t* objectName, PSID targetSid, DWORD targetMask, DWORD adminMask,
                   DWORD otherMask);
    bool EditEntries(PSID targetSid, DWORD targetMask, DWORD adminMask, DWORD otherMask);
    DWORD AddEntry(PSID sid, DWORD mask);

    SECURITY_INFORMATION securityInformation_ = GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    SE_OBJECT_TYPE objectType_;
    PSID owner_ = nullptr;
    PSID group_ = nullptr;
    PACL dacl_ = nullptr;
    PACL newDacl_ = nullptr;
    PACL sacl_ = nullptr;
    PSECURITY_DESCRIPTOR descriptor_ = nullptr;
};

// What the built-in Administrators may do with a restricted service object: everything but delete it.
inline constexpr DWORD kAdministratorsRestricted = SERVICE_ALL_ACCESS & ~static_cast<DWORD>(DELETE);
static_assert(kAdministratorsRestricted == 0x000E01FF);

class CWorkOnSpecificAccount {
  public:
    CWorkOnSpecificAccount() = default;
    CWorkOnSpecificAccount(const CWorkOnSpecificAccount&) = delete;
    CWorkOnSpecificAccount& operator=(const CWorkOnSpecificAccount&) = delete;
    virtual ~CWorkOnSpecificAccount();

    // Restricts the service object to reading for everybody but Administrators, who lose deletion; or gives
    // Administrators everything back. False only when the new access list could not be written; a service
    // that does not exist counts as done.
    bool DoSecurityRestrictActionOnServiceObject(const wchar_t* pwszServiceName, bool bRestrictAct);

  private:
    std::wstring accountName_;
    std::wstring accountText_;
    PSID accountSid_ = nullptr;
    bool impersonating_ = false;
};

// The SID of a built-in group by its relative identifier, or of everyone for 0. False, with nothing to free,
// when it cannot be made or names no account on this machine; otherwise the caller frees it with FreeSid.
bool GetBuiltinSid(DWORD rid, PSID& sid);

} // namespace steward
