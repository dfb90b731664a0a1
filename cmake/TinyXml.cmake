# TinyXML in its non-STL mode, as a static library without this project's warnings.
set(tinyxml_source ${PROJECT_SOURCE_DIR}/build/third_party/tinyxml)
if(NOT EXISTS ${tinyxml_source}/tinyxml.cpp)
    message(FATAL_ERROR "TinyXML's source is missing from ${tinyxml_source}; run ./dev setup")
endif()

add_library(tinyxml STATIC
    ${tinyxml_source}/tinystr.cpp
    ${tinyxml_source}/tinyxml.cpp
    ${tinyxml_source}/tinyxmlerror.cpp
    ${tinyxml_source}/tinyxmlparser.cpp)
target_include_directories(tinyxml SYSTEM PUBLIC ${tinyxml_source})
target_compile_options(tinyxml PRIVATE -w)
# Malformed text trips its assertions; the parser goes on with an error where they are off.
# MinGW's own printf costs 66 KB; the system's does for numbers.
target_compile_definitions(tinyxml PRIVATE NDEBUG __USE_MINGW_ANSI_STDIO=0)
