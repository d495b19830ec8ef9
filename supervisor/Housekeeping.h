#pragma once

#include <juce_core/juce_core.h>

/** Deletes everything named "*_temp*" in the application's data tree. */
void deleteTemporaryFiles();

/** Runs the unit's filesystem recovery. Then appends to `logFile` that it ran, even if it failed. */
void recoverFilesystem (const juce::File& logFile);
