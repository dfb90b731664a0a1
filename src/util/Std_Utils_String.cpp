#include "util/Std_Utils_String.h"

#include <windows.h>

#include <vector>

namespace steward {

bool QueryFileVersion(const wchar_t* path, FileVersion& version) {
    const DWORD bytes = GetFileVersionInfoSizeW(path, nullptr);
    if (bytes == 0) {
        return false;
    }
    std::vector<std::byte> resource(bytes);
    void* root = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(path, 0, bytes, resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", &root, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return false;
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(root);
    version = {HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionLS)};
    return true;
}

} // namespace steward
