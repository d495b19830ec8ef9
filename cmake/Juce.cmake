# JUCE from Debian's juce-modules-source, its modules compiled once, as the one library that the daemon, the
# tests and the benchmarks link. No version is asked for: the package accepts only its exact one.
find_package(JUCE CONFIG REQUIRED)

add_library(juce STATIC)
target_link_libraries(juce PRIVATE juce::juce_core juce::juce_data_structures)
target_compile_definitions(juce
  PUBLIC
    JUCE_GLOBAL_MODULE_SETTINGS_INCLUDED=1
    JUCE_STANDALONE_APPLICATION=1
    JUCE_USE_CURL=0
    JUCE_WEB_BROWSER=0
  INTERFACE
    $<TARGET_PROPERTY:juce,COMPILE_DEFINITIONS>)
# SYSTEM: warnings in the framework's headers are not ours.
target_include_directories(juce SYSTEM INTERFACE $<TARGET_PROPERTY:juce,INCLUDE_DIRECTORIES>)
# -fwrapv: its conversions of text to numbers overflow, of "1e2147483648" or "-2147483648" in a settings file.
target_compile_options(juce PRIVATE -w -fwrapv)
set_target_properties(juce PROPERTIES CXX_CLANG_TIDY "")
orbis_shipped(juce)
