#include "supervisor/FanCurve.h"

#include <cmath>
#include <limits>

// With equal limits the curve divides by zero when the temperature falls. Infinity then becomes full speed
// (docs/cooling.md).
static_assert (std::numeric_limits<float>::is_iec559, "a float divided by zero must be infinite");

float FanCurve::nextSpeed (float temperature) noexcept
{
    if (temperature > bandHigh)
    {
        bandHigh = temperature;
        bandLow = temperature - settings.tempWindow;
        lastSpeed = speedAt (temperature);
    }
    else if (temperature < bandLow)
    {
        bandLow = temperature;
        bandHigh = temperature + settings.tempWindow;
        lastSpeed = speedAt (temperature);
    }

    return lastSpeed;
}

__attribute__ ((no_sanitize ("float-divide-by-zero"))) float FanCurve::speedAt (float temperature) const noexcept
{
    float speed;

    if (bandHigh <= settings.lowerTempLimit)
    {
        speed = settings.minSpeed;
    }
    else if (temperature >= settings.upperTempLimit)
    {
        speed = fullFanSpeed;
    }
    else
    {
        // Uses the band's upper edge, not the reading. When the temperature falls, that edge is tempWindow above the
        // reading, so the fan slows down later. Just below the upper limit the base then exceeds 1; see the cap.
        const auto base =
            1.0f - (settings.upperTempLimit - bandHigh) / (settings.upperTempLimit - settings.lowerTempLimit);
        speed = settings.thresholdSpeed + (1.0f - settings.thresholdSpeed) * ::powf (base, settings.progression);
    }

    // Both comparisons are false for "not a number", so it stays. The register write then stops the fan.
    if (speed < settings.minSpeed)
        speed = settings.minSpeed;

    if (speed > fullFanSpeed)
        speed = fullFanSpeed;

    return speed;
}
