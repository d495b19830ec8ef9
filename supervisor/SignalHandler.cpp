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

// Runs on the interrupted thread with ordinary calls, on purpose: a daemon that has crashed has no main loop left
// to defer to, and a fan at full speed is worth more than a handler that is safe in every library call.
void signalHandler (int signum)
{
    prepareForSignalHandler();
    juce::Logger::writeToLog ("Interrupt signal (" + juce::String (signum) + ") received.");
    setFanSpeed (fullFanSpeed, fanAddress, fanPWMResolution);
    juce::Logger::setCurrentLogger (nullptr);
    std::exit (signum);
}
