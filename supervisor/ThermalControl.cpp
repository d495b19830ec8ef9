#include "supervisor/ThermalControl.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "identity/OrbisUtils.h"
#include "logging/Text.h"

juce::String fanAddress;
int fanPWMResolution = 0;

namespace
{
constexpr auto offsetFile = "/sys/bus/iio/devices/iio:device0/in_temp0_offset";
constexpr auto rawFile = "/sys/bus/iio/devices/iio:device0/in_temp0_raw";
constexpr auto scaleFile = "/sys/bus/iio/devices/iio:device0/in_temp0_scale";
constexpr float millidegreesPerDegree = 1000.0f;

// A missing sensor is treated as a hot processor: with the default limits this is full speed.
constexpr float temperatureWithoutSensor = 80.0f; // degrees Celsius

constexpr std::uint32_t pwmEnable = 0xc0000000; // bits 31 and 30 of the PWM register
constexpr double highestStoppedSpeed = 0.0001;  // fraction of full speed; at or below it the enable is off

constexpr auto adjustingText = "Adjusting fan speed to ";
constexpr auto coreTemperatureText = "Core Temperature: ";
constexpr double criticalTemperature = 85.0; // degrees Celsius; fixed, so that no setting can hide a hot processor
constexpr double errorTemperature = 90.0;

constexpr int generationWithFan = 2;

// The handler's ordinary calls may wait for a lock that the interrupted code holds, as that of the first load of the
// serial number. Then SIGALRM ends the daemon, for whoever restarts it: it must not hang with neither fan nor guard.
constexpr unsigned longestSignalHandling = 10; // seconds

volatile std::sig_atomic_t registerWriteRunning = 0;
volatile std::sig_atomic_t inSignalHandler = 0;

/** What system() does, without the lock that the C library holds while it starts a command: a signal handler that has
    interrupted it there would wait for that lock for ever, and the fan would stay as it is.
*/
int runWithoutLock (const char* command)
{
    const char* const arguments[] = { "sh", "-c", command, nullptr };
    pid_t shell = 0;
    int status = -1;

    if (::posix_spawn (&shell, "/bin/sh", nullptr, nullptr, const_cast<char**> (arguments), environ) == 0)
        while (::waitpid (shell, &status, 0) == -1 && errno == EINTR)
            ;

    return status;
}

/** Runs the one command that writes the register. The signal handler may get here in the middle of such a command:
    it then lets that one end first, or a speed from before the signal could be the last one written.
*/
int writeRegister (const juce::String& command)
{
    if (inSignalHandler != 0)
    {
        if (registerWriteRunning != 0)
            while (::waitpid (-1, nullptr, 0) == -1 && errno == EINTR) // the command's shell is the only child
                ;

        return runWithoutLock (command.toRawUTF8());
    }

    registerWriteRunning = 1;
    const auto result = std::system (command.toRawUTF8());
    registerWriteRunning = 0;
    return result;
}

std::uint32_t toCount (float value) noexcept
{
    constexpr float firstTooLarge = 4294967296.0f; // 2^32

    if (value >= firstTooLarge)
        return std::numeric_limits<std::uint32_t>::max();

    return value > 0.0f ? static_cast<std::uint32_t> (value) : 0; // not a number: 0
}
}

bool hasFan()
{
    return OrbisUtils::getProductGeneration (OrbisUtils::getTesselType ("")) >= generationWithFan;
}

void prepareForSignalHandler() noexcept
{
    inSignalHandler = 1;
    ::alarm (longestSignalHandling);
}

float getCoreTemperature()
{
    if (! hasFan())
        return 0.0f;

    const juce::File offset (offsetFile), raw (rawFile), scale (scaleFile);

    if (! (offset.existsAsFile() && raw.existsAsFile() && scale.existsAsFile()))
        return temperatureWithoutSensor;

    const auto offsetText = textIn (offset);
    const auto rawText = textIn (raw);
    return coreTemperature (offsetText, rawText, textIn (scale));
}

float coreTemperature (const juce::String& offset, const juce::String& raw, const juce::String& scale)
{
    return (raw.getFloatValue() + offset.getFloatValue()) * (scale.getFloatValue() / millidegreesPerDegree);
}

std::uint32_t fanRegisterValue (float speed, int resolution) noexcept
{
    const auto count = toCount (static_cast<float> (resolution) * speed);
    return static_cast<double> (speed) > highestStoppedSpeed ? count | pwmEnable : count & ~pwmEnable;
}

void setFanSpeed (float speed, const juce::String& address, int resolution)
{
    if (! hasFan())
        return;

    const auto command =
        "devmem " + address + " 32 0x" + juce::String::toHexString (fanRegisterValue (speed, resolution));
    const auto outcome = adjustingText + juce::String (speed);

    if (writeRegister (command) == 0)
        juce::Logger::writeToLog ("INFO: " + outcome + " " + command);
    else
        juce::Logger::writeToLog ("ERROR: " + outcome + " FAILED! " + command);
}

void thermalStep (FanCurve& curve)
{
    const auto temperature = getCoreTemperature();
    setFanSpeed (curve.nextSpeed (temperature), fanAddress, fanPWMResolution);

    // The hotter line carries "ERROR", which the log ranks above "CRITICAL" and so drops last.
    if (static_cast<double> (temperature) > errorTemperature)
        juce::Logger::writeToLog ("ERROR: " + (coreTemperatureText + juce::String (temperature)));
    else if (static_cast<double> (temperature) > criticalTemperature)
        juce::Logger::writeToLog ("CRITICAL: " + (coreTemperatureText + juce::String (temperature)));
}
