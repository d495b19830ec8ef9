#include "supervisor/Settings.h"

#include <filesystem>
#include <fstream>
#include <string>

#include "supervisor/SettingsGuard.h"
#include "supervisor/Version.h"

namespace
{
constexpr auto settingsExtension = "ppf";

constexpr int defaultLogLevel = 2;
constexpr double defaultUpperTempLimit = 80.0;
constexpr double defaultLowerTempLimit = 50.0;
constexpr double defaultTempWindow = 5.0;
constexpr double defaultMinSpeed = 0.0;
constexpr double defaultThresholdSpeed = static_cast<double> (0.2f); // because the curve is single precision
constexpr double defaultProgression = 1.0;

constexpr double highestUpperTempLimit = 80.0; // a hotter processor must always have full speed
constexpr double lowestProgression = 1.0;

// Both leave a value that is not a number as it is. std::max (lowest, value) would turn it into the bound.
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

juce::File readableSettings (const juce::File& file)
{
    const std::filesystem::path path (file.getFullPathName().toStdString());
    std::error_code missing;

    if (! std::filesystem::is_regular_file (path, missing)) // to open a FIFO would wait for its writer
        return {};

    std::string bytes (longestSettings + 1, '\0');
    std::ifstream stream (path, std::ios::binary);
    stream.read (bytes.data(), static_cast<std::streamsize> (bytes.size()));
    bytes.resize (static_cast<std::size_t> (stream.gcount()));
    return isHarmlessToParse (bytes) ? file : juce::File();
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
    return { settings.getValue (settingsKey::fanAddress, defaultFanAddress),
             juce::jmax (0, settings.getIntValue (settingsKey::fanPWMResolution, defaultFanPWMResolution)) };
}

int readLogLevel (const juce::PropertySet& settings)
{
    return settings.getIntValue (settingsKey::logLevel, defaultLogLevel);
}

FanCurveSettings readFanCurve (const juce::PropertySet& settings)
{
    // On purpose, the upper limit has only a ceiling and the others only floors: too much cooling is never corrected.
    const auto upper = notAbove (highestUpperTempLimit,
                                 settings.getDoubleValue (settingsKey::upperTempLimit, defaultUpperTempLimit));
    const auto lower =
        notBelow (0.0, settings.getDoubleValue (settingsKey::lowerTempLimit, defaultLowerTempLimit));
    const auto window = notBelow (0.0, settings.getDoubleValue (settingsKey::tempWindow, defaultTempWindow));
    const auto minSpeed = notBelow (0.0, settings.getDoubleValue (settingsKey::minSpeed, defaultMinSpeed));

    // After minSpeed, because the corrected minSpeed is its bound.
    const auto threshold =
        notBelow (minSpeed, settings.getDoubleValue (settingsKey::thresholdSpeed, defaultThresholdSpeed));
    const auto progression =
        notBelow (lowestProgression, settings.getDoubleValue (settingsKey::progression, defaultProgression));

    return { static_cast<float> (upper),    static_cast<float> (lower),     static_cast<float> (window),
             static_cast<float> (minSpeed), static_cast<float> (threshold), static_cast<float> (progression) };
}
