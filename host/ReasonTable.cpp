#include "ReasonTable.h"

namespace steward::host {

namespace {

constexpr KnownReason kTable[] = {
    // The dispatcher
    {"Driver file not signed! path=", "driver-not-signed",
     "%s is not signed, and the platform's configuration asks for signed drivers; take the package as its "
     "maker "
     "signed it, or install its catalog",
     true, CountsFrom::AnyLevel},
    {"Unexpected compare_state received!!", "compare-state-rejected",
     "the compare state is one that is rejected; 2 asks for the ordinary update, 1 for the rollback", true,
     CountsFrom::AnyLevel},
    // Signatures
    {"Unsigned file! file=", "signature-invalid", "%s has no valid embedded signature%e", true,
     CountsFrom::Level5, ",", "lStatus="},
    {"PreIncludeQXFile CreateFile fail!", "file-not-readable",
     "a driver file of the package cannot be read%e; see that all three are there", true, CountsFrom::Level5,
     "\r", "!"},
    // Stopping
    {"driver instance(s) found", "clients-running",
     "programs that use qxcomm are running; end them, then run the action again"},
    {"driver instance found, cannot stop qxcomm", "clients-running",
     "programs that use qxcomm are running; end them, then run the action again"},
    {"ControlService SERVICE_CONTROL_STOP timed out!", "stop-timed-out",
     "a driver did not stop within 30 seconds; restart the machine, then run the action again"},
    {"ControlService SERVICE_CONTROL_STOP failed, err=", "stop-refused", "a driver refuses to stop%e"},
    {"Fail to stop service, ", "driver-not-stopped", "%s does not stop"},
    {"fail to stop original driver ", "driver-not-stopped", "%s does not stop"},
    // Starting
    {"function:StartService Error =", "start-refused", "Windows does not start a driver%e"},
    {"WaitForServiceState(SERVICE_RUNNING) timeout!", "start-timed-out",
     "a driver did not start within 30 seconds", true, CountsFrom::AnyLevel},
    {"Fail to start new driver.", "driver-not-started", "%s does not start"},
    {"fail to start [", "driver-not-started", "%s does not start%e", true, CountsFrom::Level5, "]"},
    // The service control manager
    {"OpenSCManager failed", "service-manager-closed",
     "the service control manager does not answer%e; run as administrator"},
    {"OpenService failed", "service-not-open",
     "a driver's service cannot be opened%e; where it does not exist, see that the INF's section installs "
     "it"},
    {"fail to query driver[", "driver-missing",
     "%s is not installed, which ends a removal; install the package, then uninstall it", true,
     CountsFrom::AnyLevel, "]"},
    // INF files
    {"Incorrect driver INF filepath.", "inf-missing", "the package lacks an INF file, or it cannot be read"},
    {"Fail to install ", "inf-not-installed", "%s cannot be installed"},
    {"fail to install ", "inf-not-installed", "%s cannot be installed"},
    {"fail to uninstall [", "inf-not-uninstalled", "%s cannot be removed by its INF file", true,
     CountsFrom::Level5, "]"},
    // Files
    {"Copy file failed.", "copy-failed",
     "a file of the package cannot be copied%e; see that it is there, and that nobody holds the old one",
     true, CountsFrom::Level5, "\r", "."},
    {"Failed to rename old driver file from ", "rename-failed", "%s cannot be renamed%e", true,
     CountsFrom::Level5, " ", ":"},
    {"replace driver file failed.", "drivers-not-replaced", "the driver files are not all replaced"},
    {"copy and replace .cat file failed.", "catalogs-not-replaced", "the catalog files are not all replaced"},
    {"Failed to delete the file: ", "file-not-deleted", "%s cannot be deleted%e", true, CountsFrom::Level5,
     ",", ":"},
    {"Delete existing file fail, File: ", "file-not-deleted", "%s cannot be deleted%e", true,
     CountsFrom::Level5, ","},
    {"GetTempFileNameW() failed!", "no-temporary-name", "no temporary name is free in the drivers folder%e",
     false},
    // What no action fails for
    {"Fail to recovery Vigil driver registry, ", "device-node-not-repaired",
     "the device node of %s could not be repaired", false},
    {"Fail to delete Vigil related registry!", "device-node-not-repaired",
     "a driver's device node could not be repaired", false},
    {"Fail to delete registry: key=", "registry-not-deleted", "the key %s could not be deleted", false},
    {"Failed to set service privilege ", "restriction-not-set",
     "the restriction of a driver's service could not be changed", false},
    {"GetNamedSecurityInfo error.", "restriction-not-set",
     "the restriction of a driver's service could not be read%e", false},
    {"Apply privilege to service obj failed.", "restriction-not-set",
     "the restriction of a driver's service could not be written%e", false},
    {"fail to open registry: ", "registry-not-open", "the key %s cannot be opened", false},
    {"fail to write registry ", "registry-not-written", "%s cannot be written to the registry", false},
    {"OrplDataCrypto error. ", "configuration-unreadable",
     "the platform's configuration cannot be decrypted: %s", false},
};

} // namespace

const std::span<const KnownReason> kKnownReasons = kTable;

} // namespace steward::host
