# Read by CPack before it packs: times in the archive are the commit's, in no time zone.
include(${CMAKE_CURRENT_LIST_DIR}/../Commit.cmake)
look_up_commit(${CPACK_RELEASE_SOURCE})
set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
set(ENV{STEWARD_COMMIT} ${commit})
set(ENV{TZ} UTC)
