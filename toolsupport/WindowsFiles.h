#pragma once

#include <optional>
#include <string>
#include <vector>

namespace steward::tools {

// The version resource of a file: its full version and the name that it was built under.
struct FileIdentity {
    std::string version; // "5.5.0.1256"
    std::wstring originalName;
    std::wstring productName;
};

// Nothing for a file without a version resource, or none at all.
std::optional<FileIdentity> IdentityOf(const std::wstring& path);

// False when either is no version.
bool IsOlder(const std::string& version, const std::string& than);

// What the next start of Windows does before anything else.
struct PendingMove {
    std::wstring from;
    std::wstring to; // empty: `from` is deleted
};
std::vector<PendingMove> MovesAtRestart();

// Of these, the files that are deleted.
std::vector<std::wstring> FilesDeletedAtRestart();

// Nothing for a file that cannot be read, or has more than 256 MB.
std::optional<std::string> ContentOf(const std::wstring& path);

} // namespace steward::tools
