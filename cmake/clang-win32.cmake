# The product's tool chain: clang 19 and lld 19 with MinGW-w64's headers and GCC's C++ library of the win32 thread
# model, which brings no thread library along. GCC itself is asked where its folders are: they are named otherwise on
# each Debian release.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

execute_process(COMMAND x86_64-w64-mingw32-g++-win32 -print-libgcc-file-name
    OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc)
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${gcc}/include/c++ -isystem ${gcc}/include/c++/x86_64-w64-mingw32 -isystem ${gcc}/include/c++/backward")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -L${gcc}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld -L${gcc}")
