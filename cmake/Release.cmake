# What a release holds, and how CPack makes the archive of it (`cpack --config build/product/CPackConfig.cmake`, which
# ./dev release calls). docs/release.md describes it.
include(CMakePackageConfigHelpers)
find_program(LLVM_LIB llvm-lib-19 REQUIRED)
mark_as_advanced(LLVM_LIB)
set(release_files ${PROJECT_SOURCE_DIR}/cmake/release)

# Programs, and apart from them what is only for machines without the platform.
install(TARGETS driverSteward RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(TARGETS stewardHost stewardConfig RUNTIME DESTINATION bin)
install(PROGRAMS $<TARGET_FILE:traceSink> $<TARGET_FILE:setupKit> DESTINATION bin/standins)
foreach(target driverSteward stewardHost stewardConfig traceSink setupKit)
    install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.pdb DESTINATION symbols)
endforeach()

# For the developers of a host: header, import libraries, CMake package, example.
set(msvc_library ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/driverSteward.lib)
set(exports ${PROJECT_SOURCE_DIR}/src/plugin/driverSteward.def)
add_custom_command(OUTPUT ${msvc_library}
    COMMAND ${LLVM_LIB} /nologo /machine:x64 /def:${exports} /out:${msvc_library}
    DEPENDS ${exports} VERBATIM)
add_custom_target(import_library_for_msvc ALL DEPENDS ${msvc_library})
install(FILES ${PROJECT_SOURCE_DIR}/include/driverSteward.h DESTINATION include)
install(FILES ${msvc_library} DESTINATION lib)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/driverStewardConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${release_files}/driverStewardConfig.cmake ${CMAKE_BINARY_DIR}/driverStewardConfigVersion.cmake
    DESTINATION lib/cmake/driverSteward)
install(FILES ${PROJECT_SOURCE_DIR}/examples/host.c DESTINATION examples)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/rollout DESTINATION examples
    PATTERN .gitignore EXCLUDE PATTERN results.jsonl EXCLUDE)
install(FILES ${release_files}/example.cmake DESTINATION examples RENAME CMakeLists.txt)

# Documents. Licences of what is linked statically: as Debian has them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/THIRD_PARTY.md
    DESTINATION .)
function(install_licence name file)
    file(REAL_PATH ${file} file)
    install(FILES ${file} DESTINATION licences RENAME ${name}.txt)
endfunction()
install_licence(TinyXML ${PROJECT_SOURCE_DIR}/${fetched}/tinyxml/debian/copyright)
install_licence(nlohmann-json /usr/share/doc/nlohmann-json3-dev/copyright)
install_licence(GCC-runtime-libraries /usr/share/doc/g++-mingw-w64-x86-64-win32/copyright)
install_licence(GPL-3 /usr/share/common-licenses/GPL-3)
install_licence(MinGW-w64 /usr/share/doc/mingw-w64-x86-64-dev/copyright)

set(CPACK_GENERATOR ZIP)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME driverSteward)
set(CPACK_PACKAGE_VENDOR driverSteward)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME driverSteward-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/release)
# Whoever packs, and with whatever file creation mask.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_RELEASE_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_PROJECT_CONFIG_FILE ${release_files}/Configure.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${release_files}/Complete.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${release_files}/Sums.cmake)
include(CPack)
