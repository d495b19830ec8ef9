#pragma once

#include <cstdint>

#include <juce_core/juce_core.h>

#include "supervisor/FanCurve.h"

/** The fan's PWM register, written once at start-up and read also by the signal handler. */
extern juce::String fanAddress;
extern int fanPWMResolution;

constexpr float fullFanSpeed = 1.0f;

/** Whether this unit is a product with a fan: of generation 2 or above. */
bool hasFan();

/** The core temperature in degrees Celsius, from the kernel's industrial-I/O files: (raw + offset) * scale / 1000
    (Documentation/ABI/testing/sysfs-bus-iio: the scale is in millidegrees per count).

    80 when one of the files is missing; 0, without touching a file, on products below generation 2. A file that
    cannot be read or holds no number counts as 0.
*/
float getCoreTemperature();

/** The same from the contents of the three files. Each counts with its leading number; any text is taken. */
float coreTemperature (const juce::String& offset, const juce::String& raw, const juce::String& scale);

/** What the PWM register must hold for `speed` (fraction of full speed) at a full scale of `resolution` counts:
    the duty count, with bits 31 and 30 as the enable. Defined for every value: a product outside 32 bits takes the
    nearest bound, as the target's processor converts it, and a speed that is not a number is a stopped fan.
*/
std::uint32_t fanRegisterValue (float speed, int resolution) noexcept;

/** Writes `speed` (fraction of full speed) to the PWM register at `address` with one devmem command, and reports
    the outcome only through the log. Does nothing on products below generation 2.
*/
void setFanSpeed (float speed, const juce::String& address, int resolution);

/** Makes setFanSpeed usable from a signal handler, for the rest of the process: nothing that the interrupted code holds
    is waited for but a register write that is under way. Ten seconds later SIGALRM ends the process if it still runs.
*/
void prepareForSignalHandler() noexcept;

/** One reading, one step of the curve, one register write (also of an unchanged speed: a write that failed is
    thereby repeated), and the alarm line of a hot processor.
*/
void thermalStep (FanCurve& curve);
