# Leads to the packaged JUCE. Its version file refuses a target whose pointers are not as wide as the build machine's,
# though all that it finds is sources; this folder has none.
file(GLOB packaged /usr/lib/*/cmake/JUCE-*/JUCEConfig.cmake)
list(LENGTH packaged found)

if(NOT found EQUAL 1)
  message(FATAL_ERROR "One packaged JUCE is needed, not ${found}: install juce-modules-source and juce-tools.")
endif()

include(${packaged})
