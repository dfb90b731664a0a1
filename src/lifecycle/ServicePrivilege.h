#pragma once

namespace steward {

// Restores (true) or lifts (false) the restriction on the three drivers' service objects. Failures are logged
// only.
void SetServicePrivilege(bool restore);

} // namespace steward
