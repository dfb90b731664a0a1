# The product, for the tests: built as it is shipped by its own preset, and copied beside the test programs.
set(product_folder ${PROJECT_SOURCE_DIR}/build/product)
set(product_binaries driverSteward.dll traceSink.dll setupKit.dll stewardHost.exe stewardConfig.exe)
list(TRANSFORM product_binaries PREPEND ${product_folder}/bin/ OUTPUT_VARIABLE product_files)

add_custom_target(product ALL
    COMMAND ${CMAKE_COMMAND} -P ${CMAKE_CURRENT_LIST_DIR}/build-product.cmake
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${product_files} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    BYPRODUCTS ${product_folder}/lib/libtraceSink.dll.a ${product_folder}/lib/libsetupKit.dll.a
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

foreach(name traceSink setupKit)
    add_library(${name} SHARED IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_IMPLIB ${product_folder}/lib/lib${name}.dll.a)
    add_dependencies(${name} product)
endforeach()

# Paths in messages are as seen from the top folder.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
