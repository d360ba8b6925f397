# Cross-build for 64-bit Windows with Debian's mingw-w64 (g++-mingw-w64-x86-64-posix): the -posix
# compilers use winpthreads, so std::thread and std::mutex work. Used by `make windows`:
#   cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(_mingw x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${_mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${_mingw}-windres)

# Libraries and headers come only from the mingw tree: the host's /usr/include must never reach a
# Windows compile (its glibc headers break the build in confusing ways).
set(CMAKE_FIND_ROOT_PATH /usr/${_mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test executables run under Wine; CTest and gtest discovery put this in front of them.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run.sh)
