#pragma once

#include <optional>
#include <string>
#include <vector>

namespace steward::tools {

// The version resource of a file: its full version and the name that it was built under.
struct FileIdentity {
    std::string version; // "5.5.0.1256"
    std::wstring originalName;
};

// Nothing for a file without a version resource, or none at all.
std::optional<FileIdentity> IdentityOf(const std::wstring& path);

// The files that the next start of Windows deletes.
std::vector<std::wstring> FilesDeletedAtRestart();

} // namespace steward::tools
