#pragma once

#include <juce_core/juce_core.h>

/** The local time at which this binary was built, to the second; from SOURCE_DATE_EPOCH (in UTC) if the build set it. */
juce::Time buildTime();

/** Appends the build banner straight to the log file, past every filter: it marks where this start begins.
    If that fails, runs the unit's filesystem recovery and tries to append that it ran.
*/
void appendBuildBanner (const juce::File& logFile);
