#include "supervisor/SignalHandler.h"

#include <csignal>
#include <cstdlib>

#include <juce_core/juce_core.h>

#include "supervisor/FanRegister.h"

namespace
{
constexpr int hookedSignals[] = { SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV, SIGTERM };
}

void installSignalHandlers()
{
    for (const auto signum : hookedSignals)
        std::signal (signum, signalHandler);
}

// Makes ordinary calls on the interrupted thread, on purpose. After a crash no main loop is left that could make them
// later, and a fan at full speed is worth more than a handler that is safe in every library call.
void signalHandler (int signum)
{
    prepareForSignalHandler();
    juce::Logger::writeToLog ("Interrupt signal (" + juce::String (signum) + ") received.");
    setFanSpeed (fullFanSpeed, fanAddress, fanPWMResolution);
    juce::Logger::setCurrentLogger (nullptr);
    std::exit (signum);
}
