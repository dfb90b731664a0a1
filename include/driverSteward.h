/* What a service host needs to load and call driverSteward.dll. Plain C; little-endian, 64-bit Windows.
 *
 * Load the library by its full path and look the four functions up by their undecorated names (the typedefs
 * at the end fit GetProcAddress). All functions run on the caller's thread to completion, keep no handle and
 * throw nothing. One batch at a time: two batches at once would undo each other's lifting of the service
 * restriction.
 */
#ifndef DRIVERSTEWARD_H
#define DRIVERSTEWARD_H

#ifndef _WIN64
#error "driverSteward.dll is a 64-bit Windows library: build the host for 64-bit Windows (x64)"
#endif

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* The version of this header and of the plug-in that it belongs to. It stands here and nowhere else. */
#define DRIVERSTEWARD_VERSION_MAJOR 5
#define DRIVERSTEWARD_VERSION_MINOR 5
#define DRIVERSTEWARD_VERSION_PATCH 0
#define DRIVERSTEWARD_VERSION_BUILD 1256

#ifdef __cplusplus
extern "C" {
#endif

/* DrvInfo.action. Any other value answers DS_UNSUPPORTED_REQUEST. */
enum DrvAction {
    INSTALL = 0,
    UPDATE = 1,
    UNINSTALL = 2,
    EQUAL_UPDATE = 3,
};

/* DrvInfo.compare_state, the host's verdict on package against installation. Looked at for UPDATE only;
 * values without a name ask for the ordinary update. */
enum DrvCompareState {
    COMPARE_INVALID = 0,    /* rejected with DS_UNSUPPORTED_REQUEST */
    COMPARE_ROLLBACK = 1,   /* go back to the package's drivers */
    COMPARE_UNKNOWN = 1000, /* rejected with DS_UNSUPPORTED_REQUEST */
};

enum { DRV_INFO_PATH_UNITS = 1024 };

/* One request. Read in place, never written. Records of a batch follow one another without padding. */
typedef struct DrvInfo {
    uint32_t header; /* the host's own; not read */
    wchar_t
        path[DRV_INFO_PATH_UNITS]; /* package folder, UTF-16, zero-terminated; holds <name>.inf, .sys, .cat */
    uint32_t action;               /* enum DrvAction */
    uint32_t compare_state;        /* enum DrvCompareState */
} DrvInfo;

/* Result codes: two severity bits (00 success, 11 failure), bit 29 set, facility 0x01A, code. */
#define DS_SUCCESS 0x201A0001U /* done */
#define DS_SUCCESS_RESTART_REQUIRED                                                                          \
    0x201A0002U                             /* done; complete only after the next restart of the machine */
#define DS_ALL_RUNNING 0xE01A0004U          /* report state: all drivers running */
#define DS_NOT_ALL_RUNNING 0xE01A0008U      /* report state: drivers present, not all running */
#define DS_NONE_PRESENT 0xE01A0009U         /* report state: no driver present */
#define DS_UNSUPPORTED_REQUEST 0xE01A000AU  /* unknown action, or UPDATE with a rejected compare_state */
#define DS_PROCEDURE_FAILED 0xE01A000BU     /* update or migration failed: a driver did not stop or start */
#define DS_FAILED_BATCH_ABORTED 0xE01A000CU /* failed, and the records that follow were not processed */
#define DS_DRIVER_NOT_STOPPED 0xE01A0019U   /* uninstallation: a running driver could not be stopped */

/* Whether a batch's result code is a success, one that wants a restart included. */
#define DS_SUCCEEDED(code) (((code) & 0x80000000U) == 0)

enum { DRIVER_STATE_REPORT_TAG = 0x22000100, DRIVER_STATE_VERSION_BYTES = 100 };

/* What the report callback receives; lives only for the duration of the callback. */
typedef struct DriverStateReport {
    uint32_t report_tag;                      /* DRIVER_STATE_REPORT_TAG */
    uint32_t state;                           /* DS_ALL_RUNNING, DS_NOT_ALL_RUNNING or DS_NONE_PRESENT */
    char version[DRIVER_STATE_VERSION_BYTES]; /* "major.minor.build", zero-terminated; empty when unknown */
    uint8_t valid;                            /* 1 */
    uint8_t reserved[3];                      /* 0 */
} DriverStateReport;

/* The callback's result is ignored. */
typedef uint32_t (*DriverStateCallback)(const DriverStateReport* report, void* context);

/* Carries out `count` records in array order. A record that answers DS_FAILED_BATCH_ABORTED ends the batch
 * with that code; any other answer lets it go on. Returns the last record's code. A count of 0, or a null
 * array, answers DS_FAILED_BATCH_ABORTED and touches nothing. Last-error is unspecified afterwards. */
uint32_t Plugin_Interface_DriversDoAction(const DrvInfo* records, uint32_t count);

/* Reports state and version of the drivers by exactly one call of `callback` before it returns; `context` is
 * handed back unchanged. A null callback is not called. Always returns DS_SUCCESS, save when memory runs out:
 * DS_FAILED_BATCH_ABORTED, the callback then possibly not called. */
uint32_t Plugin_Interface_EnumerateDriversInfo(DriverStateCallback callback, void* context);

/* The identifier of the host module that owns this plug-in: 20005. */
uint32_t Plugin_Interface_GetHelperOwnerModuleID(void);

/* Stores the plug-in's DRIVERSTEWARD_VERSION_MAJOR, _MINOR and _BUILD into three 32-bit numbers. A null
 * pointer is accepted. */
void Plugin_Interface_GetModuleVersion(uint32_t* version);

typedef uint32_t (*DriversDoActionFunction)(const DrvInfo*, uint32_t);
typedef uint32_t (*EnumerateDriversInfoFunction)(DriverStateCallback, void*);
typedef uint32_t (*GetHelperOwnerModuleIDFunction)(void);
typedef void (*GetModuleVersionFunction)(uint32_t*);

#ifdef __cplusplus
}
#define DRIVERSTEWARD_ASSERT(condition) static_assert(condition, #condition)
#else
#define DRIVERSTEWARD_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* The layout is a binary interface: a compiler that packs otherwise must not build a host. */
DRIVERSTEWARD_ASSERT(sizeof(wchar_t) == 2);
DRIVERSTEWARD_ASSERT(sizeof(DrvInfo) == 2060);
DRIVERSTEWARD_ASSERT(offsetof(DrvInfo, path) == 4);
DRIVERSTEWARD_ASSERT(offsetof(DrvInfo, action) == 2052);
DRIVERSTEWARD_ASSERT(offsetof(DrvInfo, compare_state) == 2056);
DRIVERSTEWARD_ASSERT(sizeof(DriverStateReport) == 112);
DRIVERSTEWARD_ASSERT(offsetof(DriverStateReport, version) == 8);
DRIVERSTEWARD_ASSERT(offsetof(DriverStateReport, valid) == 108);

#endif
