#include "lifecycle/DriverFiles.h"

#include "plugin/DriverTable.h"
#include "service/OsVersion.h"
#include "util/Log.h"
#include "util/Std_Utils_File.h"

#include "setupKit.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

namespace steward {

namespace {

constexpr LogSource kLog{kDriverModule, L"driverSteward.cpp"};

std::wstring RandomTempName(const wchar_t* folder, const wchar_t* name) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    static_cast<void>(std::rand()); // the first value after seeding is close to the seed
    const unsigned value = static_cast<unsigned>(std::rand()) % 65536;
    wchar_t digits[5];
    wsprintfW(digits, L"%04X", value);
    return std::wstring(folder) + name + digits + L".tmp";
}

// A free name beside the file that is to make room.
std::wstring TempNameIn(const wchar_t* folder, const wchar_t* name) {
    wchar_t made[MAX_PATH] = {};
    if (GetTempFileNameW(folder, name, 0, made) != 0) {
        return made;
    }
    STEWARD_LOG(5, L"GetTempFileNameW() failed! GetLastError() = ", GetLastError());
    std::wstring random = RandomTempName(folder, name);
    STEWARD_LOG(2, L"Create a random temp file name : ", random);
    return random;
}

void DeleteAtRestart(const std::wstring& path) {
    if (MoveFileWithFallback(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT, false)) {
        STEWARD_LOG(2, L"The renamed driver file will be deleted after reboot: ", path);
    } else {
        STEWARD_LOG(3, L"Failed to delete the renamed driver file until reboot: ", path, L", error: ",
                    GetLastError());
    }
}

// With its attributes reset: the restart deletes no read-only file.
bool RenameAway(const std::wstring& target, const std::wstring& temporary) {
    if (!MoveFileWithFallback(target.c_str(), temporary.c_str(), MOVEFILE_REPLACE_EXISTING, true)) {
        STEWARD_LOG(5, L"Failed to rename old driver file from ", target, L" to ", temporary, L", error: ",
                    GetLastError());
        return false;
    }
    STEWARD_LOG(2, L"Old driver file is renamed from ", target, L" to ", temporary);
    DeleteAtRestart(temporary);
    return true;
}

} // namespace

bool ReplaceDrvFiles(const wchar_t* sourceFolder, const wchar_t* targetFolder, const wchar_t* extension) {
    if (sourceFolder == nullptr || targetFolder == nullptr || *targetFolder == L'\0') {
        return false; // an unknown target must not become the host's current folder
    }
    bool replaced = true; // each rename overwrites it: the last one decides
    for (const DriverRow& row : DriverTable) {
        const std::wstring source = std::wstring(sourceFolder) + row.name + extension;
        const std::wstring target = std::wstring(targetFolder) + row.name + extension;
        if (ImagesAreRenamed() && IsFileExist(target.c_str())) {
            replaced = RenameAway(target, TempNameIn(targetFolder, row.name));
        } else {
            STEWARD_LOG(2, L"replace old drivers with new drivers from: ", source, L" to ", target);
        }
        uint32_t error = 0;
        if (!Copy(target.c_str(), source.c_str(), TRUE, &error)) {
            STEWARD_LOG(5, L"Copy file failed.", error);
            return false;
        }
    }
    return replaced;
}

bool DeleteDrvFile(const wchar_t* folder, const wchar_t* extension) {
    STEWARD_LOG(2, L"==> DeleteDrvFile,");
    bool result = true;
    for (const DriverRow& row : DriverTable) {
        const std::wstring path = std::wstring(folder) + row.name + extension;
        if (!IsFileExist(path.c_str())) {
            STEWARD_LOG(3, L"File is not exit : ", path);
        } else if (DeleteExistingFile(path.c_str())) {
            STEWARD_LOG(2, L"Delete file : ", path);
        } else {
            STEWARD_LOG(5, L"Failed to delete the file: ", path, L", error: ", GetLastError());
            result = false;
        }
    }
    STEWARD_LOG(2, L"<== DeleteDrvFile,bRet = ", result);
    return result;
}

} // namespace steward
