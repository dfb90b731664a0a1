#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

namespace steward::configtool {

// A security descriptor as CreateFileW takes it: self-relative bytes; empty for what the folder gives.
using SecurityDescriptor = std::vector<std::byte>;

// Full access for the user of this process, none for anybody else. Empty on failure; last-error says why.
SecurityDescriptor OwnerAlone();

// The access list of a file. Empty when there is no such file, or it does not show its list.
SecurityDescriptor AccessListOf(const wchar_t* path);

} // namespace steward::configtool
