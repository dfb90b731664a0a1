// What lies in a package folder.
#pragma once

#include "plugin/DriverTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace steward::tools {

struct SignatureView {
    enum class Kind { None, Embedded, Catalog };

    Kind kind = Kind::None;
    std::string signer; // may be empty although there is a signature
};

// As the plug-in judges it.
SignatureView SignatureOf(const std::wstring& path);

struct PackageFile {
    std::wstring path;
    bool exists = false;
    uint64_t bytes = 0;
};

struct PackageDriver {
    std::string name;
    PackageFile inf;
    PackageFile sys;
    PackageFile cat;
    std::string infProblem; // why setup cannot read the INF; empty when it can, or when there is none
    std::string section;    // that an installation runs on this machine
    bool hasSection = false;
    bool hasUninstallSection = false;
    std::string sysProblem; // why the .sys file is no driver; empty for a 64-bit native image
    std::string version;    // of the .sys file; empty without one
    SignatureView signature;
};

struct PackageView {
    std::wstring folder; // as the plug-in makes it of the path: normalised, with a trailing backslash
    bool exists = false;
    std::vector<PackageDriver> drivers; // in table order
};

// `folder` as a full path of at most 1023 characters.
PackageView LookIntoPackage(const std::wstring& folder);

} // namespace steward::tools
