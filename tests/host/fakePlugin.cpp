// A plug-in that answers what its package folder's name asks for, so that every exit of a host can be seen: a
// code, "ctrl-c" for an interrupt meanwhile, "nested" for a second host meanwhile. Prints to standard output
// in two ways. Appends what it was handed to the file records.txt in the current folder: count, action,
// compare state.
#include "driverSteward.h"

#include <windows.h>

#include <process.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <numeric>
#include <string>

#define EXPORT extern "C" __declspec(dllexport)

static void Print() {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "NOISE\n", 6, &written, nullptr);
    std::printf("NOISE\n");
    std::fflush(stdout);
}

// As the console does it, for a lab without one: its thread in the interrupted process begins here.
static void InterruptThisProcess() {
    const FARPROC routine = GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine");
    const auto start = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(routine));
    const HANDLE thread = CreateThread(nullptr, 0, start, reinterpret_cast<void*>(CTRL_C_EVENT), 0, nullptr);
    WaitForSingleObject(thread, 30'000);
    CloseHandle(thread);
}

// Its words go where this host's go.
static void RunSecondHost() {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    _wspawnl(_P_WAIT, program, L"stewardHost", L"--plugin", L"fakePlugin.dll", L"--force", L"install",
             L"201A0001", nullptr);
}

EXPORT uint32_t Plugin_Interface_DriversDoAction(const DrvInfo* records, uint32_t count) {
    Print();
    std::ofstream("records.txt", std::ios::app)
        << count << "/" << records->action << "/" << records->compare_state << " ";
    const std::wstring name = std::wcsrchr(records->path, L'\\') + 1;
    if (name == L"ctrl-c") {
        InterruptThisProcess();
    } else if (name == L"nested") {
        RunSecondHost();
    } else {
        return static_cast<uint32_t>(std::wcstoul(name.c_str(), nullptr, 16));
    }
    return DS_SUCCESS;
}

EXPORT uint32_t Plugin_Interface_EnumerateDriversInfo(DriverStateCallback callback, void* context) {
    Print();
    const DriverStateReport report{DRIVER_STATE_REPORT_TAG, DS_NOT_ALL_RUNNING, "1.2.3", 1, {}};
    return callback(&report, context);
}

EXPORT uint32_t Plugin_Interface_GetHelperOwnerModuleID() {
    return 7;
}

EXPORT void Plugin_Interface_GetModuleVersion(uint32_t* version) {
    std::iota(version, version + 3, 1U);
}
