#pragma once

#include <cstdint>

#include <juce_core/juce_core.h>

#include "supervisor/FanCurve.h"

/** Address and range of the fan's PWM register. */
struct FanRegister
{
    juce::String address; ///< physical address, as text for devmem
    int resolution;       ///< full-scale count, never negative
};

/** This unit's register. Set once at start-up. Every later write uses it, even the signal handler's. */
extern juce::String fanAddress;
extern int fanPWMResolution;

/** The content of the PWM register for `speed` (fraction of full speed) at a full scale of `resolution` counts: the
    duty count, with bits 31 and 30 as the enable. A product outside 32 bits becomes the nearest bound, because the
    target's processor converts it like that. A speed that is not a number stops the fan.
*/
std::uint32_t fanRegisterValue (float speed, int resolution) noexcept;

/** Writes `speed` (fraction of full speed) to the PWM register at `address` with one devmem command. Reports the
    outcome only to the log. Does nothing on a product without a fan.
*/
void setFanSpeed (float speed, const juce::String& address, int resolution);

/** Call first in the signal handler. From then on setFanSpeed waits only for a register write that is in progress.
    Ten seconds later SIGALRM ends the process if it still runs.
*/
void prepareForSignalHandler() noexcept;
