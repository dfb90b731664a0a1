# ccache, where it is installed. Copies of the tree share their objects: paths below the tree are looked at relative
# to the build folder.
find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_CURRENT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()
