#include "support/ToolRun.h"

#include "util/Handles.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace steward::test {

namespace {

constexpr DWORD kLimitMilliseconds = 60'000;

FileHandle InheritableFile(const std::filesystem::path& path, DWORD access) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return FileHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ, &inherited, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

// This program's token, without its membership of the Administrators unless elevated.
FileHandle Token(bool isElevated) {
    BYTE administrators[SECURITY_MAX_SID_SIZE];
    DWORD bytes = sizeof administrators;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &bytes);
    SID_AND_ATTRIBUTES disabled{administrators, 0};
    HANDLE own = nullptr;
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &own);
    const FileHandle owner(own);
    CreateRestrictedToken(own, 0, isElevated ? 0 : 1, &disabled, 0, nullptr, 0, nullptr, &token);
    return FileHandle(token);
}

} // namespace

std::string ReadWholeFile(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path BinFolder() {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    return std::filesystem::path(self).parent_path();
}

ToolRun RunTool(const std::wstring& program, const std::wstring& arguments, const ToolStreams& streams) {
    const auto tool = BinFolder() / program;
    const auto folder = std::filesystem::temp_directory_path();
    const auto suffix = std::to_wstring(GetCurrentThreadId());
    const auto input = folder / (L"input" + suffix);
    const auto output = folder / (L"output" + suffix);
    const auto errors = folder / (L"errors" + suffix);

    std::ofstream(input, std::ios::binary) << streams.input;
    ToolRun run{0xFFFF, "", ""};
    {
        const FileHandle inputFile = InheritableFile(input, GENERIC_READ);
        const FileHandle outputFile =
            InheritableFile(output, streams.refusesOutput ? GENERIC_READ : GENERIC_WRITE);
        const FileHandle errorFile = InheritableFile(errors, GENERIC_WRITE);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = inputFile.Get();
        start.hStdOutput = outputFile.Get();
        start.hStdError = errorFile.Get();
        PROCESS_INFORMATION started{};
        std::wstring command = L"\"" + tool.wstring() + L"\" " + arguments;
        const auto isStarted = [&] {
            return CreateProcessAsUserW(Token(streams.isElevated).Get(), tool.c_str(), command.data(),
                                        nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &started);
        };
        // Wine now and then loses a process at its start.
        if (isStarted() || (GetLastError() == ERROR_INTERNAL_ERROR && isStarted())) {
            const FileHandle process(started.hProcess);
            const FileHandle thread(started.hThread);
            DWORD exitCode = 0;
            if (WaitForSingleObject(process.Get(), kLimitMilliseconds) == WAIT_OBJECT_0 &&
                GetExitCodeProcess(process.Get(), &exitCode)) {
                run.exitCode = exitCode;
            } else {
                TerminateProcess(process.Get(), 1);
            }
        } else {
            std::fprintf(stderr, "%ls cannot be started, error %lu\n", tool.c_str(), GetLastError());
        }
    }
    run.output = ReadWholeFile(output.wstring());
    run.errors = ReadWholeFile(errors.wstring());
    for (const auto& file : {input, output, errors}) {
        std::error_code ignored; // a tool that runs at the same time may have inherited it
        std::filesystem::remove(file, ignored);
    }
    return run;
}

} // namespace steward::test
