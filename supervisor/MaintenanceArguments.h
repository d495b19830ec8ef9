#pragma once

#include <juce_core/juce_core.h>

/** The words of the command line that name an action. */
namespace action
{
constexpr auto resetDsp = "RESETDSP";
constexpr auto muteDac = "MUTEDAC";
constexpr auto disconnectFpga = "DISCONNECTFPGA";
}

/** The command line's arguments, without quotation marks around them, and the two actions that "RESETDSP" stands for.
    Accepts any bytes. Logs each argument as it was given.
*/
juce::StringArray readActions (int argc, char** argv);
