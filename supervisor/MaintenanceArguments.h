#pragma once

#include <juce_core/juce_core.h>

/** The words of the command line that name an action. */
namespace action
{
constexpr auto resetDsp = "RESETDSP";
constexpr auto muteDac = "MUTEDAC";
constexpr auto disconnectFpga = "DISCONNECTFPGA";
}

/** Returns the arguments without enclosing quotation marks. "RESETDSP" in capitals adds the two actions that it stands
    for. Accepts any bytes. Logs each argument as it was given.
*/
juce::StringArray readActions (int argc, char** argv);
