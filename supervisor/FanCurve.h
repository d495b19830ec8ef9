#pragma once

/** What the technician tunes; see docs/settings.md. Temperatures in degrees Celsius, speeds as fractions of full
    speed. Nothing is checked here: every combination, also with values that are no numbers, gives a defined speed.
*/
struct FanCurveSettings
{
    float upperTempLimit; ///< at and above it the fan runs at full speed
    float lowerTempLimit; ///< at and below it the fan runs at minSpeed
    float tempWindow;     ///< hysteresis: the fan slows down this much later than it sped up
    float minSpeed;
    float thresholdSpeed; ///< speed just above lowerTempLimit
    float progression;    ///< exponent; 1 is linear, more keeps the fan slow for longer
};

/** Turns temperatures into fan speeds, with a band in which the speed stays as it is. Knows no file and no register.

    Single precision throughout, built without fused multiply-add, so that PC and target compute the same curve.
*/
class FanCurve
{
public:
    explicit FanCurve (const FanCurveSettings& settingsToUse) noexcept
        : settings (settingsToUse)
    {
    }

    /** The speed (0 to 1; where the settings give none, not a number or, where minSpeed is none, perhaps below 0: the
        register write stops the fan at either) for the next reading in degrees Celsius.
        A reading inside the band, bounds included, keeps the last speed.
    */
    float nextSpeed (float temperature) noexcept;

private:
    float speedAt (float temperature) const noexcept;

    FanCurveSettings settings;
    float bandHigh = 0.0f;
    float bandLow = 0.0f;
    float lastSpeed = 0.0f;
};
