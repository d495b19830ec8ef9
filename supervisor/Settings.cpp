#include "supervisor/Settings.h"

#include <cstring>

#include "supervisor/Version.h"

namespace
{
constexpr auto settingsExtension = "ppf";

// The parser goes one call deeper for each tag within a tag, and for each entity within an entity: without these bounds
// it runs out of stack. Of a broken UTF-8 sequence it reads past the end.
constexpr juce::int64 longestSettings = 8192; // bytes; the file that holds every key has less than one KiB
constexpr auto documentType = "<!DOCTYPE";

// The parser looks for ever for the end of one that has none.
constexpr auto processingInstruction = "<?";
constexpr const char* binaryMarks[] = { "PROP", "CPRP" };
constexpr int binaryMarkSize = 4;

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
    juce::MemoryBlock content;

    if (file.getSize() > longestSettings || ! file.loadFileAsData (content))
        return {};

    const auto* bytes = static_cast<const char*> (content.getData());
    const auto size = static_cast<int> (content.getSize());
    const auto isUtf16 = size >= 2 && (juce::CharPointer_UTF16::isByteOrderMarkLittleEndian (bytes) ||
                                       juce::CharPointer_UTF16::isByteOrderMarkBigEndian (bytes));

    for (const auto& mark : binaryMarks) // these never reach the parser
        if (size >= binaryMarkSize && std::memcmp (bytes, mark, binaryMarkSize) == 0)
            return file;

    if (! isUtf16 && ! juce::CharPointer_UTF8::isValidString (bytes, size))
        return {};

    const auto text = juce::String::createStringFromData (bytes, size).trimStart();
    const bool hasInstruction = text.lastIndexOf (processingInstruction) > 0; // the header's is at 0
    return hasInstruction || text.contains (documentType) ? juce::File() : file;
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
    // The upper limit has only a ceiling and the others only floors: too much cooling is never corrected.
    const auto upper = notAbove (highestUpperTempLimit,
                                 settings.getDoubleValue (settingsKey::upperTempLimit, defaultUpperTempLimit));
    const auto lower =
        notBelow (0.0, settings.getDoubleValue (settingsKey::lowerTempLimit, defaultLowerTempLimit));
    const auto window = notBelow (0.0, settings.getDoubleValue (settingsKey::tempWindow, defaultTempWindow));
    const auto minSpeed = notBelow (0.0, settings.getDoubleValue (settingsKey::minSpeed, defaultMinSpeed));

    // Against the corrected minimum, so after it.
    const auto threshold =
        notBelow (minSpeed, settings.getDoubleValue (settingsKey::thresholdSpeed, defaultThresholdSpeed));
    const auto progression =
        notBelow (lowestProgression, settings.getDoubleValue (settingsKey::progression, defaultProgression));

    return { static_cast<float> (upper),    static_cast<float> (lower),     static_cast<float> (window),
             static_cast<float> (minSpeed), static_cast<float> (threshold), static_cast<float> (progression) };
}
