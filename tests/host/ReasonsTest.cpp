// Why an action failed, from lines that the plug-in logs; and what a console says meanwhile.
#include "Reasons.h"
#include "Progress.h"

#include <gmock/gmock.h>

#include <cstdint>

namespace steward::test {

using testing::HasSubstr;
using tools::LogLine;

// Of lines "5 message".
static std::vector<LogLine> LogOf(const std::vector<const char*>& lines) {
    std::vector<LogLine> log;
    for (const char* const line : lines) {
        log.push_back({0, static_cast<uint32_t>(*line - '0'), "", "", 0, line + 2});
    }
    return log;
}

// Faults: an answer counts as a failure; a file that a catalog covers is called unsigned; what decides
// nothing comes first; an error code is read wrongly; a line that nobody knows is lost.
TEST(Reasons, AreFoundOrderedAndExplained) {
    const std::tuple<std::vector<const char*>, const char*, const char*> cases[] = {
        {{"5 OpenService failed. GetLastError() = 0x424", "2 Service not exist.", "3 File is not exit : x"},
         "",
         ""},
        {{"5 Fail to recovery Vigil driver registry, qxactmon", "5 0x2 driver instance(s) found",
          "5 driver instance found, cannot stop qxcomm service.", "5 Fail to stop service, qxcomm"},
         "+clients-running +driver-not-stopped -device-node-not-repaired ",
         "qxcomm does not stop\n"},
        {{"2 ==> ForcePreIncludeQXFile,pcwszFileName = C:\\a.sys",
          "5 Unsigned file! file=C:\\a.sys, lStatus=0x800b0100, GetLastError=0x800b0100",
          "2 <== ForcePreIncludeQXFile,Is signed? Yes, Signer Name = S, iRet = 0",
          "5 ControlService SERVICE_CONTROL_STOP failed, err=0x41d"},
         "+stop-refused ",
         "a driver refuses to stop (Windows error 1053"},
        {{"2 ==> ForcePreIncludeQXFile,pcwszFileName = C:\\b.sys",
          "5 Unsigned file! file=C:\\b.sys, lStatus=0x80096010, GetLastError=0x80096010",
          "2 <== ForcePreIncludeQXFile,Is signed? No, Signer Name = , iRet = 0",
          "2 <== DoActionFromDrvInfo,Driver file not signed! path=C:\\b.sys"},
         "+signature-invalid +driver-not-signed ",
         "C:\\b.sys has no valid embedded signature (Windows error 0x80096010"},
        {{"6 Something new, err = 0x57"}, "+unknown ", "Something new, err = 0x57 (Windows error 87"},
    };
    for (const auto& [lines, expectedIds, text] : cases) {
        std::string ids; // of what decides with '+'
        std::string texts;
        for (const host::Reason& reason : host::ReasonsIn(LogOf(lines))) {
            ids += (reason.decides ? "+" : "-") + reason.id + " ";
            texts += reason.text + "\n";
        }
        EXPECT_EQ(ids, expectedIds);
        EXPECT_THAT(texts, HasSubstr(text));
    }
}

// Faults: the wrong driver or direction; a word about what is over, or has only begun.
TEST(Progress, SaysWhichDriverIsWaitedFor) {
    const auto text = [](const std::vector<const char*>& lines, uint32_t seconds) {
        return host::ProgressText(tools::TreeOf(LogOf(lines)), seconds);
    };
    EXPECT_EQ(text({"2 ==> U,", "2 Try to stop service: qxactmon", "2 ==> WaitForServiceState,"}, 12),
              "waiting for qxactmon to stop, 12 s");
    EXPECT_EQ(text({"2 ==> StartDriverService,Driver Name:qxcomm", "2 ==> WaitForServiceState,"}, 0), "");
    EXPECT_EQ(text({"2 ==> _InstallDriverByInf,INF File Path: C:\\p\\qxcomm.inf"}, 3),
              "setup works on qxcomm.inf, 3 s");
    EXPECT_EQ(
        text({"2 ==> _InstallDriverByInf,INF File Path: C:\\p\\qxcomm.inf", "2 <== _InstallDriverByInf,"}, 3),
        "");
}

} // namespace steward::test
