// A command-line service host.
#include "CommandLine.h"
#include "DriverView.h"
#include "Output.h"
#include "PluginLibrary.h"

#include "Console.h"
#include "util/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace {

using namespace steward;
using namespace steward::host;

enum ExitCode { kSuccess = 0, kFailure = 1, kWrongUsage = 2, kRestartRequired = 3010 };

void PrintLine(DWORD stream, const std::string& text) {
    std::fflush(stdout); // the plug-in may have printed
    tools::Print(stream, text);
}

std::wstring AbsolutePath(const std::wstring& folder) {
    std::wstring path(32768, L'\0');
    path.resize(GetFullPathNameW(folder.c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr));
    return path.empty() ? folder : path;
}

DrvInfo RecordOf(Request& request) {
    request.folder = AbsolutePath(request.folder);
    if (request.folder.size() >= DRV_INFO_PATH_UNITS) {
        throw UsageError("the package folder's path has " + std::to_string(request.folder.size()) +
                         " characters; move the package to a path of at most 1023");
    }
    if (GetFileAttributesW(request.folder.c_str()) == INVALID_FILE_ATTRIBUTES) {
        PrintLine(STD_ERROR_HANDLE, "stewardHost: warning: there is no folder " +
                                        Utf8FromWide(request.folder) + "; check the path\n");
    }
    DrvInfo record{};
    std::copy(request.folder.begin(), request.folder.end(), record.path);
    record.action = request.action;
    record.compare_state = request.compareState;
    return record;
}

// Ends as the plug-in's own batch does.
std::vector<RecordResult> RunRecords(const PluginLibrary& plugin, std::vector<Request> requests) {
    std::vector<DrvInfo> records(requests.size());
    std::transform(requests.begin(), requests.end(), records.begin(), RecordOf);
    std::vector<RecordResult> results;
    for (size_t i = 0; i < records.size(); ++i) {
        results.push_back({requests[i], plugin.Run(records[i])});
        if (results.back().code == DS_FAILED_BATCH_ABORTED) {
            break;
        }
    }
    return results;
}

int ExitCodeOf(const std::vector<RecordResult>& results) {
    const auto failed = [](const RecordResult& result) {
        return result.code != DS_SUCCESS && result.code != DS_SUCCESS_RESTART_REQUIRED;
    };
    const auto restart = [](const RecordResult& result) {
        return result.code == DS_SUCCESS_RESTART_REQUIRED;
    };
    return std::any_of(results.begin(), results.end(), failed)    ? kFailure
           : std::any_of(results.begin(), results.end(), restart) ? kRestartRequired
                                                                  : kSuccess;
}

std::string VersionText(const PluginLibrary& plugin) {
    const auto version = plugin.Version();
    return "stewardHost " STEWARD_VERSION "\nplug-in " + std::to_string(version[0]) + "." +
           std::to_string(version[1]) + "." + std::to_string(version[2]) + ", owner module " +
           std::to_string(plugin.OwnerModuleId()) + "\n";
}

int Run(const CommandLine& line) {
    if (line.command == Command::Help) {
        PrintLine(STD_OUTPUT_HANDLE, kHelp);
        return kSuccess;
    }
    const PluginLibrary plugin(line.plugin);
    if (line.command == Command::Version) {
        PrintLine(STD_OUTPUT_HANDLE, VersionText(plugin));
        return kSuccess;
    }
    const std::vector<RecordResult> results = RunRecords(plugin, line.requests);
    const DriverStateReport report = plugin.Report();
    const std::vector<DriverView> drivers = LookAtDrivers();
    PrintLine(STD_OUTPUT_HANDLE, line.json ? JsonOf(results, report, drivers)
                                           : TextOf(results, line.requests.size(), report, drivers));
    return ExitCodeOf(results);
}

int Complain(const std::exception& problem, ExitCode code) {
    PrintLine(STD_ERROR_HANDLE, std::string("stewardHost: ") + problem.what() + "\n");
    return code;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    try {
        tools::KeepLogOffTheConsole();
        return Run(ParseCommandLine({argv + 1, argv + argc}));
    } catch (const UsageError& problem) {
        return Complain(problem, kWrongUsage);
    } catch (const std::exception& problem) {
        return Complain(problem, kFailure);
    }
}
