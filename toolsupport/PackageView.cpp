#include "PackageView.h"

#include "PeImage.h"
#include "WindowsFiles.h"

#include "driverSteward.h"
#include "lifecycle/Locations.h"
#include "service/InfCommand.h"
#include "service/drivermanage.h"
#include "util/Handles.h"
#include "util/Std_Utils_Signature.h"
#include "util/Utf8.h"

#include <windows.h>

#include <setupapi.h>

#include <algorithm>
#include <cstdint>

namespace steward::tools {

namespace {

struct InfKind {
    using Handle = HINF;
    static Handle Empty() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { SetupCloseInfFile(handle); }
};
using InfHandle = UniqueHandle<InfKind>;

// As setup looks for it: with the decoration for this platform first.
bool HasSection(HINF inf, const wchar_t* name) {
    wchar_t actual[MAX_PATH] = {};
    return SetupDiGetActualSectionToInstallW(inf, name, actual, MAX_PATH, nullptr, nullptr) &&
           SetupGetLineCountW(inf, actual) >= 0;
}

void ReadInf(PackageDriver& driver, const DriverRow& row) {
    const wchar_t* const section = InstallSectionHere(row);
    driver.section = Utf8FromWide(section);
    if (!driver.inf.exists) {
        return;
    }
    UINT errorLine = 0;
    const InfHandle inf(SetupOpenInfFileW(driver.inf.path.c_str(), nullptr, INF_STYLE_WIN4, &errorLine));
    if (!inf) {
        const DWORD error = GetLastError();
        driver.infProblem = "setup cannot read it (Windows error " + std::to_string(error) +
                            (errorLine == 0 ? "" : ", line " + std::to_string(errorLine)) + ")";
        return;
    }
    driver.hasSection = HasSection(inf.Get(), section);
    driver.hasUninstallSection = HasSection(inf.Get(), kUninstallSection);
}

void ReadSys(PackageDriver& driver) {
    if (!driver.sys.exists) {
        return;
    }
    const auto image = ReadPeImage(driver.sys.path);
    driver.sysProblem = !image                                ? "it is no program image, or cannot be read"
                        : !image->is64Bit || !image->isNative ? "it is no 64-bit native image"
                                                              : "";
    const auto identity = IdentityOf(driver.sys.path);
    driver.version = identity ? identity->version : "";
    driver.signature = SignatureOf(driver.sys.path);
}

PackageFile FileAt(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    PackageFile file{path, false, 0};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) &&
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        file.exists = true;
        file.bytes = (uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
    }
    return file;
}

PackageDriver LookAtDriver(const std::wstring& folder, const DriverRow& row) {
    PackageDriver driver;
    driver.name = Utf8FromWide(row.name);
    driver.inf = FileAt(folder + row.name + L".inf");
    driver.sys = FileAt(folder + row.name + L".sys");
    driver.cat = FileAt(folder + row.name + L".cat");
    ReadInf(driver, row);
    ReadSys(driver);
    return driver;
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace

SignatureView SignatureOf(const std::wstring& path) {
    wchar_t signer[256] = {};
    bool isSigned = false;
    ForcePreIncludeQXFile(path.c_str(), signer, static_cast<uint32_t>(std::size(signer)), &isSigned);
    if (!isSigned) {
        return {};
    }
    const auto image = ReadPeImage(path);
    return {image && image->isSigned ? SignatureView::Kind::Embedded : SignatureView::Kind::Catalog,
            Utf8FromWide(signer)};
}

PackageView LookIntoPackage(const std::wstring& folder) {
    DrvInfo record{};
    std::copy_n(folder.begin(), std::min<size_t>(folder.size(), DRV_INFO_PATH_UNITS), record.path);
    PackageView package;
    package.folder = PackageFolder(record);
    package.exists = IsFolder(package.folder);
    for (const DriverRow& row : DriverTable) {
        package.drivers.push_back(LookAtDriver(package.folder, row));
    }
    return package;
}

} // namespace steward::tools
