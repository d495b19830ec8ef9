#pragma once

#include <juce_core/juce_core.h>

#include "supervisor/FanCurve.h"

/** The core temperature in degrees Celsius, from the kernel's industrial-I/O files: (raw + offset) * scale / 1000
    (Documentation/ABI/testing/sysfs-bus-iio: the scale is in millidegrees per count).
    80 if one of the files is missing. 0, without access to any file, on a product without a fan. A file that cannot be
    read or holds no number counts as 0.
*/
float getCoreTemperature();

/** The core temperature from the contents of the three files. Each text counts as its leading number, 0 without one. */
float coreTemperature (const juce::String& offset, const juce::String& raw, const juce::String& scale);

/** Reads the temperature, takes one step of the curve, writes the register and logs an alarm if the processor is hot.
    Writes an unchanged speed again, because the last write may have failed.
*/
void thermalStep (FanCurve& curve);
