#pragma once

#include <juce_core/juce_core.h>

/** Removes everything named "*_temp*" below the application's data tree. */
void deleteTemporaryFiles();

/** Runs the unit's filesystem recovery, then appends to `logFile` that it ran, whatever its outcome. */
void recoverFilesystem (const juce::File& logFile);
