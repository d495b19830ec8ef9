#include "supervisor/FanCurve.h"

#include <cmath>
#include <limits>

namespace
{
constexpr float fullSpeed = 1.0f;

// At equal limits the curve divides by zero on the way down; its infinity ends as full speed (docs/cooling.md).
static_assert (std::numeric_limits<float>::is_iec559, "a float divided by zero must be infinite");
}

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
        speed = fullSpeed;
    }
    else
    {
        // At the band's upper edge, not at the reading: on the way down that edge is a window above the reading, so
        // the fan slows down later than it sped up. Close below the upper limit the base then exceeds 1; see the cap.
        const auto base =
            1.0f - (settings.upperTempLimit - bandHigh) / (settings.upperTempLimit - settings.lowerTempLimit);
        speed = settings.thresholdSpeed + (1.0f - settings.thresholdSpeed) * ::powf (base, settings.progression);
    }

    // Comparisons that are false for "not a number" leave it as it is; the register write then stops the fan.
    if (speed < settings.minSpeed)
        speed = settings.minSpeed;

    if (speed > fullSpeed)
        speed = fullSpeed;

    return speed;
}
