// What the headers of a PE file say, read from the file alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace steward::tools {

struct PeImage {
    bool is64Bit = false;             // for x64
    bool isNative = false;            // subsystem of drivers
    bool isSigned = false;            // carries a certificate table, of whatever worth
    std::vector<std::string> imports; // names of DLLs
};

// Nothing for a file that cannot be read or is no PE image.
std::optional<PeImage> ReadPeImage(const std::wstring& path);

} // namespace steward::tools
