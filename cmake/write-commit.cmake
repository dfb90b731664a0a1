# Run at each build with -D source=<the tree> -D header=<output>: the header changes only when the commit did.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/Commit.cmake)
look_up_commit(${source})
file(CONFIGURE OUTPUT ${header} CONTENT "#define STEWARD_COMMIT \"@commit@\"\n" @ONLY)
