// Driver services by name, and their installation through INF files.
//
// The service operations answer with a boolean (or 1/0) and leave the reason of a failure in last-error: the
// failing call's own code, 1053 (ERROR_SERVICE_REQUEST_TIMEOUT) when a start or stop did not reach its state,
// 1056 (ERROR_SERVICE_ALREADY_RUNNING) when clients still use the shared driver. Names may be null or empty:
// false.
#pragma once

#include "plugin/DriverTable.h"

#include <windows.h>

namespace steward {

// On open handles.

// 1 when the service reached `wanted` within 30 seconds, else 0; 1460 (ERROR_TIMEOUT) when the time ran out.
int WaitForServiceState(SC_HANDLE service, DWORD wanted);
// 1 when the service runs afterwards, whether started now or before; else 0.
int StartServiceAndWait(SC_HANDLE manager, const wchar_t* name);
// True when the service is stopped afterwards.
bool StopDriver(SC_HANDLE manager, const wchar_t* name);
// `status` must not be null: a null one answers false and leaves the service handle open.
bool QueryServiceStatusByName(SC_HANDLE manager, const wchar_t* name, SERVICE_STATUS* status);

// By name alone.

bool StartDriverService(const wchar_t* name);
// Refuses to stop the shared communication driver while clients use it.
bool StopDriverService(const wchar_t* name);
bool QueryDriverServiceStatus(const wchar_t* name, SERVICE_STATUS* status);
// False also for a service that exists but cannot be opened with the rights that the other operations need.
bool IsDriverExist(const wchar_t* name);

// INF files.

// The section that _InstallDriverByInf runs on this machine.
const wchar_t* InstallSectionHere(const DriverRow& row);

// True when setup was run, which says nothing about its outcome; false when the INF file cannot be found.
bool _InstallDriverByInf(const wchar_t* infPath, const DriverRow& row);
bool _UnInstallDriverByInf(const wchar_t* infPath);

} // namespace steward
