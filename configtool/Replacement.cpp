#include "Replacement.h"

#include "Failure.h"
#include "FileSecurity.h"
#include "Files.h"

#include <windows.h>

#include <bit>
#include <utility>

namespace steward::configtool {

namespace {

constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                                  FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

DWORD AttributesLike(const std::wstring& target) {
    const DWORD attributes = GetFileAttributesW(target.c_str());
    const DWORD kept = attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes & kKeptAttributes;
    return kept == 0 ? FILE_ATTRIBUTE_NORMAL : kept;
}

FileHandle Create(const std::wstring& path, SecurityDescriptor security, DWORD attributes) {
    SECURITY_ATTRIBUTES access{sizeof access, security.data(), FALSE};
    return FileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0,
                                  security.empty() ? nullptr : &access, CREATE_NEW, attributes, nullptr));
}

// Whether the file is deleted when its last handle is closed, be it by the end of the process.
void DeleteAtClose(HANDLE file, bool isDeleted) {
    using SetInformation = BOOL WINAPI(HANDLE, FILE_INFO_BY_HANDLE_CLASS, void*, DWORD);
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    auto* const setInformation = std::bit_cast<SetInformation*>(
        GetProcAddress(kernel, "SetFileInformationByHandle")); // since Windows Vista
    FILE_DISPOSITION_INFO disposition{static_cast<BOOLEAN>(isDeleted)};
    if (setInformation != nullptr) {
        setInformation(file, FileDispositionInfo, &disposition, sizeof disposition);
    }
}

// ReplaceFileW of Wine leaves an empty file behind each time that it finds its target held by another
// process.
bool MayBeReplaced(const std::wstring& path) {
    const FileHandle file(CreateFileW(path.c_str(), DELETE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    return static_cast<bool>(file);
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

} // namespace

Replacement::Replacement(std::wstring target, Access access)
    : target_(std::move(target)), path_(target_ + L"." + std::to_wstring(GetCurrentProcessId()) + L".new"),
      access_(access) {
    const DWORD attributes = GetFileAttributesW(target_.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        Fail(target_ + L" is read-only; take that off with \"attrib -r\". Nothing was changed");
    }
    const bool isForOwner = access == Access::OwnerAlone;
    auto security = isForOwner ? OwnerAlone() : AccessListOf(target_.c_str());
    if (isForOwner && security.empty()) {
        FailToWrite();
    }
    file_ = Create(path_, std::move(security), isForOwner ? FILE_ATTRIBUTE_NORMAL : AttributesLike(target_));
    if (!file_) {
        FailToWrite();
    }
    isMade_ = true;
    DeleteAtClose(file_.Get(), true);
}

Replacement::~Replacement() {
    file_.Reset();
    if (isMade_) {
        DeleteFileW(path_.c_str()); // gone already where DeleteAtClose works
    }
}

void Replacement::Write(const std::string& bytes) {
    DWORD written = 0;
    if (WriteFile(file_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE ||
        written != bytes.size() || FlushFileBuffers(file_.Get()) == FALSE) {
        FailToWrite();
    }
    if (ReadBack(bytes.size()) != bytes) {
        Fail(path_ + L" is not read back as it was written; check the disk. Nothing was changed");
    }
}

std::string Replacement::ReadBack(size_t bytes) const {
    std::string text(bytes, '\0');
    DWORD read = 0;
    if (SetFilePointerEx(file_.Get(), {}, nullptr, FILE_BEGIN) == FALSE ||
        ReadFile(file_.Get(), text.data(), static_cast<DWORD>(bytes), &read, nullptr) == FALSE) {
        FailToWrite();
    }
    text.resize(read);
    return text;
}

void Replacement::TakeOver() {
    DeleteAtClose(file_.Get(), false);
    file_.Reset();
    if (!WhileInUse([this] { return MoveToTarget(); })) {
        FailToReplace();
    }
    isMade_ = false;
}

bool Replacement::MoveToTarget() const {
    if (access_ == Access::AsReplaced && Exists(target_)) {
        return MayBeReplaced(target_) &&
               ReplaceFileW(target_.c_str(), path_.c_str(), nullptr, 0, nullptr, nullptr) != FALSE;
    }
    return MoveFileExW(path_.c_str(), target_.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
           FALSE;
}

void Replacement::FailToWrite() const {
    Fail(path_ + L" cannot be written (" + LastErrorText() + L"); check the folder and its access rights");
}

void Replacement::FailToReplace() {
    if (GetLastError() == ERROR_UNABLE_TO_MOVE_REPLACEMENT && !Exists(target_)) {
        isMade_ = false; // the only copy now
        Fail(target_ + L" was removed, but " + path_ + L" did not get its name (" + LastErrorText() +
             L"); rename it by hand");
    }
    Fail(target_ + L" cannot be replaced (" + LastErrorText() +
         L"); check that no program holds it, and your access rights. Nothing was changed");
}

} // namespace steward::configtool
