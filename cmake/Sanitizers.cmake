# MICROSOFTAZURE_SANITIZE=address;undefined or thread builds the whole tree instrumented.
set(MICROSOFTAZURE_SANITIZE "" CACHE STRING "Sanitizers to build with (address;undefined, or thread)")
if(MICROSOFTAZURE_SANITIZE)
  string(REPLACE ";" "," _sanitizers "${MICROSOFTAZURE_SANITIZE}")
  add_compile_options(-fsanitize=${_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_sanitizers})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The instrumentation makes GCC 12 report maybe-uninitialized inside the standard library's
    # <regex> (kind_string, parsed_url, JSONPath), which no code of ours can silence. The plain
    # build keeps the warning, as an error with MICROSOFTAZURE_WERROR.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()

# MICROSOFTAZURE_FUZZ builds the libFuzzer targets of fuzz/ (clang only). Everything the targets
# link is instrumented for coverage and built with AddressSanitizer and UndefinedBehaviorSanitizer,
# so a finding anywhere under a target is reported, not only in the target's own file.
option(MICROSOFTAZURE_FUZZ "Build the libFuzzer targets in fuzz/ (needs clang)" OFF)
if(MICROSOFTAZURE_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "MICROSOFTAZURE_FUZZ needs clang (e.g. -DCMAKE_CXX_COMPILER=clang++-14 "
                        "-DCMAKE_C_COMPILER=clang-14), not ${CMAKE_CXX_COMPILER_ID}")
  endif()
  if(MICROSOFTAZURE_SANITIZE)
    message(FATAL_ERROR "MICROSOFTAZURE_FUZZ brings its own sanitizers; leave MICROSOFTAZURE_SANITIZE empty")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()
