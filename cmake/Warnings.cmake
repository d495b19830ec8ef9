# orbis_options: how all our own code is compiled. JUCE's sources are not held to it.
option(ORBIS_WARNINGS_AS_ERRORS "Stop at the first warning in our own code, as CI does" OFF)
option(ORBIS_COVERAGE "Count which of our own lines run" OFF)
set(ORBIS_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize=")

add_library(orbis_options INTERFACE)
target_include_directories(orbis_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(orbis_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough)

if(ORBIS_WARNINGS_AS_ERRORS)
  target_compile_options(orbis_options INTERFACE -Werror)
endif()

if(ORBIS_COVERAGE)
  target_compile_options(orbis_options INTERFACE --coverage)
  target_link_options(orbis_options INTERFACE --coverage)
endif()

# Build paths stay out of the binary and its debug symbols, so that two builds of the same sources are the same.
# The fan curve must give the same bits on the PC and on the target: no fused multiply-add anywhere.
# Sections are collected at link time: the framework is far larger than what the daemon uses of it.
# To the linker as well: the daemon is compiled there once more.
set(without_paths -ffile-prefix-map=${PROJECT_BINARY_DIR}=. -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
add_compile_options(${without_paths})
add_link_options(${without_paths})
add_compile_options(-ffp-contract=off -ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections)

# A 32-bit program's clock would end in January 2038, and its log go on in 1901.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# Small before fast: a pass is spent in the shell's commands, and no pass is measurably slower for it (benchmarks/run).
set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")

option(ORBIS_STATIC_LIBSTDCXX "Link libstdc++ and libgcc into the daemon, for images that have none" OFF)

if(ORBIS_SANITIZE)
  # Instrumented, GCC 12's own <regex> looks to it as if it read what it has not written.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_compile_options(-fsanitize=${ORBIS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORBIS_SANITIZE})
endif()
