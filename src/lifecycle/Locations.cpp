#include "lifecycle/Locations.h"

#include "setupKit.h"

#include <algorithm>
#include <cstdint>

namespace steward {

std::wstring PackageFolder(const DrvInfo& record) {
    constexpr size_t kRoom = 2; // for the trailing backslash and the terminator
    wchar_t folder[DRV_INFO_PATH_UNITS + kRoom] = {};
    std::copy_n(record.path, wcsnlen(record.path, DRV_INFO_PATH_UNITS), folder);
    CoordinateBackSlash(folder, static_cast<uint32_t>(std::size(folder)));
    return folder;
}

std::wstring DriversFolder() {
    wchar_t folder[SETUPKIT_PATH_UNITS] = {};
    GetWindowsDrvDir(folder);
    return folder;
}

std::wstring CatalogFolder() {
    wchar_t folder[SETUPKIT_PATH_UNITS] = {};
    GetDirInWinDir(folder, L"system32\\CatRoot\\{F750E6C3-38EE-11D1-85E5-00C04FC295EE}\\");
    return folder;
}

std::wstring DriverServiceKey(const wchar_t* name) {
    return std::wstring(L"SYSTEM\\CurrentControlSet\\Services\\") + name;
}

} // namespace steward
