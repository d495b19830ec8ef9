#pragma once

#include <juce_data_structures/juce_data_structures.h>

#include "supervisor/FanCurve.h"
#include "supervisor/FanRegister.h"

/** The keys of the settings file, in the order in which they are read; case matters. */
namespace settingsKey
{
constexpr auto fanAddress = "FanAddress";
constexpr auto fanPWMResolution = "FanPWMResolution";
constexpr auto logLevel = "LogLevel";
constexpr auto upperTempLimit = "UpperTempLimit"; // degrees Celsius
constexpr auto lowerTempLimit = "LowerTempLimit"; // degrees Celsius
constexpr auto tempWindow = "TempWindow";         // degrees Celsius
constexpr auto minSpeed = "MinSpeed";             // fraction of full speed
constexpr auto thresholdSpeed = "ThresholdSpeed"; // fraction of full speed
constexpr auto progression = "Progression";       // exponent
}

/** The settings file: the daemon's own executable with the extension "ppf". */
juce::File settingsFile();

/** `file` if it is a regular file and isHarmlessToParse() accepts it, else no file, so that the defaults apply. Never waits
    for a FIFO, and reads no more than the guard accepts.
*/
juce::File readableSettings (const juce::File& file);

/** The options for the settings file: JUCE's XML properties format, everything else at the framework's defaults. */
juce::PropertiesFile::Options settingsOptions();

/** The fan's PWM register. A missing key takes its default, "0x42010000" and 4095. */
FanRegister readFanRegister (const juce::PropertySet& settings);

/** The logger's level, 2 by default. Any integer is allowed. */
int readLogLevel (const juce::PropertySet& settings);

/** The fan curve. Each value is corrected by its one bound and then narrowed to single precision. A lower limit above
    the upper one, or a speed above 1, is taken as written.
*/
FanCurveSettings readFanCurve (const juce::PropertySet& settings);
