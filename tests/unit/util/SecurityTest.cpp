#include "support/Fault.h"
#include "support/LogCapture.h"
#include "util/Utf8.h"
#include "util/util_PriviRestrict.h"

#include <gtest/gtest.h>

#include <sddl.h>

namespace steward::test {

namespace {

// Every service has the security of this text, and what is written to it becomes text again: Wine keeps none.
struct SecuredService {
    const wchar_t* text;
    PSID group = nullptr;
    std::string written = {};

    ImportPatch<"GetNamedSecurityInfoW", decltype(GetNamedSecurityInfoW)> read{
        kSelf, [this](auto, auto, auto what, auto, auto groupOut, auto list, auto, auto descriptor) -> DWORD {
            EXPECT_EQ(what, 6U);
            ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, descriptor, nullptr);
            BOOL flag = FALSE;
            GetSecurityDescriptorGroup(*descriptor, &group, &flag);
            GetSecurityDescriptorDacl(*descriptor, &flag, list, &flag);
            *groupOut = group;
            return ERROR_SUCCESS;
        }};
    ImportPatch<"SetNamedSecurityInfoW", decltype(SetNamedSecurityInfoW)> write{
        kSelf, [this](auto, auto, auto what, auto, auto groupIn, auto list, auto) -> DWORD {
            EXPECT_EQ(what, 0x80000006U); // protected
            EXPECT_EQ(groupIn, group);
            SECURITY_DESCRIPTOR descriptor{};
            InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
            SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
            wchar_t* made = nullptr;
            ConvertSecurityDescriptorToStringSecurityDescriptorW(&descriptor, SDDL_REVISION_1,
                                                                 DACL_SECURITY_INFORMATION, &made, nullptr);
            written = Utf8FromWide(made);
            LocalFree(made);
            return ERROR_SUCCESS;
        }};
};

} // namespace

TEST(ServiceSecurity, RewritesTheAccessList) {
    const wchar_t* const list = L"G:SYD:(D;;DC;;;BA)(A;;CCSD;;;BA)(A;CI;CC;;;SY)(A;;CC;;;BA)(A;;CC;;;WD)";
    // What becomes of the entries when those of the administrators get this mask.
    const auto edited = [](const std::string& mask) {
        return "D:(D;;DC;;;BA)(A;;" + mask + ";;;BA)(A;CI;GXGR;;;SY)(A;;" + mask + ";;;BA)(A;;GXGR;;;WD)";
    };
    const std::string restricted = edited("CCDCLCSWRPWPDTLOCRRCWDWO"); // 0xE01FF
    struct Case {
        const char* fault;
        const wchar_t* list;
        const char* import; // fails; no entry is added
        DWORD error;
        bool restrict, result;
        std::string written;
        const char* log;
    };
    const Case cases[] = {
        {"wrong mask, order, flag or denial", list, "SetEntriesInAclW", 0, true, true, restricted, ""},
        {"everybody gets all back", list, "SetEntriesInAclW", 0, false, true, edited("GA"), ""},
        {"needs administrators", list, "LookupAccountSidW", 1332, true, true, edited("GXGR"),
         "5 [GetBuiltinSid] (Err) - can't find account. GetLastError=0x534, dwRID=0x220\n"},
        {"uses a SID that could not be made", list, "AllocateAndInitializeSid", 8, true, true, edited("GXGR"),
         "5 [GetBuiltinSid] (Err) - can't AllocateAndInitializeSid. GetLastError=0x8, dwRID=0x220\n"},
        {"a missing list is not written", L"G:SY", "SetEntriesInAclW", 0, true, true,
         "D:", "5 GetNamedSecurityInfo error. dwRet=0\n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        const SecuredService service{each.list};
        const Fault fault(kSelf, each.import, each.error);
        LogCapture log(kSelf, 3);
        EXPECT_EQ(CWorkOnSpecificAccount().DoSecurityRestrictActionOnServiceObject(L"qxcomm", each.restrict),
                  each.result);
        EXPECT_EQ(service.written, each.written);
        EXPECT_EQ(log.TakeTexts(), each.log);
    }
}

// Faults: the target's entry is doubled, treated as anybody's or never added; what was built is not written.
TEST(ServiceSecurity, TargetGetsItsMaskOrAnEntry) {
    const std::string administrators = "2 Found administrators SID in DACL.\n";
    const std::string target = "2 Found target SID in DACL.\n";
    const std::string notAdded = "5 SetEntriesInAcl failed. dwRes=0x8\n";
    for (const auto& [sid, error, written, lines] :
         {std::tuple(WinLocalSystemSid, 0U, "D:(A;;DC;;;BA)(A;;CC;;;SY)", administrators + target),
          {WinBuiltinAdministratorsSid, 0U, "D:(A;;CC;;;BA)(A;;LC;;;SY)", target},
          {WinWorldSid, 0U, "D:(A;;CC;;;WD)(A;;DC;;;BA)(A;;LC;;;SY)", administrators},
          {WinWorldSid, 8U, "D:(A;;DC;;;BA)(A;;LC;;;SY)", administrators + notAdded}}) {
        const SecuredService service{L"G:SYD:(A;;SD;;;BA)(A;;SD;;;SY)"};
        const Fault add(kSelf, "SetEntriesInAclW", error, error == 0 ? Fault::kNoCall : Fault::kEveryCall);
        std::byte bytes[SECURITY_MAX_SID_SIZE];
        DWORD size = sizeof bytes;
        CreateWellKnownSid(sid, nullptr, bytes, &size);
        LogCapture log;
        CSecurityInfo security(SE_SERVICE);
        EXPECT_EQ(security.RetrieveInfoByNameEx(L"qxcomm", bytes, 0x1, 0x2, 0x4), error);
        const std::string texts = log.TakeTexts();
        EXPECT_NE(texts.find("dwRID=0x220\n" + lines + "2 <=="), std::string::npos) << texts;
        EXPECT_EQ(security.ApplyInfoByName(L"qxcomm"), 0U);
        EXPECT_EQ(service.written, written);
    }
}

// Fault: a null name is used.
TEST(ServiceSecurity, NoName) {
    LogCapture log(kSelf, 3);
    EXPECT_TRUE(CWorkOnSpecificAccount().DoSecurityRestrictActionOnServiceObject(nullptr, false));
    EXPECT_EQ(CSecurityInfo(SE_SERVICE).ApplyInfoByName(nullptr), 13U);
    EXPECT_EQ(log.TakeTexts(), "5 given pObjectName is not correct. pObjectName=\n"
                               "5 given pObjectName is NULL or empty.\n");
}

} // namespace steward::test
