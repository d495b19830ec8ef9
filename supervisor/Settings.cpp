#include "supervisor/Settings.h"

#include "supervisor/Version.h"

namespace
{
constexpr auto settingsExtension = "ppf";

constexpr auto fanAddressKey = "FanAddress";
constexpr auto fanPWMResolutionKey = "FanPWMResolution";
constexpr auto logLevelKey = "LogLevel";
constexpr auto upperTempLimitKey = "UpperTempLimit"; // degrees Celsius
constexpr auto lowerTempLimitKey = "LowerTempLimit"; // degrees Celsius
constexpr auto tempWindowKey = "TempWindow";         // degrees Celsius
constexpr auto minSpeedKey = "MinSpeed";             // fraction of full speed
constexpr auto thresholdSpeedKey = "ThresholdSpeed"; // fraction of full speed
constexpr auto progressionKey = "Progression";       // exponent

constexpr auto defaultFanAddress = "0x42010000";
constexpr int defaultFanPWMResolution = 4095;
constexpr int defaultLogLevel = 2;
constexpr double defaultUpperTempLimit = 80.0;
constexpr double defaultLowerTempLimit = 50.0;
constexpr double defaultTempWindow = 5.0;
constexpr double defaultMinSpeed = 0.0;
constexpr double defaultThresholdSpeed = static_cast<double> (0.2f); // the curve itself is single precision
constexpr double defaultProgression = 1.0;

constexpr double highestUpperTempLimit = 80.0; // the processor must never wait longer for full speed
constexpr double lowestProgression = 1.0;

// Far more than the keys and their comments need, and far less nesting than overflows the parser's stack.
constexpr juce::int64 largestSettingsFile = 32768; // bytes

bool isUtf16 (const juce::MemoryBlock& content)
{
    return content.getSize() >= 2 && (juce::CharPointer_UTF16::isByteOrderMarkBigEndian (content.getData()) ||
                                      juce::CharPointer_UTF16::isByteOrderMarkLittleEndian (content.getData()));
}

// Unlike std::max, these leave a value that is not a number as it is.
double notBelow (double lowest, double value)
{
    return value < lowest ? lowest : value;
}

double notAbove (double highest, double value)
{
    return value > highest ? highest : value;
}
}

juce::File settingsFile()
{
    return juce::File::getSpecialLocation (juce::File::currentExecutableFile)
        .withFileExtension (settingsExtension);
}

juce::File usableSettingsFile()
{
    const auto file = settingsFile();
    juce::MemoryBlock content;

    if (file.getSize() > largestSettingsFile || ! file.loadFileAsData (content))
        return {};

    const auto* text = static_cast<const char*> (content.getData());
    const auto size = static_cast<int> (content.getSize());
    return isUtf16 (content) || juce::CharPointer_UTF8::isValidString (text, size) ? file : juce::File();
}

juce::PropertiesFile::Options settingsOptions()
{
    juce::PropertiesFile::Options options;
    options.applicationName = programName;
    options.millisecondsBeforeSaving = 0;
    return options;
}

FanRegister readFanRegister (const juce::PropertySet& settings)
{
    return { settings.getValue (fanAddressKey, defaultFanAddress),
             juce::jmax (0, settings.getIntValue (fanPWMResolutionKey, defaultFanPWMResolution)) };
}

int readLogLevel (const juce::PropertySet& settings)
{
    return settings.getIntValue (logLevelKey, defaultLogLevel);
}

FanCurveSettings readFanCurve (const juce::PropertySet& settings)
{
    // The upper limit has only a ceiling and the others only floors: too much cooling is never corrected.
    const auto upper =
        notAbove (highestUpperTempLimit, settings.getDoubleValue (upperTempLimitKey, defaultUpperTempLimit));
    const auto lower = notBelow (0.0, settings.getDoubleValue (lowerTempLimitKey, defaultLowerTempLimit));
    const auto window = notBelow (0.0, settings.getDoubleValue (tempWindowKey, defaultTempWindow));
    const auto minSpeed = notBelow (0.0, settings.getDoubleValue (minSpeedKey, defaultMinSpeed));

    // Against the corrected minimum, so after it.
    const auto threshold = notBelow (minSpeed, settings.getDoubleValue (thresholdSpeedKey, defaultThresholdSpeed));
    const auto progression =
        notBelow (lowestProgression, settings.getDoubleValue (progressionKey, defaultProgression));

    return { static_cast<float> (upper),    static_cast<float> (lower),     static_cast<float> (window),
             static_cast<float> (minSpeed), static_cast<float> (threshold), static_cast<float> (progression) };
}
