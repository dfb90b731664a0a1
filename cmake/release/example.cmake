# Builds the example host against this release:
#   cmake -S examples -B build -DCMAKE_PREFIX_PATH=<the release's folder>
cmake_minimum_required(VERSION 3.16)
project(exampleHost LANGUAGES C)
find_package(driverSteward REQUIRED CONFIG)
add_executable(exampleHost host.c)
set_target_properties(exampleHost PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
target_compile_definitions(exampleHost PRIVATE UNICODE _UNICODE)
target_link_libraries(exampleHost PRIVATE driverSteward::headers)
if(MINGW)
    target_link_options(exampleHost PRIVATE -municode -static)
endif()
