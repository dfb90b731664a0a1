#include "Commit.h"

#include "commitText.h" // made at each build, see cmake/write-commit.cmake

namespace steward::tools {

const char* const kCommit = STEWARD_COMMIT;

} // namespace steward::tools
