#include "e2e/Plugin.h"
#include "util/util_PriviRestrict.h"

#include <gmock/gmock.h>

#include <sddl.h>

#include <cstdio>

namespace steward::test {

namespace {

using Entries = std::vector<std::string>;

constexpr SECURITY_INFORMATION kRead = GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

std::string Line(uint32_t level, const std::wstring& text) {
    return LogLine(level, L"Util COMMON", L"util_PriviRestrict.cpp", text);
}

// Each entry as "<type> <flags> <mask> <last part of the SID>", numbers in hexadecimal.
Entries EntriesOf(PACL list) {
    if (list == nullptr) {
        return {"no list"};
    }
    Entries entries;
    for (DWORD index = 0; index < list->AceCount; ++index) {
        void* entry = nullptr;
        GetAce(list, index, &entry);
        auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
        PSID const sid = &allowed.SidStart;
        const DWORD last = *GetSidSubAuthority(sid, *GetSidSubAuthorityCount(sid) - 1U);
        char text[64];
        std::snprintf(text, sizeof text, "%s %x %lx %lu", allowed.Header.AceType == 0 ? "allowed" : "denied",
                      allowed.Header.AceFlags, allowed.Mask, last);
        entries.emplace_back(text);
    }
    return entries;
}

// A service whose security is what a descriptor text says, and which remembers what was written to it.
struct SecuredService {
    const wchar_t* descriptorText;
    DWORD readError = 0;
    DWORD writeError = 0;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PSID group = nullptr;
    int freed = 0;
    Entries written = {};

    HMODULE self = GetModuleHandleW(nullptr);
    ImportPatch<"GetNamedSecurityInfoW", decltype(GetNamedSecurityInfoW)> read{
        self,
        [this](LPCWSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID*, PSID* groupOut,
               PACL* list, PACL*, PSECURITY_DESCRIPTOR* out) -> DWORD {
            EXPECT_STREQ(name, L"qxcomm");
            EXPECT_EQ(type, SE_SERVICE);
            EXPECT_EQ(what, kRead);
            if (readError == ERROR_SUCCESS) {
                ConvertStringSecurityDescriptorToSecurityDescriptorW(descriptorText, SDDL_REVISION_1,
                                                                     &descriptor, nullptr);
                BOOL flag = FALSE;
                GetSecurityDescriptorGroup(descriptor, &group, &flag);
                GetSecurityDescriptorDacl(descriptor, &flag, list, &flag);
                *groupOut = group;
                *out = descriptor;
            }
            return readError;
        }};
    ImportPatch<"SetNamedSecurityInfoW", decltype(SetNamedSecurityInfoW)> write{
        self,
        [this](LPWSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID owner, PSID groupIn,
               PACL list, PACL systemList) -> DWORD {
            EXPECT_STREQ(name, L"qxcomm");
            EXPECT_EQ(type, SE_SERVICE);
            EXPECT_EQ(what, 0x80000006U);
            EXPECT_EQ(owner, nullptr);
            EXPECT_EQ(groupIn, group);
            EXPECT_EQ(systemList, nullptr);
            written = EntriesOf(list);
            return writeError;
        }};
    ImportPatch<"HeapFree", decltype(HeapFree)> release{self, [this](HANDLE heap, DWORD flags, LPVOID block) {
                                                            freed += block == descriptor ? 1 : 0;
                                                            return release.Original(heap, flags, block);
                                                        }};
};

constexpr wchar_t kEntries[] =
    L"G:SYD:(D;;0x2;;;BA)(A;;0xF01FF;;;BA)(A;CI;0x5;;;SY)(A;;0x1;;;BA)(A;;0x9;;;WD)";

const std::string kFound = Line(2, L"[GetBuiltinSid] find account group name=Administrators, dwRID=0x220");
const std::string kAdministrators = Line(2, L"Found administrators SID in DACL.");
const std::string kTarget = Line(2, L"Found target SID in DACL.");
const std::string kEnterRead = Line(2, L"==> CSecurityInfo::RetrieveInfoByNameEx,pObjectName=qxcomm");

std::string LeaveRead(const std::wstring& code) {
    return Line(2, L"<== CSecurityInfo::RetrieveInfoByNameEx,dwRet=" + code);
}

Transcript operator+(Transcript first, const Transcript& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The transcript of the whole operation around what reading and writing log.
Transcript Operation(const std::wstring& name, bool restrict, const Transcript& lines, bool result) {
    const std::wstring function = L"CWorkOnSpecificAccount::DoSecurityRestrictActionOnServiceObject,";
    return Transcript{Line(2, L"==> " + function + L"pwszServiceName=" + name + L", bRestrictAct=" +
                                  (restrict ? L"1" : L"0"))} +
           lines + Transcript{Line(2, L"<== " + function + L" bRet=" + (result ? L"1" : L"0"))};
}

} // namespace

TEST(ServiceSecurity, RewritesTheAccessList) {
    const Transcript written{Line(2, L"==> CSecurityInfo::ApplyInfoByName,pObjectName=qxcomm"),
                             Line(2, L"<== CSecurityInfo::ApplyInfoByName,dwRet=0")};
    const Transcript found{kEnterRead, kFound, kAdministrators, kAdministrators, LeaveRead(L"0")};
    const Transcript notFound{
        kEnterRead, Line(5, L"[GetBuiltinSid] (Err) - can't find account. GetLastError=0x534, dwRID=0x220"),
        LeaveRead(L"0")};
    const Transcript noList{kEnterRead, Line(5, L"GetNamedSecurityInfo error. dwRet=0"), LeaveRead(L"0")};
    const Transcript denied{kEnterRead, Line(5, L"GetNamedSecurityInfo error. dwRet=0x5"), LeaveRead(L"0x5")};
    const Transcript notWritten{
        written[0], Line(2, L"<== CSecurityInfo::ApplyInfoByName,dwRet=0x5"),
        Line(5, L"Apply privilege to service obj failed. pwszServiceName=qxcomm, dwErrSvc=0x5")};
    // What becomes of the entries when those of the administrators get this mask.
    const auto edited = [](const std::string& mask) {
        return Entries{"denied 0 2 544", "allowed 0 " + mask + " 544", "allowed 2 a0000000 18",
                       "allowed 0 " + mask + " 544", "allowed 0 a0000000 0"};
    };
    const Entries restricted = edited("e01ff");
    const Entries unrestricted = edited("10000000");
    const Entries lockedOut = edited("a0000000");
    struct Case {
        const char* fault;
        const wchar_t* descriptor;
        DWORD lookupError, readError, writeError;
        bool restrict, result;
        Entries written;
        Transcript lines;
    };
    const Case cases[] = {
        {"wrong mask, order, flag or denial", kEntries, 0, 0, 0, true, true, restricted, found + written},
        {"everybody gets all back", kEntries, 0, 0, 0, false, true, unrestricted, found + written},
        {"needs administrators", kEntries, 1332, 0, 0, true, true, lockedOut, notFound + written},
        {"a missing list is not written", L"G:SY", 0, 0, 0, true, true, {"no list"}, noList + written},
        {"writes what was not read", kEntries, 0, 5, 0, true, true, {}, denied},
        {"hides a failed write", kEntries, 0, 0, 5, false, false, unrestricted, found + notWritten},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        const SecuredService service{each.descriptor, each.readError, each.writeError};
        const ImportPatch<"LookupAccountSidW", decltype(LookupAccountSidW)> lookup(
            service.self,
            [&](LPCWSTR system, PSID sid, LPWSTR name, LPDWORD nameUnits, LPWSTR domain, LPDWORD domainUnits,
                PSID_NAME_USE use) -> WINBOOL {
                SetLastError(each.lookupError);
                return each.lookupError == 0 &&
                       lookup.Original(system, sid, name, nameUnits, domain, domainUnits, use);
            });
        LogCapture log;
        EXPECT_EQ(CWorkOnSpecificAccount().DoSecurityRestrictActionOnServiceObject(L"qxcomm", each.restrict),
                  each.result);
        EXPECT_EQ(service.written, each.written);
        EXPECT_EQ(service.freed, each.readError == 0 ? 1 : 0);
        EXPECT_EQ(Joined(log.Take()), Joined(Operation(L"qxcomm", each.restrict, each.lines, each.result)));
    }
}

// Faults: an absent service, or one without a name, is a failure or is written to.
TEST(ServiceSecurity, AServiceThatCannotBeReadCountsAsDone) {
    const auto enter = [](const std::wstring& name) {
        return Line(2, L"==> CSecurityInfo::RetrieveInfoByNameEx,pObjectName=" + name);
    };
    const Transcript noName{enter(L""), Line(5, L"given pObjectName is not correct. pObjectName="),
                            LeaveRead(L"0xd")};
    LogCapture log;
    CWorkOnSpecificAccount account;
    EXPECT_TRUE(account.DoSecurityRestrictActionOnServiceObject(L"stewardNoService", true));
    EXPECT_EQ(Joined(log.Take()),
              Joined(Operation(L"stewardNoService", true,
                               {enter(L"stewardNoService"),
                                Line(5, L"GetNamedSecurityInfo error. dwRet=0x424"), LeaveRead(L"0x424")},
                               true)));
    for (const wchar_t* const name : {L"", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_TRUE(account.DoSecurityRestrictActionOnServiceObject(name, false));
        EXPECT_EQ(Joined(log.Take()), Joined(Operation(L"", false, noName, true)));
        EXPECT_EQ(CSecurityInfo(SE_SERVICE).ApplyInfoByName(name), 13U);
        EXPECT_EQ(Joined(log.Take()), Joined({Line(2, L"==> CSecurityInfo::ApplyInfoByName,pObjectName="),
                                              Line(5, L"given pObjectName is NULL or empty."),
                                              Line(2, L"<== CSecurityInfo::ApplyInfoByName,dwRet=0xd")}));
    }
}

// Faults: the target's entry is doubled, treated as anybody's or never added; what was built is not written.
TEST(ServiceSecurity, TargetGetsItsMaskOrAnEntry) {
    struct Case {
        WELL_KNOWN_SID_TYPE target;
        DWORD addError, result;
        std::vector<std::string> entries;
        Transcript lines;
    };
    const Case cases[] = {
        {WinLocalSystemSid, 0, 0, {"allowed 0 22 544", "allowed 0 11 18"}, {kAdministrators, kTarget}},
        {WinBuiltinAdministratorsSid, 0, 0, {"allowed 0 11 544", "allowed 0 33 18"}, {kTarget}},
        {WinWorldSid, 0, 0, {"allowed 0 22 544", "allowed 0 33 18", "allowed 0 11 0"}, {kAdministrators}},
        {WinWorldSid,
         ERROR_NOT_ENOUGH_MEMORY,
         ERROR_NOT_ENOUGH_MEMORY,
         {"allowed 0 22 544", "allowed 0 33 18"},
         {kAdministrators, Line(5, L"SetEntriesInAcl failed. dwRes=0x8")}},
    };
    for (const Case& each : cases) {
        const SecuredService service{L"G:SYD:(A;;0x1;;;BA)(A;;0x1;;;SY)"};
        const ImportPatch<"SetEntriesInAclW", decltype(SetEntriesInAclW)> add(
            service.self, [&](ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* made) {
                return each.addError != 0 ? each.addError : add.Original(count, entries, old, made);
            });
        std::byte sid[SECURITY_MAX_SID_SIZE];
        DWORD bytes = sizeof sid;
        CreateWellKnownSid(each.target, nullptr, sid, &bytes);
        LogCapture log;
        CSecurityInfo security(SE_SERVICE);
        EXPECT_EQ(security.RetrieveInfoByNameEx(L"qxcomm", sid, 0x11, 0x22, 0x33), each.result);
        EXPECT_EQ(Joined(log.Take()), Joined(Transcript{kEnterRead, kFound} + each.lines +
                                             Transcript{LeaveRead(each.result == 0 ? L"0" : L"0x8")}));
        EXPECT_EQ(security.ApplyInfoByName(L"qxcomm"), 0U);
        EXPECT_THAT(service.written, testing::UnorderedElementsAreArray(each.entries));
    }
}

// Faults: zero taken for a group of the built-in domain; a SID that cannot be made is used.
TEST(ServiceSecurity, GetBuiltinSid) {
    PSID sid = nullptr;
    EXPECT_TRUE(GetBuiltinSid(0, sid));
    EXPECT_TRUE(IsWellKnownSid(sid, WinWorldSid));
    FreeSid(sid);
    const ImportPatch<"AllocateAndInitializeSid", decltype(AllocateAndInitializeSid)> make(
        GetModuleHandleW(nullptr),
        [](PSID_IDENTIFIER_AUTHORITY, BYTE, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD,
           PSID*) -> WINBOOL {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        });
    LogCapture log;
    EXPECT_FALSE(GetBuiltinSid(545, sid));
    EXPECT_EQ(Joined(log.Take()),
              Joined({Line(5, L"[GetBuiltinSid] (Err) - can't AllocateAndInitializeSid. GetLastError=0x8, "
                              L"dwRID=0x221")}));
}

} // namespace steward::test
