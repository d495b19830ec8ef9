#pragma once

#include <juce_core/juce_core.h>

/** The local time of this binary's build, to the second. If the build set SOURCE_DATE_EPOCH, that time in UTC. */
juce::Time buildTime();

/** Appends the build banner directly to the log file, without filters, because it marks where this start begins.
    If that fails, runs the unit's filesystem recovery and tries to append that it ran.
*/
void appendBuildBanner (const juce::File& logFile);
