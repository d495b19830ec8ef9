#pragma once

#include <juce_core/juce_core.h>

/** Appends the build banner, with the time of the build, directly to the log file, without a time stamp. If that fails,
    runs the unit's filesystem recovery and tries to append that it ran.
*/
void appendBuildBanner (const juce::File& logFile);
