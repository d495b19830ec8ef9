#include "supervisor/MaintenanceArguments.h"

#include <cstring>

#include "logging/Text.h"

namespace
{
constexpr auto argumentsText = "2 arguments!"; // for any number, on purpose: log readers look for this line

/** Takes bytes that are not UTF-8 as Latin-1. */
juce::String toText (const char* bytes)
{
    const auto length = static_cast<int> (std::strlen (bytes));
    return isUtf8 (bytes, length) ? juce::String::fromUTF8 (bytes, length) : juce::String (bytes);
}
}

juce::StringArray readActions (int argc, char** argv)
{
    juce::StringArray actions;
    juce::Logger::writeToLog (argumentsText);

    for (int i = 1; i < argc; ++i)
    {
        const auto argument = toText (argv[i]);
        actions.add (argument.unquoted());
        juce::Logger::writeToLog (argument);
    }

    // "RESETDSP" is a removed command. In capitals it stands for these two actions, in small letters it only logs a line
    // at the end. Both on purpose.
    if (actions.contains (action::resetDsp))
        actions.addArray ({ action::muteDac, action::disconnectFpga });

    return actions;
}
