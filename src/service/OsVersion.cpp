#include "service/OsVersion.h"

#include "util/RegKey.h"

#include <cstdint>
#include <new>

namespace steward {

namespace {

// Nothing may be thrown while the module is loaded.
uint32_t RegistryNumber(const wchar_t* name) try {
    uint32_t value = 0;
    return ReadHKLMDword(value, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name) ? value : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

struct Version {
    OSVERSIONINFOEXW record;
    int32_t code;
};

// The registry tells the truth where GetVersionExW shows an older version to programs without a manifest.
Version ReadVersion() {
    const uint32_t registryMajor = RegistryNumber(L"CurrentMajorVersionNumber");
    const uint32_t registryMinor = RegistryNumber(L"CurrentMinorVersionNumber");
    OSVERSIONINFOEXW record{};
    record.dwOSVersionInfoSize = sizeof record;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&record))) {
        return {{}, -99};
    }
    return {record, registryMajor > record.dwMajorVersion
                        ? OsVersionCodeOf(registryMajor, registryMinor)
                        : OsVersionCodeOf(record.dwMajorVersion, record.dwMinorVersion)};
}

const Version kVersion = ReadVersion();

} // namespace

const OSVERSIONINFOEXW OsVersionRecord = kVersion.record;
const int32_t OsVersionCode = kVersion.code;

} // namespace steward
