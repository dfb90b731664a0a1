// File operations on driver and catalog files. Booleans for results; the reason stays in last-error.
#pragma once

#include <windows.h>

namespace steward {

// True for any file or folder whose attributes can be read.
bool IsFileExist(const wchar_t* path);

// True when the path does not exist or its attributes are FILE_ATTRIBUTE_NORMAL now.
bool ResetFileAttributes(const wchar_t* path);

// True unless a deletion was attempted and failed. A file whose attributes cannot be reset is left alone and
// counts as nothing to delete.
bool DeleteExistingFile(const wchar_t* path);

// MoveFileExW with a fallback for systems without it: a plain move on one drive, copy and delete across
// drives. `flags` are those of MoveFileExW; the fallback knows MOVEFILE_REPLACE_EXISTING and
// MOVEFILE_COPY_ALLOWED. A null destination (delayed deletion) has no fallback.
bool MoveFileWithFallback(const wchar_t* source, const wchar_t* destination, DWORD flags,
                          bool resetAttributes);

} // namespace steward
