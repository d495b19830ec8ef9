# orbis_options: the compile options of our own code, not of JUCE's sources.
add_library(orbis_options INTERFACE)
target_include_directories(orbis_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(orbis_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough
  $<$<BOOL:${ORBIS_WARNINGS_AS_ERRORS}>:-Werror>)
