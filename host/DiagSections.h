// What diag shows beside the machine's view.
#pragma once

#include "Json.h"
#include "PackageView.h"

#include <string>
#include <vector>

namespace steward::host {

// The values of each driver's service key.
tools::Json RegisteredServices();

// Path, size, version and hash of each file that is there.
tools::Json FilesByHash(const std::vector<std::wstring>& paths);

tools::Json MovesAtRestartAsJson();

// Values of password-type keys as stars.
tools::Json ConfigurationAsJson();

// The newest log of an action, or that of TRACESINK_FILE.
tools::Json LastLogLines();

} // namespace steward::host
