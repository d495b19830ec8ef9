#pragma once

#include <juce_core/juce_core.h>

#include "supervisor/FanCurve.h"

/** The core temperature in degrees Celsius, from the kernel's industrial-I/O files: (raw + offset) * scale / 1000
    (Documentation/ABI/testing/sysfs-bus-iio: the scale is in millidegrees per count).
    80 if one of the files is missing. 0, without access to any file, on a product without a fan. A file that cannot be
    read or holds no number counts as 0.
*/
float getCoreTemperature();

/** The core temperature from the contents of the three files. Each counts with its leading number; any text is taken. */
float coreTemperature (const juce::String& offset, const juce::String& raw, const juce::String& scale);

/** One reading, one step of the curve, one register write, and the alarm line of a hot processor. An unchanged speed is
    written again, because the last write may have failed.
*/
void thermalStep (FanCurve& curve);
