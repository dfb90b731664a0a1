#include "service/OsVersion.h"

#include "util/RegKey.h"

#include <new>

namespace steward {

namespace {

OSVERSIONINFOEXW ReadVersionRecord() {
    OSVERSIONINFOEXW record{};
    record.dwOSVersionInfoSize = sizeof record;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&record))) {
        return {};
    }
    return record;
}

// Nothing may be thrown while the module is loaded.
uint32_t RegistryNumber(const wchar_t* name) try {
    uint32_t value = 0;
    return ReadHKLMDword(value, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name) ? value : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

// The registry tells the truth where GetVersionExW shows an older version to programs without a manifest.
int32_t ReadVersionCode(const OSVERSIONINFOEXW& record) {
    const uint32_t registryMajor = RegistryNumber(L"CurrentMajorVersionNumber");
    const uint32_t registryMinor = RegistryNumber(L"CurrentMinorVersionNumber");
    if (record.dwOSVersionInfoSize == 0) {
        return -99;
    }
    return registryMajor > record.dwMajorVersion
               ? OsVersionCodeOf(registryMajor, registryMinor)
               : OsVersionCodeOf(record.dwMajorVersion, record.dwMinorVersion);
}

} // namespace

const OSVERSIONINFOEXW OsVersionRecord = ReadVersionRecord();
const int32_t OsVersionCode = ReadVersionCode(OsVersionRecord);

} // namespace steward
