#include "supervisor/FanRegister.h"

#include <csignal>
#include <limits>

#include "identity/Device.h"
#include "supervisor/RegisterWrite.h"
#include "supervisor/SettingsGuard.h"

juce::String fanAddress (defaultFanAddress);
int fanPWMResolution = defaultFanPWMResolution;

namespace
{
constexpr std::uint32_t pwmEnable = 0xc0000000; // bits 31 and 30 of the PWM register
constexpr double highestStoppedSpeed = 0.0001;  // fraction of full speed; at or below it the enable is off

constexpr auto writeCommand = "devmem ";
constexpr auto widthAndPrefix = " 32 0x"; // the register has 32 bits; the value is hexadecimal
constexpr auto adjustingText = "Adjusting fan speed to ";

// Static memory, because the heap may be damaged or empty when it is needed. A byte of the settings takes at most two bytes
// as UTF-8.
char fullSpeedCommand[2 * longestSettings];
volatile std::sig_atomic_t fullSpeedCommandIsComplete = 0;

std::uint32_t toCount (float value) noexcept
{
    constexpr float firstTooLarge = 4294967296.0f; // 2^32

    if (value >= firstTooLarge)
        return std::numeric_limits<std::uint32_t>::max();

    return value > 0.0f ? static_cast<std::uint32_t> (value) : 0; // not a number: 0
}

juce::String commandFor (float speed, const juce::String& address, int resolution)
{
    return writeCommand + address + widthAndPrefix +
           juce::String::toHexString (fanRegisterValue (speed, resolution));
}
}

std::uint32_t fanRegisterValue (float speed, int resolution) noexcept
{
    const auto count = toCount (static_cast<float> (resolution) * speed);
    return static_cast<double> (speed) > highestStoppedSpeed ? count | pwmEnable : count & ~pwmEnable;
}

void setFanSpeed (float speed, const juce::String& address, int resolution)
{
    if (! thisUnitHasFan())
        return;

    const auto command = commandFor (speed, address, resolution);
    const auto outcome = adjustingText + juce::String (speed);

    if (runRegisterWrite (command.toRawUTF8()) == 0)
        juce::Logger::writeToLog ("INFO: " + outcome + " " + command);
    else
        juce::Logger::writeToLog ("ERROR: " + outcome + " FAILED! " + command);
}

void useFanRegister (const FanRegister& fanRegister)
{
    fanAddress = fanRegister.address;
    fanPWMResolution = fanRegister.resolution;

    if (thisUnitHasFan())
    {
        const auto command = commandFor (fullFanSpeed, fanAddress, fanPWMResolution);
        fullSpeedCommandIsComplete = 0; // not earlier, because without memory the last command must stay
        command.copyToUTF8 (fullSpeedCommand, sizeof fullSpeedCommand);
        fullSpeedCommandIsComplete = 1;
    }
}

void forceFullFanSpeed() noexcept
{
    if (fullSpeedCommandIsComplete != 0)
        forceRegisterWrite (fullSpeedCommand);
}
