#pragma once

namespace steward {

// Checks the link between a driver's service key and its legacy device node (Windows 7 and earlier) and
// deletes both ends when it is broken, so that the system rebuilds them. True when the entries are sound or
// the repair succeeded; false for a null or empty name.
bool RecoverVigilDriverRegistryIfNeeded(const wchar_t* name);

// The repair: deletes the service's Enum key and the legacy device key with all beneath them. True only when
// both deletions succeeded.
bool DeleteDrvEnumRegistry(const wchar_t* name);

} // namespace steward
