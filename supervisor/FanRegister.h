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

constexpr auto defaultFanAddress = "0x42010000";
constexpr int defaultFanPWMResolution = 4095;

/** This unit's register. The defaults until useFanRegister() sets it, so that a signal during start-up leaves the fan at full
    speed. Every later write uses it, even the signal handler's.
*/
extern juce::String fanAddress;
extern int fanPWMResolution;

/** Sets this unit's register, at start-up, and lays the command for full speed down for forceFullFanSpeed(). */
void useFanRegister (const FanRegister& fanRegister);

/** The content of the PWM register for `speed` (fraction of full speed) at a full scale of `resolution` counts: the
    duty count, with bits 31 and 30 as the enable. A product outside 32 bits becomes the nearest bound, because the
    target's processor converts it like that. A speed that is not a number stops the fan.
*/
std::uint32_t fanRegisterValue (float speed, int resolution) noexcept;

/** Writes `speed` (fraction of full speed) to the PWM register at `address` with one devmem command. A command that hangs
    counts as failed after four seconds. Reports the outcome only to the log. Does nothing on a product without a fan.
*/
void setFanSpeed (float speed, const juce::String& address, int resolution);

/** For the end of a process whose signal handler does not get through: writes full speed without memory, without log and
    without any lock. Takes less than two seconds. Does nothing before useFanRegister(), or on a product
    without a fan.
*/
void forceFullFanSpeed() noexcept;
