# TinyXPath, where there is one: TINYXPATH_ROOT or the default search paths. It must be built against TinyXML in
# its non-STL mode. Sets xpath_query_source, and makes the target tinyxpath when it is found.
set(TINYXPATH_ROOT "" CACHE PATH "Folder of a TinyXPath build; empty: the default search paths")
if(TINYXPATH_ROOT)
    set(tinyxpath_where PATHS ${TINYXPATH_ROOT} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
endif()
find_path(TINYXPATH_INCLUDE xpath_processor.h ${tinyxpath_where} PATH_SUFFIXES include tinyxpath include/tinyxpath)
find_library(TINYXPATH_LIBRARY tinyxpath ${tinyxpath_where} PATH_SUFFIXES lib)
mark_as_advanced(TINYXPATH_INCLUDE TINYXPATH_LIBRARY)

if(TINYXPATH_INCLUDE AND TINYXPATH_LIBRARY)
    add_library(tinyxpath STATIC IMPORTED GLOBAL)
    set_target_properties(tinyxpath PROPERTIES IMPORTED_LOCATION ${TINYXPATH_LIBRARY})
    target_include_directories(tinyxpath INTERFACE ${TINYXPATH_INCLUDE})
    target_link_libraries(tinyxpath INTERFACE tinyxml)
    set(xpath_query_source config/XPathQueryTinyXPath.cpp)
elseif(TINYXPATH_ROOT)
    message(FATAL_ERROR "TINYXPATH_ROOT is ${TINYXPATH_ROOT}, but xpath_processor.h and a tinyxpath library "
                        "are not there; correct it or leave it empty for the built-in evaluator")
else()
    set(xpath_query_source config/XPathQuery.cpp)
endif()
