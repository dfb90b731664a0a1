# Debian's nlohmann-json, headers alone. Linked into the build folder: the system's own include folder would put
# Linux's headers before those of Windows.
find_path(nlohmann_json_folder nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH)
if(NOT nlohmann_json_folder)
    message(FATAL_ERROR "nlohmann-json's headers are missing; run ./dev setup")
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include)
file(CREATE_LINK ${nlohmann_json_folder}/nlohmann ${CMAKE_BINARY_DIR}/include/nlohmann SYMBOLIC)

add_library(nlohmann_json INTERFACE)
target_include_directories(nlohmann_json SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/include)
# The compiler cache names the folder relative to the build folder; symbols name it as seen from the tree.
cmake_path(RELATIVE_PATH CMAKE_BINARY_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE build_folder)
target_compile_options(nlohmann_json INTERFACE
    -ffile-prefix-map=include/nlohmann=driverSteward/${build_folder}/include/nlohmann)
