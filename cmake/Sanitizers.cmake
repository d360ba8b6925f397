# MICROSOFTAZURE_SANITIZE=address;undefined or thread builds the whole tree instrumented.
set(MICROSOFTAZURE_SANITIZE "" CACHE STRING "Sanitizers to build with (address;undefined, or thread)")
if(MICROSOFTAZURE_SANITIZE)
  string(REPLACE ";" "," _sanitizers "${MICROSOFTAZURE_SANITIZE}")
  add_compile_options(-fsanitize=${_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_sanitizers})
endif()
