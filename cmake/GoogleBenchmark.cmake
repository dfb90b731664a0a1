# Google Benchmark as a static library without this project's warnings. Its own build files ask git for a version.
set(benchmark_source ${PROJECT_SOURCE_DIR}/build/third_party/benchmark)
file(GLOB benchmark_files ${benchmark_source}/src/*.cc)
list(REMOVE_ITEM benchmark_files ${benchmark_source}/src/benchmark_main.cc)
add_library(benchmark STATIC EXCLUDE_FROM_ALL ${benchmark_files})
target_include_directories(benchmark SYSTEM PUBLIC ${benchmark_source}/include)
target_compile_definitions(benchmark PUBLIC BENCHMARK_STATIC_DEFINE PRIVATE HAVE_STD_REGEX HAVE_STEADY_CLOCK)
target_compile_options(benchmark PRIVATE -w -UUNICODE -U_UNICODE)
target_link_libraries(benchmark PRIVATE shlwapi)
