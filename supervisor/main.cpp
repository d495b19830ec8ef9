#include <juce_data_structures/juce_data_structures.h>

#include "identity/Device.h"
#include "identity/OrbisUtils.h"
#include "logging/TimedFileLogger.h"
#include "supervisor/BuildBanner.h"
#include "supervisor/FanRegister.h"
#include "supervisor/MaintenanceMode.h"
#include "supervisor/Settings.h"
#include "supervisor/SignalHandler.h"
#include "supervisor/SupervisionLoop.h"
#include "supervisor/Version.h"

namespace
{
constexpr auto logFilePath = "/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log";

/** Makes a logger the framework's current one, and removes it before the logger is destroyed. */
struct CurrentLogger
{
    explicit CurrentLogger (juce::Logger& logger) { juce::Logger::setCurrentLogger (&logger); }
    ~CurrentLogger() { juce::Logger::setCurrentLogger (nullptr); }
    CurrentLogger (const CurrentLogger&) = delete;
    CurrentLogger& operator= (const CurrentLogger&) = delete;
};

void logDevice (const Device& device)
{
    juce::Logger::writeToLog ("Device " + OrbisUtils::tesselTypeToString (device.type) + " Serial " +
                              device.serial + (device.withGui ? " with" : " without") + " GUI " + device.guiName);
}

void runFanAtFullSpeed (const FanRegister& fanRegister)
{
    useFanRegister (fanRegister);
    setFanSpeed (fullFanSpeed, fanAddress, fanPWMResolution);
}

void applyLogLevel (TimedFileLogger& logger, int level)
{
    logger.logMessage ("Loglevel set to " + juce::String (level)); // still under the start-up level
    logger.setLogLevel (level);
}
}

int main (int argc, char** argv)
{
    installSignalHandlers();

    const juce::File logFile (logFilePath);
    TimedFileLogger logger (logFile, juce::String (programName) + " " + programVersion,
                            TimedFileLogger::sizeLimit);
    appendBuildBanner (logFile); // before the first log line, because it marks where this start begins
    const CurrentLogger currentLogger (logger);

    const auto options = settingsOptions();
    const juce::PropertiesFile settings (readableSettings (settingsFile()), options);

    const auto device = identifyDevice();
    useFanRegister ({ defaultFanAddress, defaultFanPWMResolution }); // until the settings are read
    logDevice (device);

    // Before the other settings are read, so that nothing delays the fan of a hot unit.
    runFanAtFullSpeed (readFanRegister (settings));
    applyLogLevel (logger, readLogLevel (settings));
    const FanCurve fanCurve (readFanCurve (settings));

    return argc > 1 ? runMaintenance (argc, argv, device) : superviseForEver (device, fanCurve);
}
