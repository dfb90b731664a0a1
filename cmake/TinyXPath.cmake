# TinyXPath, where there is one: TINYXPATH_ROOT or the default search paths. It must be built against TinyXML in
# its non-STL mode. Sets xpath_query_source, and makes the target tinyxpath when it is found.
set(TINYXPATH_ROOT "" CACHE PATH "Folder of a TinyXPath build; empty: the default search paths")
find_path(TINYXPATH_INCLUDE xpath_processor.h HINTS ${TINYXPATH_ROOT} ${TINYXPATH_ROOT}/include
    PATH_SUFFIXES tinyxpath)
find_library(TINYXPATH_LIBRARY tinyxpath HINTS ${TINYXPATH_ROOT} ${TINYXPATH_ROOT}/lib)
mark_as_advanced(TINYXPATH_INCLUDE TINYXPATH_LIBRARY)

if(TINYXPATH_INCLUDE AND TINYXPATH_LIBRARY)
    add_library(tinyxpath STATIC IMPORTED)
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
