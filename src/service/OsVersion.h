// The running Windows version and what depends on it. Read once when the module is loaded, only read
// afterwards.
#pragma once

#include <windows.h>

#include <cstdint>

namespace steward {

// 1 = 5.x (2000, XP, Server 2003), 70 = 6.0 and 6.1, 80 = 6.2, 81 = later 6.x, 100 = 10.0, 101 = later,
// -99 = unknown.
extern const int32_t OsVersionCode;

// What GetVersionExW reported, which a manifest and compatibility settings may hold down; zero when it
// failed.
extern const OSVERSIONINFOEXW OsVersionRecord;

constexpr int32_t OsVersionCodeOf(uint32_t major, uint32_t minor) {
    if (major > 10) {
        return 101;
    }
    if (major == 10) {
        return minor == 0 ? 100 : 101;
    }
    if (major == 6) {
        return minor <= 1 ? 70 : minor == 2 ? 80 : 81;
    }
    return major == 5 && minor < 3 ? 1 : -99;
}

// Windows 7 itself, told apart from Vista and from the servers that share its code.
constexpr bool IsWindows7Client(int32_t code, uint32_t minor, uint8_t productType) {
    return code == 70 && minor == 1 && productType == VER_NT_WORKSTATION;
}

// Up to Windows 7 a driver is stopped, changed and started again; from Windows 8 on it keeps running and the
// change takes effect at the next restart.
inline bool DriversAreStoppedForChange() {
    return OsVersionCode <= 70;
}
inline bool ChangesNeedRestart() {
    return OsVersionCode >= 80;
}

// From Windows 10 on an image in use is renamed out of the way.
inline bool ImagesAreRenamed() {
    return OsVersionCode >= 100;
}

// Only Windows 10 itself keeps the drivers' catalogs in the system catalog folder.
inline bool CatalogsAreKept() {
    return OsVersionCode == 100;
}

} // namespace steward
