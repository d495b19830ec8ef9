#include "supervisor/ThermalControl.h"

#include "identity/Device.h"
#include "logging/Text.h"
#include "supervisor/FanRegister.h"

namespace
{
constexpr auto offsetFile = "/sys/bus/iio/devices/iio:device0/in_temp0_offset";
constexpr auto rawFile = "/sys/bus/iio/devices/iio:device0/in_temp0_raw";
constexpr auto scaleFile = "/sys/bus/iio/devices/iio:device0/in_temp0_scale";
constexpr float millidegreesPerDegree = 1000.0f;

// A missing sensor counts as a hot processor. With the default limits this gives full speed.
constexpr float temperatureWithoutSensor = 80.0f; // degrees Celsius

constexpr auto coreTemperatureText = "Core Temperature: ";
constexpr double criticalTemperature = 85.0; // degrees Celsius; fixed, so that no setting can hide a hot processor
constexpr double errorTemperature = 90.0;
}

float getCoreTemperature()
{
    if (! thisUnitHasFan())
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

void thermalStep (FanCurve& curve)
{
    const auto temperature = getCoreTemperature();
    setFanSpeed (curve.nextSpeed (temperature), fanAddress, fanPWMResolution);

    // "ERROR" marks the hotter temperature, because the log ranks it above "CRITICAL" and drops it last.
    if (static_cast<double> (temperature) > errorTemperature)
        juce::Logger::writeToLog ("ERROR: " + (coreTemperatureText + juce::String (temperature)));
    else if (static_cast<double> (temperature) > criticalTemperature)
        juce::Logger::writeToLog ("CRITICAL: " + (coreTemperatureText + juce::String (temperature)));
}
