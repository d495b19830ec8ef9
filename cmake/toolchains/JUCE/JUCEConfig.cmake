# Includes the packaged JUCE without its version file. That file refuses a target whose pointer size differs from the
# build machine's, although JUCE is only sources.
file(GLOB packaged /usr/lib/*/cmake/JUCE-*/JUCEConfig.cmake)
list(LENGTH packaged found)

if(NOT found EQUAL 1)
  message(FATAL_ERROR "One packaged JUCE is needed, not ${found}: install juce-modules-source and juce-tools.")
endif()

include(${packaged})
