// A command-line service host.
#include "Commands.h"
#include "ExitCode.h"
#include "JsonOutput.h"

#include "Console.h"
#include "PlatformLibraries.h"

#include <windows.h>

#include <algorithm>
#include <exception>
#include <string>
#include <vector>

namespace {

using namespace steward;
using namespace steward::host;

bool AsksForJson(const std::vector<std::wstring>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), L"--");
    return std::find(arguments.begin(), end, L"--json") != end;
}

int Complain(const std::exception& problem, ExitCode code, bool inJson) {
    tools::Print(STD_ERROR_HANDLE, std::string("stewardHost: ") + problem.what() + "\n");
    if (inJson) {
        const char* const id = code == kWrongUsage ? "usage" : "failure";
        tools::Print(STD_OUTPUT_HANDLE, tools::Dump(JsonOfError(id, problem.what(), code)));
    }
    return code;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    const std::vector<std::wstring> arguments(argv + 1, argv + argc);
    const bool inJson = AsksForJson(arguments);
    try {
        tools::KeepStandardOutputForAnswers();
        tools::KeepOwnLogQuiet();
        return Run(ParseCommandLine(arguments));
    } catch (const tools::UsageError& problem) {
        return Complain(problem, kWrongUsage, inJson);
    } catch (const std::exception& problem) {
        return Complain(problem, kFailure, inJson);
    }
}
