#pragma once

#include <cstdint>

namespace steward {

struct FileVersion {
    uint32_t major;
    uint32_t minor;
    uint32_t build; // the fourth part of a four-part version; the third is never reported
};

// Reads the version resource of `path`. False, `version` unchanged, when there is none.
bool QueryFileVersion(const wchar_t* path, FileVersion& version);

} // namespace steward
