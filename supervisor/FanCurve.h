#pragma once

/** The technician's settings; see docs/settings.md. Temperatures in degrees Celsius, speeds as fractions of full
    speed. Nothing is checked here. Every combination gives a defined speed, even with values that are not numbers.
*/
struct FanCurveSettings
{
    float upperTempLimit; ///< at and above it the fan runs at full speed
    float lowerTempLimit; ///< at and below it the fan runs at minSpeed
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
