# find_package(driverSteward CONFIG) makes the targets
#   driverSteward::headers         driverSteward.h alone, for hosts that load the plug-in at run time
#   driverSteward::driverSteward   the DLL, with the import library for the compiler in use
if(TARGET driverSteward::headers)
    return()
endif()
get_filename_component(driverSteward_root ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)

add_library(driverSteward::headers INTERFACE IMPORTED)
set_target_properties(driverSteward::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${driverSteward_root}/include)

add_library(driverSteward::driverSteward SHARED IMPORTED)
set_target_properties(driverSteward::driverSteward PROPERTIES
    INTERFACE_LINK_LIBRARIES driverSteward::headers
    IMPORTED_LOCATION ${driverSteward_root}/bin/driverSteward.dll
    IMPORTED_IMPLIB ${driverSteward_root}/lib/libdriverSteward.dll.a)
if(MSVC)
    set_target_properties(driverSteward::driverSteward PROPERTIES
        IMPORTED_IMPLIB ${driverSteward_root}/lib/driverSteward.lib)
endif()
