# Builds the preset `product`, which is configured first where it never was. Run in the tree's top folder.
if(NOT EXISTS build/product/build.ninja)
    execute_process(COMMAND ${CMAKE_COMMAND} --preset product COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build --preset product COMMAND_ERROR_IS_FATAL ANY)
