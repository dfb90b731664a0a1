#include "PlatformLibraries.h"

#include "util/Utf8.h"

#include "setupKit.h"
#include "traceSink.h"

#include <windows.h>

#include <bit>
#include <cstdint>
#include <utility>
#include <vector>

namespace steward::tools {

namespace {

std::wstring firstFolder;
bool ownLogIsQuiet = false;

std::vector<std::wstring> Folders() {
    std::vector<std::wstring> folders{FolderOfThisProgram()};
    if (!firstFolder.empty() && _wcsicmp(firstFolder.c_str(), folders[0].c_str()) != 0) {
        folders.insert(folders.begin(), firstFolder);
    }
    return folders;
}

// Looked for until it is found, then kept until the program ends.
class Library {
  public:
    explicit Library(const wchar_t* name) : name_(name) {}

    HMODULE Get() {
        if (module_ == nullptr) {
            for (const std::wstring& folder : Folders()) {
                module_ = LoadLibraryExW((folder + name_).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
                if (module_ != nullptr) {
                    break;
                }
            }
        }
        return module_;
    }

    std::string WhyMissing() {
        if (Get() != nullptr) {
            return {};
        }
        std::wstring places;
        for (const std::wstring& folder : Folders()) {
            places += (places.empty() ? L"" : L" and ") + folder;
        }
        return Utf8FromWide(name_ + (L" is missing in " + places) + L"; put it there");
    }

    // Null when the library, or the function in it, is missing.
    template <typename Function> Function* Find(Function* /*the declaration*/, const char* name) {
        return Get() == nullptr ? nullptr : std::bit_cast<Function*>(GetProcAddress(Get(), name));
    }

  private:
    const wchar_t* name_;
    HMODULE module_ = nullptr;
};

Library traceSink(L"traceSink.dll");
Library setupKit(L"setupKit.dll");

// Calls the library's function of that name, or answers what stands for a missing one.
template <typename Result, typename... Parameters, typename... Arguments>
Result Forward(Library& library, Result (*declared)(Parameters...), const char* name, Result missing,
               Arguments... arguments) {
    if (auto* const function = library.Find(declared, name)) {
        return function(arguments...);
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return missing;
}

} // namespace

void LookForPlatformLibrariesIn(const std::wstring& folder) {
    firstFolder = folder;
    if (!firstFolder.empty() && firstFolder.back() != L'\\') {
        firstFolder += L'\\';
    }
}

bool IsTraceSinkThere() {
    return traceSink.Get() != nullptr;
}

bool IsSetupKitThere() {
    return setupKit.Get() != nullptr;
}

std::string WhyNoSetupKit() {
    return setupKit.WhyMissing();
}

std::string WhyNoTraceSink() {
    return traceSink.WhyMissing();
}

void KeepOwnLogQuiet() {
    ownLogIsQuiet = true;
}

std::wstring FolderOfThisProgram() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\') + 1);
}

} // namespace steward::tools

using steward::tools::Forward;
using steward::tools::setupKit;
using steward::tools::traceSink;

void* Log_GetDefaultHandle() {
    if (steward::tools::ownLogIsQuiet) {
        return nullptr;
    }
    return Forward<void*>(traceSink, Log_GetDefaultHandle, "Log_GetDefaultHandle", nullptr);
}

uint32_t Log_GetLogLevel(void* handle, const wchar_t* module) {
    return Forward<uint32_t>(traceSink, Log_GetLogLevel, "Log_GetLogLevel", 0, handle, module);
}

uint32_t Log_Flush(void* handle, const wchar_t* module, uint32_t level, const wchar_t* file, uint32_t line,
                   const wchar_t* text, uint32_t bytes) {
    return Forward<uint32_t>(traceSink, Log_Flush, "Log_Flush", 1, handle, module, level, file, line, text,
                             bytes);
}

BOOL CoordinateBackSlash(wchar_t* path, uint32_t capacity) {
    return Forward<BOOL>(setupKit, CoordinateBackSlash, "CoordinateBackSlash", FALSE, path, capacity);
}

BOOL GetWindowsDrvDir(wchar_t* buffer) {
    return Forward<BOOL>(setupKit, GetWindowsDrvDir, "GetWindowsDrvDir", FALSE, buffer);
}

BOOL GetDirInWinDir(wchar_t* buffer, const wchar_t* relative) {
    return Forward<BOOL>(setupKit, GetDirInWinDir, "GetDirInWinDir", FALSE, buffer, relative);
}

BOOL Copy(const wchar_t* destination, const wchar_t* source, BOOL overwrite, uint32_t* error) {
    const BOOL copied = Forward<BOOL>(setupKit, Copy, "Copy", FALSE, destination, source, overwrite, error);
    if (!copied && !steward::tools::IsSetupKitThere() && error != nullptr) {
        *error = ERROR_MOD_NOT_FOUND;
    }
    return copied;
}
