#pragma once

// Internal to the maintenance mode, and for its fuzzer.

#include <juce_core/juce_core.h>

/** The actions that the command line names, without the quotation marks around them. Accepts any bytes. Logs each
    argument as it was given.
*/
juce::StringArray readActions (int argc, char** argv);
