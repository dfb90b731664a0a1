# How the product is compiled and linked; docs/hardening.md says why.
set(fetched build/third_party)
file(RELATIVE_PATH relative_source ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
file(RELATIVE_PATH relative_fetched ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR}/${fetched})
add_compile_options(
    -fstack-protector-strong
    # An import that is not declared as one would need the table of addresses patched at the start.
    -fno-auto-import
    # Symbols for crash dumps that say nothing of the machine they were made on: the same bytes from every folder,
    # whether a file is named by its full path or, as the compiler cache does, relative to the build folder.
    -g -gcodeview -gno-codeview-command-line
    -fdebug-compilation-dir=nowhere -fdebug-prefix-map=nowhere=
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}=driverSteward -ffile-prefix-map=${relative_source}=driverSteward/
    -ffile-prefix-map=${relative_fetched}=driverSteward/${fetched})
# The linker notes its arguments in the symbols, this variable's folders among them.
set(CMAKE_C_LINKER_LAUNCHER ${CMAKE_COMMAND} -E env --unset=LIBRARY_PATH)
set(CMAKE_CXX_LINKER_LAUNCHER ${CMAKE_C_LINKER_LAUNCHER})
add_link_options(
    # A hash in the place of the time: the same for the same bytes, and another for others, as symbol servers want it.
    -Wl,--Xlink=-Brepro
    -fno-auto-import -Wl,--disable-runtime-pseudo-reloc
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat
    # Windows XP x64 and Server 2003
    -Wl,--major-os-version,5 -Wl,--minor-os-version,2
    -Wl,--major-subsystem-version,5 -Wl,--minor-subsystem-version,2)

set(version_template ${CMAKE_CURRENT_LIST_DIR}/version.rc.in)
string(REPLACE "." "," VERSION_NUMBERS ${PROJECT_VERSION})

function(add_version_resource target FILE_DESCRIPTION)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL EXECUTABLE)
        set(FILE_TYPE VFT_APP)
        set(FILE_NAME ${target}.exe)
    else()
        set(FILE_TYPE VFT_DLL)
        set(FILE_NAME ${target}.dll)
    endif()
    set(INTERNAL_NAME ${target})
    set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}.version.rc)
    configure_file(${version_template} ${resource} @ONLY)
    target_sources(${target} PRIVATE ${resource})
endfunction()

# Makes a target one of the files that are shipped: with a version, symbols beside it, and looked over after the link.
# A further argument is the .def file of a library; the symbols keep the linker's arguments, so it gets no full path.
function(ship target description)
    add_version_resource(${target} ${description})
    foreach(exports IN LISTS ARGN)
        cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_BINARY_DIR} OUTPUT_VARIABLE here)
        target_link_options(${target} PRIVATE ${here}/${exports})
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${exports})
    endforeach()
    target_link_libraries(${target} PRIVATE steward_runtime)
    # An empty name puts the symbols beside the binary; the binary names them without a folder.
    target_link_options(${target} PRIVATE
        -s -Wl,--pdb= -Wl,--Xlink=-pdbaltpath:${target}.pdb -Wl,--Xlink=-pdbsourcepath:. -Wl,--Xlink=-release)
    set(check ${PROJECT_SOURCE_DIR}/cmake/check-binary)
    set(imports ${PROJECT_SOURCE_DIR}/cmake/imports/${target}.txt)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${check} ${imports})
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${check} --imports ${imports} --version ${PROJECT_VERSION} --root ${PROJECT_SOURCE_DIR}
                $<TARGET_FILE:${target}>
        VERBATIM)
endfunction()
