// The three drivers that this plug-in looks after.
#pragma once

#include <array>
#include <cwchar>

namespace steward {

struct DriverRow {
    const wchar_t* name;        // service name; base name of the .inf, .sys and .cat files
    const wchar_t* sectionNt5;  // INF install section for OsVersionCode 1
    const wchar_t* sectionNt60; // ... for 70
    const wchar_t* sectionNt62; // ... for 80 and above
};

// The shared communication driver comes first: installed and started before the others, stopped after them.
inline constexpr std::array<DriverRow, 3> DriverTable{{
    {L"qxcomm", L"DefaultInstall", L"DefaultInstall", L"DriverInstall_Win8"},
    {L"qxevtmgr", L"DefaultInstall", L"DefaultInstall", L"DefaultInstall"},
    {L"qxactmon", L"DefaultInstall", L"DefaultInstall", L"DefaultInstall"},
}};

// Stops and removals walk the table from its last row to its first.
struct DriverTableBackwards {
    static constexpr auto begin() { return DriverTable.rbegin(); }
    static constexpr auto end() { return DriverTable.rend(); }
};

inline constexpr const wchar_t* kSharedDriver = DriverTable[0].name;

// The communication driver that several products share, by the first characters of a service name.
inline bool IsSharedDriver(const wchar_t* name) {
    return _wcsnicmp(name, kSharedDriver, 6) == 0;
}

inline bool IsActivityMonitor(const wchar_t* name) {
    return _wcsnicmp(name, L"qxactmon", 8) == 0;
}

} // namespace steward
