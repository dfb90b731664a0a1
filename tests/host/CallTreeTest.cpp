// The log reader and the call tree: texts in, tree out.
#include "CallTree.h"

#include <gtest/gtest.h>

#include <regex>

namespace steward::test {

using namespace steward::tools;

struct TreeCase {
    const char* fault; // that the case would show
    const char* log;   // lines without "2026-11-25 02:54:", level and origin where they are the usual ones
    const char* tree;
    size_t unreadable = 0;
};

// A line "07.123 text" becomes a whole record, with the level in front of a "|"; others stand as they are.
static std::string Expanded(const std::string& text) {
    const std::regex plain("(^|\n)(\\d\\d\\.\\d+) (?!\\d\\|)");
    const std::regex leveled("(^|\n)(\\d\\d\\.\\d+) (\\d)\\|([^\n]*)");
    return std::regex_replace(std::regex_replace(text, plain, "$1$2 2|"), leveled,
                              "$01"
                              "2026-11-25 02:54:$2 $3 System Driver Installation driverSteward.cpp:93 $4\r");
}

TEST(CallTree, ShowsCallsTimesAndFailures) {
    const TreeCase cases[] = {
        {"columns, times, details or results are not as documented",
         "01.000000 ==> DoActionFromDrvInfo,rDrvInfo.action = 0x1, rDrvInfo.compare_state = 0x2\n"
         "01.300500 ==> UpdateDrvFromDrvInfo,\n"
         "01.301 5|Fail to recovery Vigil driver registry, qxevtmgr\n"
         "01.302 Try to stop service: qxactmon\n"
         "01.303 ==> WaitForServiceState,timeout value: 0x7530\n"
         "04.340 <== WaitForServiceState,Is Service Ok: 0x1\n"
         "04.341 ==> StartDriverService,Driver Name:qxcomm\n"
         "04.342 ==> WaitForServiceState,timeout value: 0x7530\n"
         "34.342 <== WaitForServiceState,Is Service Ok: 0\n"
         "34.343 3|WaitForServiceState(SERVICE_RUNNING) timeout!\n"
         "34.344 <== StartDriverService,bResult: 0\n"
         "34.885500 <== UpdateDrvFromDrvInfo,asStatus = 0xe01a000b\n"
         "34.886 <== DoActionFromDrvInfo,asStatus = 0x201a0001\n",
         "33886 ms  DoActionFromDrvInfo(action 1)                 0x201a0001\n"
         "33585 ms    UpdateDrvFromDrvInfo                        ! 0xe01a000b\n"
         "   ! 5        Fail to recovery Vigil driver registry, qxevtmgr\n"
         " 3037 ms      WaitForServiceState (stop qxactmon)       ok\n"
         "30003 ms      StartDriverService (qxcomm)               ! failed\n"
         "30000 ms        WaitForServiceState (start qxcomm)      ! failed\n"
         "   - 3          WaitForServiceState(SERVICE_RUNNING) timeout!\n"},
        {"a killed process swallows the next one's tree; an early return, a cut beginning, a clock set back",
         "09.000 <== RollbackDrvFromDrvInfo,\n"
         "09.000 ==> DoActionFromDrvInfo,rDrvInfo.action = 0, rDrvInfo.compare_state = 0\n"
         "08.000 ==> IsDriverExist,\n"
         "08.000 try to opens an existing service: ORPL\n"
         "07.000 <== IsDriverExist,The service: ORPL does not exist\n"
         "07.100 ==> _InstallDriverByInf,INF File Path: C:\\p\\qxcomm.inf\n"
         "07.200 ==> DoActionFromDrvInfo,rDrvInfo.action = 0x3, rDrvInfo.compare_state = 0\n"
         "07.210 ==> StartDriverService,Driver Name:\n"
         "07.220 ==> ForcePreIncludeQXFile,pcwszFileName = C:\\p\\qxcomm.sys\n"
         "07.221 <== ForcePreIncludeQXFile,Is signed? No, Signer Name = , iRet = 0\n"
         "07.230 <== DoActionFromDrvInfo,Driver file not signed! path=C:\\p\\qxcomm.sys\n",
         "    ? ms  RollbackDrvFromDrvInfo\n"
         "    ? ms  DoActionFromDrvInfo(action 0)                 no exit line\n"
         "    0 ms    IsDriverExist (ORPL)                        does not exist\n"
         "    ? ms    _InstallDriverByInf (qxcomm.inf)            no exit line\n"
         "   30 ms  DoActionFromDrvInfo(action 3)                 ! Driver file not signed! "
         "path=C:\\p\\qxcomm.sys\n"
         "    ? ms    StartDriverService                          ! failed\n"
         "    1 ms    ForcePreIncludeQXFile (qxcomm.sys)          ! not signed\n"},
        {"damage loses more than the damaged line; a message forges a record; a control character gets out",
         "01.000 ==> ModifyQxcommRegistry,\n"
         "2026-11-25 02:54:01.0012026-11-25 02:54:01.001 5 Util COMMON core\\a.cpp:1 one\n"
         "no log line\n"
         "2026-11-25 02:54:01.5 5 Util COMMON core\\a.cpp:1 2026-11-25 02:54:01.1 6 m f.cpp:1 forged "
         "\x1b[1m\n"
         "2026-11-25 02:54:01.5 5 Util COMMON core\\a.cpp:1\n"
         "2026-99-99 02:54:01.5 6  f:2 odd\n"
         "2026-11-25 02:54:01.5 99999999999 m f:2 no\n"
         "02.000 <== ModifyQxcommRegistry,bRet = 1",
         " 1000 ms  ModifyQxcommRegistry                          ok\n"
         "   ! 5      one\n"
         "   ! 5      2026-11-25 02:54:01.1 6 m f.cpp:1 forged \\x1b[1m\n"
         "   ! 5      \n"
         "   ! 6      odd\n",
         3},
    };
    for (const TreeCase& each : cases) {
        const Log log = ReadLog(Expanded(each.log));
        EXPECT_EQ(TextOf(TreeOf(log.lines)), each.tree) << each.fault;
        EXPECT_EQ(log.unreadable, each.unreadable) << each.fault;
    }
}

} // namespace steward::test
