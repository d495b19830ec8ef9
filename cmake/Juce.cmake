# JUCE from Debian's juce-modules-source. Its modules are compiled once, into one library for the daemon, the tests
# and the benchmarks. No version is requested, because the package accepts only its exact one.
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
# SYSTEM hides warnings of the framework's headers.
target_include_directories(juce SYSTEM INTERFACE $<TARGET_PROPERTY:juce,INCLUDE_DIRECTORIES>)
# -fwrapv, because JUCE's conversion of text to numbers overflows for "1e2147483648" or "-2147483648" in a settings file.
target_compile_options(juce PRIVATE -w -fwrapv)
set_target_properties(juce PROPERTIES CXX_CLANG_TIDY "")
orbis_optimised_as_one(juce)
orbis_hardened(juce)
