/* Binary interface of the platform's logging library, traceSink.dll. Plain C; nothing is thrown. The
 * development stand-in (traceSink.cpp, which describes its lines and settings) carries the ProductName
 * "driverSteward" in its version resource. */
#ifndef TRACESINK_H
#define TRACESINK_H

#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The default log handle, or null when nothing is to be logged. Not owned by the caller. */
void* Log_GetDefaultHandle(void);

/* Threshold of `module`: 0 = off, otherwise lines of this level and above are wanted. */
uint32_t Log_GetLogLevel(void* handle, const wchar_t* module);

/* Takes one complete line. `text` is `bytes` bytes of UTF-16, not terminated, or null with 0 bytes. 0:
 * written; otherwise the line is lost. */
uint32_t Log_Flush(void* handle, const wchar_t* module, uint32_t level, const wchar_t* file, uint32_t line,
                   const wchar_t* text, uint32_t bytes);

#ifdef __cplusplus
}
#endif
#endif
