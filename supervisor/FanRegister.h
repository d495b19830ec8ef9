#pragma once

#include <cstdint>

#include <juce_core/juce_core.h>

constexpr float fullFanSpeed = 1.0f;

/** Where the fan's PWM register is, and how far it counts. */
struct FanRegister
{
    juce::String address; ///< physical address, as text for devmem
    int resolution;       ///< full-scale count, never negative
};

/** The register of this unit: written once at start-up, read by every write after it, the signal handler's too. */
extern juce::String fanAddress;
extern int fanPWMResolution;

/** The content of the PWM register for `speed` (fraction of full speed) at a full scale of `resolution` counts: the
    duty count, with bits 31 and 30 as the enable. Every value is defined: a product outside 32 bits becomes the nearest
    bound, as the target's processor converts it. A speed that is not a number stops the fan.
*/
std::uint32_t fanRegisterValue (float speed, int resolution) noexcept;

/** Writes `speed` (fraction of full speed) to the PWM register at `address` with one devmem command. Reports the outcome
    only to the log. Does nothing on a product without a fan.
*/
void setFanSpeed (float speed, const juce::String& address, int resolution);

/** Call first in the signal handler. From then on setFanSpeed waits only for a register write that is in progress.
    Ten seconds later SIGALRM ends the process if it still runs.
*/
void prepareForSignalHandler() noexcept;
