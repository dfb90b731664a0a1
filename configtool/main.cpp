#include "CommandLine.h"
#include "Commands.h"
#include "Console.h"

#include <windows.h>

#include <exception>

namespace {

enum ExitCode { kSuccess = 0, kFailure = 1, kWrongUsage = 2 };

int Complain(const std::exception& problem, ExitCode code) {
    steward::tools::Print(STD_ERROR_HANDLE, std::string("stewardConfig: ") + problem.what() + "\n");
    return code;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    using namespace steward::configtool;
    using namespace steward::tools;
    try {
        KeepLogOffTheConsole();
        const std::string output = Run(ParseCommandLine({argv + 1, argv + argc}));
        if (!output.empty() && !Print(STD_OUTPUT_HANDLE, output)) {
            throw Failure("the output cannot be written; check where standard output goes");
        }
        return kSuccess;
    } catch (const UsageError& problem) {
        return Complain(problem, kWrongUsage);
    } catch (const std::exception& problem) {
        return Complain(problem, kFailure);
    }
}
