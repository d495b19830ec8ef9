#pragma once

constexpr float fullFanSpeed = 1.0f; ///< speeds are fractions of it

/** The technician's settings; see docs/settings.md. Temperatures in degrees Celsius, speeds as fractions of full
    speed. Nothing is checked here. No combination crashes; some give a speed that is not a number.
*/
struct FanCurveSettings
{
    float upperTempLimit; ///< at and above it the fan runs at full speed, unless lowerTempLimit is higher
    float lowerTempLimit; ///< while the band's upper edge is at or below it, the fan runs at minSpeed
    float tempWindow;     ///< hysteresis: the fan slows down this many degrees later than it sped up
    float minSpeed;
    float thresholdSpeed; ///< speed just above lowerTempLimit
    float progression;    ///< exponent; 1 is linear, a larger one keeps the fan slow for longer
};

/** Turns temperatures into fan speeds. Inside a band of temperatures the speed stays. Knows no file and no register.

    Uses only single precision and no fused multiply-add, so that PC and target compute the same curve.
*/
class FanCurve
{
public:
    explicit FanCurve (const FanCurveSettings& settingsToUse) noexcept
        : settings (settingsToUse)
    {
    }

    /** Returns the speed, 0 to 1, for the next reading in degrees Celsius. A reading inside the band, bounds included,
        keeps the last speed. Some settings give "not a number", or a speed below 0 if minSpeed is not a number. The
        register write stops the fan in both cases.
    */
    float nextSpeed (float temperature) noexcept;

private:
    float speedAt (float temperature) const noexcept;

    FanCurveSettings settings;
    float bandHigh = 0.0f;
    float bandLow = 0.0f;
    float lastSpeed = 0.0f;
};
