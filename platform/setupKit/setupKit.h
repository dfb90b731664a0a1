/* Binary interface of the platform's setup library, setupKit.dll. Plain C over the Windows types. Capacities
 * are in wide characters, terminators included. */
#ifndef SETUPKIT_H
#define SETUPKIT_H

#include <windows.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { SETUPKIT_PATH_UNITS = 260 };

/* Normalises in place: every '/' becomes '\', exactly one trailing backslash; an empty path stays empty.
 * False when `capacity` does not suffice; the path is then unchanged. */
BOOL CoordinateBackSlash(wchar_t* path, uint32_t capacity);

/* The Windows drivers folder with a trailing backslash into SETUPKIT_PATH_UNITS wide characters. */
BOOL GetWindowsDrvDir(wchar_t* buffer);

/* Windows folder, backslash, `relative` into SETUPKIT_PATH_UNITS wide characters. */
BOOL GetDirInWinDir(wchar_t* buffer, const wchar_t* relative);

/* Copies one file. On failure false, and the Windows error code in `*error`. */
BOOL Copy(const wchar_t* destination, const wchar_t* source, BOOL overwrite, uint32_t* error);

#ifdef __cplusplus
}
#endif
#endif
