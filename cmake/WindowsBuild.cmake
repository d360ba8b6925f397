# What the Windows cross-build needs beside the toolchain file. Included by the top-level
# CMakeLists.txt when WIN32, in place of the host's packages (libcurl, OpenSSL, jsoncons' CMake
# package, GoogleTest), none of which exist for mingw.

# The emulator and the benchmarks stay on Linux; the Windows test suite is tests/windows, which
# reuses sources of the other test folders.
set(MICROSOFTAZURE_LAYERS "framework;json;rest;definition;settings;microsoftazure;module;host"
    CACHE STRING "Layers to build")
set(MICROSOFTAZURE_TEST_LAYERS "windows" CACHE STRING "Test folders to build; empty builds all")
set(MICROSOFTAZURE_BUILD_BENCHMARKS OFF CACHE BOOL "Build the benchmarks" FORCE)

# A probe loads MicrosoftAzure.dll and TikoHelper.dll with nothing else beside them: the C++
# runtime, libgcc and winpthreads are linked into each binary, so only Windows' own DLLs are
# imported. -static keeps the import libraries of the system DLLs and of TikoHelper.dll working.
add_link_options(-static -static-libgcc -static-libstdc++)
# Windows 8.1 or later: WinHTTP's automatic proxy and the certificate chain engine's exclusive
# roots.
add_compile_definitions(_WIN32_WINNT=0x0603 WINVER=0x0603 UNICODE _UNICODE)

# jsoncons and CLI11 (sensor-host.exe's command line) are header-only. Their folder /usr/include
# cannot be added as such (that would put the host's C library headers in front of mingw's), so
# their header trees are copied into the build tree and only that copy is added.
set(_header_copy ${CMAKE_BINARY_DIR}/third_party/include)
foreach(_tree jsoncons jsoncons_ext CLI)
  if(NOT EXISTS /usr/include/${_tree})
    message(FATAL_ERROR "/usr/include/${_tree} is missing: install libjsoncons-dev and libcli11-dev (scripts/install-deps.sh)")
  endif()
  file(COPY /usr/include/${_tree} DESTINATION ${_header_copy})
endforeach()
foreach(_library jsoncons CLI11::CLI11)
  add_library(${_library} INTERFACE IMPORTED GLOBAL)
  set_target_properties(${_library} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${_header_copy}
                                               INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${_header_copy})
endforeach()

# GoogleTest and GoogleMock built from Debian's sources with the cross compiler, without our
# warning flags (they are not our code).
if(MICROSOFTAZURE_BUILD_TESTS)
  set(_googletest_sources /usr/src/googletest)
  if(NOT EXISTS ${_googletest_sources}/CMakeLists.txt)
    message(FATAL_ERROR "${_googletest_sources} is missing: install googletest (scripts/install-windows-deps.sh)")
  endif()
  get_directory_property(_compile_options COMPILE_OPTIONS)
  set_directory_properties(PROPERTIES COMPILE_OPTIONS "")
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  add_subdirectory(${_googletest_sources} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  set_directory_properties(PROPERTIES COMPILE_OPTIONS "${_compile_options}")
  foreach(_library gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${_library})
      add_library(GTest::${_library} ALIAS ${_library})
    endif()
  endforeach()
endif()
