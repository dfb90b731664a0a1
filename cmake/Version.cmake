# The version stands in the public header; everything else has it from there.
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../include/driverSteward.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
file(STRINGS ${version_header} version_lines REGEX "^#define DRIVERSTEWARD_VERSION_[A-Z]+ [0-9]+$")
list(TRANSFORM version_lines REPLACE "^.* " "")
list(JOIN version_lines "." header_version)
if(NOT header_version MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+$")
    message(FATAL_ERROR "${version_header} must define DRIVERSTEWARD_VERSION_MAJOR, _MINOR, _PATCH and _BUILD, "
                        "in this order and as plain numbers; found '${header_version}'")
endif()
