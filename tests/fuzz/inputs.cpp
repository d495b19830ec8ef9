// All inputs of the daemon and of log-report, as bytes from libFuzzer. The sanitizers look for errors. A few promises must hold for every
// input.
#include <cmath>
#include <string>
#include <vector>

#include "identity/OrbisUtils.h"
#include "logging/Text.h"
#include "logging/TimedFileLogger.h"
#include "report/Analysis.h"
#include "report/Json.h"
#include "report/TextReport.h"
#include "supervisor/CountPipe.h"
#include "supervisor/FanRegister.h"
#include "supervisor/MaintenanceArguments.h"
#include "supervisor/Settings.h"
#include "supervisor/ThermalControl.h"

struct SerialProbe
{
    static juce::String serialIn (const juce::String& text) { return OrbisUtils::serialIn (text); }
};

namespace inputs
{
void require (bool promise)
{
    if (! promise)
        __builtin_trap();
}

/** The parts that a separator divides the input into: at least one. */
std::vector<std::string> split (const std::string& bytes, char separator)
{
    std::vector<std::string> parts (1);

    for (const auto byte : bytes)
    {
        if (byte == separator)
            parts.emplace_back();
        else
            parts.back() += byte;
    }

    return parts;
}

juce::String asFileText (const std::string& bytes)
{
    return textOf (bytes.data(), static_cast<int> (bytes.size()));
}

void settings (const std::string& bytes)
{
    const juce::TemporaryFile file (".ppf");
    file.getFile().replaceWithData (bytes.data(), bytes.size());
    const juce::PropertiesFile properties (readableSettings (file.getFile()), settingsOptions());
    readLogLevel (properties);
    const auto resolution = readFanRegister (properties).resolution;
    require (resolution >= 0);
    const auto curveSettings = readFanCurve (properties);
    FanCurve curve (curveSettings);

    for (const auto temperature : { 45.0f, 65.5f, 79.9f, 91.0f, 60.0f, -40.0f, NAN, 1e38f, -1e38f, 0.0f })
    {
        const auto speed = curve.nextSpeed (temperature);
        require (std::isnan (speed) || speed <= fullFanSpeed);
        require (! (speed < 0.0f) || std::isnan (curveSettings.minSpeed));
        require (speed > 0.0f || fanRegisterValue (speed, resolution) == 0);
    }
}

void temperature (const std::string& bytes)
{
    auto texts = split (bytes, '|');
    texts.resize (3);
    FanCurve curve ({ 80.0f, 50.0f, 5.0f, 0.0f, 0.2f, 1.0f });
    const auto speed =
        curve.nextSpeed (coreTemperature (asFileText (texts[0]), asFileText (texts[1]), asFileText (texts[2])));
    require (speed >= 0.0f && speed <= fullFanSpeed);
}

void count (const std::string& bytes)
{
    CountPipe::countIn (bytes.c_str());
}

void serial (const std::string& bytes)
{
    require (SerialProbe::serialIn (asFileText (bytes)).length() == 8);
}

void arguments (const std::string& bytes)
{
    auto texts = split (bytes, '\0');
    std::vector<char*> pointers;

    for (auto& text : texts)
        pointers.push_back (text.data());

    readActions (static_cast<int> (pointers.size()), pointers.data());
}

/** The first byte is the distance of the file from its limit. The first byte of each message is the log level. */
void log (const std::string& bytes)
{
    if (bytes.empty())
        return;

    const juce::TemporaryFile file (".log");
    const auto content = TimedFileLogger::sizeLimit - static_cast<unsigned char> (bytes[0]);
    file.getFile().replaceWithText (juce::String::repeatedString ("a line\n", static_cast<int> (content / 7)));
    TimedFileLogger logger (file.getFile(), {}, TimedFileLogger::sizeLimit);

    for (const auto& part : split (bytes.substr (1), '\0'))
    {
        logger.setLogLevel (part.empty() ? 0 : part[0]);
        const auto message = asFileText (part);
        logger.logMessage (message);
        logger.logMessage (message);
        const auto lines =
            2 * (static_cast<juce::int64> (part.size()) * 4 + 64); // with a stamp, and longer as UTF-8
        require (file.getFile().getSize() <= TimedFileLogger::sizeLimit + lines);
    }
}

/** A log in two blocks gives the same report as in one. The report is printable. */
void report (const std::string& bytes)
{
    const auto jsonOf = [&bytes] (std::size_t firstBlock)
    {
        ::report::Analysis analysis ("log");
        analysis.add (std::string_view (bytes).substr (0, firstBlock));
        analysis.add (std::string_view (bytes).substr (firstBlock));
        const auto told = analysis.finish();

        for (const auto character : textReport (told, { 80, false }))
            require (character != 0 && character != '\r' && character != '\033');

        return json (told);
    };

    const auto told = jsonOf (0);
    require (told == jsonOf (bytes.size() / 2));

    for (const auto character : told)
        require ((character >= ' ' && character <= '~') || static_cast<unsigned char> (character) >= 0x80);
}
}

extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    inputs::INPUT (std::string (reinterpret_cast<const char*> (data), size));
    return 0;
}
