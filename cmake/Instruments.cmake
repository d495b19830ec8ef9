# Sanitizers and line counters for test builds.
if(ORBIS_SANITIZE)
  add_compile_options(-fsanitize=${ORBIS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORBIS_SANITIZE})
  # GCC 12 warns that its own <regex> reads unset values when it is instrumented.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

if(ORBIS_COVERAGE)
  target_compile_options(orbis_options INTERFACE --coverage)
  target_link_options(orbis_options INTERFACE --coverage)
endif()
