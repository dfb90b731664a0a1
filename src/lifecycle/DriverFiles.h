// The drivers' files in a folder, one per driver: service name and extension (with its dot). Folders end in a
// backslash.
#pragma once

namespace steward {

// Puts the source folder's files in place of the target folder's; an image that Windows keeps in use is
// renamed out of the way where the Windows version allows it and deleted at the next restart. False when a
// copy failed, which ends the run, or when the last rename failed. A null folder, or an empty target, answers
// false.
bool ReplaceDrvFiles(const wchar_t* sourceFolder, const wchar_t* targetFolder, const wchar_t* extension);

// Tries to delete all three files. False when one that exists could not be deleted.
bool DeleteDrvFile(const wchar_t* folder, const wchar_t* extension);

} // namespace steward
