// Draws the fan's speed over the temperature for a settings file, and warns of settings that the daemon accepts but that are
// probably mistakes. Both come from the daemon's own code. ./fan-curve --help describes the arguments.
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "supervisor/FanCurve.h"
#include "supervisor/Settings.h"

namespace
{
constexpr int usageOrFileError = 2;

constexpr int coldest = 20; // degrees Celsius
constexpr int hottest = 90; // the limit of the highest alarm
constexpr int stepsPerDegree = 4;

struct Point
{
    float temperature, rising, falling; // degrees Celsius; speeds as fractions of full speed
};

/** One walk from cold to hot and back. A speed that is negative or no number stops the fan. */
std::vector<Point> walk (const FanCurveSettings& settings)
{
    FanCurve curve (settings);
    const auto speedAt = [&curve] (float temperature)
    {
        const auto speed = curve.nextSpeed (temperature);
        return speed > 0.0f ? speed : 0.0f;
    };

    std::vector<Point> points;

    for (int step = coldest * stepsPerDegree; step <= hottest * stepsPerDegree; ++step)
    {
        const auto temperature = static_cast<float> (step) / stepsPerDegree;
        points.push_back ({ temperature, speedAt (temperature), 0.0f });
    }

    for (auto point = points.rbegin(); point != points.rend(); ++point)
        point->falling = speedAt (point->temperature);

    return points;
}

std::string csv (const std::vector<Point>& points)
{
    std::ostringstream text;
    text << "temperature,rising,falling\n";

    for (const auto& point : points)
        text << point.temperature << ',' << point.rising << ',' << point.falling << '\n';

    return text.str();
}

/** A column per degree, a row per 5 % of full speed. */
std::string drawing (const std::vector<Point>& points)
{
    constexpr int rows = 20, degreesPerLabel = 10;
    constexpr auto indent = "      ";
    const auto rowOf = [] (float speed) { return std::lround (speed * static_cast<float> (rows)); };
    std::string text = "Fan speed in % of full speed: > rising, < falling, = both\n\n";

    for (int row = rows; row >= 0; --row)
    {
        char label[16];
        std::snprintf (label, sizeof label, "%4d |", row * 100 / rows);
        std::string line = label;

        for (std::size_t i = 0; i < points.size(); i += stepsPerDegree)
        {
            const auto rises = rowOf (points[i].rising) == row, falls = rowOf (points[i].falling) == row;
            line += rises && falls ? '=' : rises ? '>' : falls ? '<' : ' ';
        }

        text += line.substr (0, line.find_last_not_of (' ') + 1) + '\n';
    }

    std::string axis = indent, labels = indent;

    for (int degrees = coldest; degrees <= hottest; degrees += degreesPerLabel)
    {
        axis += degrees == hottest ? "+" : "+---------";
        labels += std::to_string (degrees) + (degrees == hottest ? " C" : "        ");
    }

    return text + axis + '\n' + labels + '\n';
}

bool writeCsv (const std::vector<Point>& points, const juce::String& path)
{
    std::ofstream file (path.toStdString());
    file << csv (points);
    return ! file.flush().fail();
}

/** Draws with gnuplot, and leaves gnuplot's version out of the picture. False on failure. */
bool writeSvg (const std::vector<Point>& points, const juce::String& path)
{
    const auto command = "gnuplot | grep -v '<desc>Produced by GNUPLOT' > '" + path.replace ("'", "'\\''") + "'";
    std::signal (SIGPIPE, SIG_IGN); // pclose reports a gnuplot that does not start
    auto* gnuplot = ::popen (command.toRawUTF8(), "w");

    if (gnuplot == nullptr)
        return false;

    std::fprintf (gnuplot,
                  "$curve << END\n%sEND\n"
                  "set terminal svg size 760,420 font 'sans-serif,14' background 'white'\n"
                  "set datafile separator comma\n"
                  "set xlabel 'Core temperature (°C)'\n"
                  "set ylabel 'Fan speed (%% of full speed)'\n"
                  "set xrange [%d:%d]\n"
                  "set yrange [-2:104]\n"
                  "set xtics 10\n"
                  "set ytics 20\n"
                  "set grid linecolor '#d0d0d0'\n"
                  "set key outside top center horizontal\n"
                  "plot $curve using 1:(100 * $3) with lines linewidth 3 linecolor '#0072b2' title 'falling', "
                  "$curve using 1:(100 * $2) with lines linewidth 3 dashtype (8,5) linecolor '#d55e00' title "
                  "'rising'\n",
                  csv (points).c_str(), coldest, hottest);
    return ::pclose (gnuplot) == 0;
}

struct CurveNumber
{
    const char* key;
    float FanCurveSettings::*used;
    bool isSpeed;
};

constexpr CurveNumber curveNumbers[] = {
    { settingsKey::upperTempLimit, &FanCurveSettings::upperTempLimit, false },
    { settingsKey::lowerTempLimit, &FanCurveSettings::lowerTempLimit, false },
    { settingsKey::tempWindow, &FanCurveSettings::tempWindow, false },
    { settingsKey::minSpeed, &FanCurveSettings::minSpeed, true },
    { settingsKey::thresholdSpeed, &FanCurveSettings::thresholdSpeed, true },
    { settingsKey::progression, &FanCurveSettings::progression, false },
};

void warn (const juce::String& text)
{
    std::cerr << "fan-curve: warning: " << text << '\n';
}

/** True if another parser reads the whole text as the number that the daemon reads. */
bool isPlainNumber (const juce::String& text, double daemonReads)
{
    char* end = nullptr;
    const auto trimmed = text.trim().toStdString();
    const auto value = static_cast<float> (std::strtod (trimmed.c_str(), &end));
    return ! trimmed.empty() && *end == '\0' && std::isfinite (value) && value == static_cast<float> (daemonReads);
}

/** The daemon has read the number `read` and uses `used`. If they differ, `used` is a bound, and `bound` is the name of the
    key that sets it, if there is one.
*/
void warnOfNumber (const juce::String& key, const juce::String& text, double read, float used,
                   const juce::String& bound = {})
{
    const juce::String usedText (used);

    if (! isPlainNumber (text, read))
        warn (key + " \"" + text + "\" is no plain number: the daemon uses " + usedText);
    else if (static_cast<float> (read) != used)
        warn (key + " " + text + (static_cast<float> (read) > used ? " is above " : " is below ") + bound +
              usedText + ": the daemon uses " + usedText);
}

void warnOfNumbers (const juce::PropertySet& settings, const FanCurveSettings& curve)
{
    const auto defaults = readFanCurve ({});

    for (const auto& [key, used, isSpeed] : curveNumbers)
    {
        const auto bound =
            used == &FanCurveSettings::thresholdSpeed ? settingsKey::minSpeed + juce::String (" ") : "";
        const auto text =
            settings.getValue (key, juce::String (defaults.*used)); // the daemon corrects defaults too
        const auto read = text.getDoubleValue();
        warnOfNumber (key, text, read, curve.*used, bound);

        if (isSpeed && read > 1.0)
            warn (key + (" " + text) + " is above 1, which is full speed");
    }

    const auto resolution = static_cast<float> (readFanRegister (settings).resolution);
    const auto level = static_cast<float> (readLogLevel (settings));
    const auto warnOfInteger = [&settings] (const char* key, float used)
    {
        if (settings.containsKey (key))
            warnOfNumber (key, settings.getValue (key), settings.getIntValue (key), used);
    };
    warnOfInteger (settingsKey::fanPWMResolution, resolution);
    warnOfInteger (settingsKey::logLevel, level);
}

/** The daemon puts the address unchecked into a command of a root shell. */
void warnOfAddress (const juce::String& address)
{
    const juce::String prefix ("0x");
    const auto digits = address.fromFirstOccurrenceOf (prefix, false, false);

    if (! address.startsWith (prefix) || digits.isEmpty() || ! digits.containsOnly ("0123456789abcdefABCDEF"))
        warn (settingsKey::fanAddress + (" \"" + address) + "\" is no address such as 0x42010000");
}

void warnOfMisfits (const FanCurveSettings& curve)
{
    const juce::String lower (curve.lowerTempLimit), upper (curve.upperTempLimit);

    if (curve.lowerTempLimit >= curve.upperTempLimit)
        warn (juce::String (settingsKey::lowerTempLimit) + " " + lower + " is not below " +
              settingsKey::upperTempLimit + " " + upper + ": up to " + lower + " C the fan keeps to " +
              settingsKey::minSpeed);
}

void warnOfUnknownKeys (const juce::StringArray& keys)
{
    juce::StringArray known { settingsKey::fanAddress, settingsKey::fanPWMResolution, settingsKey::logLevel };

    for (const auto& number : curveNumbers)
        known.add (number.key);

    for (const auto& key : keys)
    {
        if (known.contains (key))
            continue;

        const auto meant = known.indexOf (key, true);
        warn ("the daemon knows no key \"" + key + "\"" + (meant < 0 ? "" : ", but \"" + known[meant] + "\""));
    }
}

int fail (const juce::String& text)
{
    std::cerr << "fan-curve: " << text << '\n';
    return usageOrFileError;
}

int draw (juce::PropertiesFile& settings, const juce::String& output)
{
    const auto curve = readFanCurve (settings);
    warnOfUnknownKeys (settings.getAllProperties().getAllKeys());
    warnOfNumbers (settings, curve);
    warnOfAddress (readFanRegister (settings).address);
    warnOfMisfits (curve);

    const auto points = walk (curve);
    const auto path = juce::File::getCurrentWorkingDirectory().getChildFile (output).getFullPathName();

    if (output.isEmpty())
        std::cout << drawing (points);
    else if (! (output.endsWith (".svg") ? writeSvg (points, path) : writeCsv (points, path)))
        return fail ("cannot write " + output);

    return 0;
}
}

int main (int argc, char** argv)
{
    const juce::String outputOption ("--output");
    juce::String output;
    juce::StringArray files;
    bool optionsMayCome = true;

    for (int i = 1; i < argc; ++i)
    {
        const auto word = juce::String::fromUTF8 (argv[i]);

        if (! optionsMayCome || ! word.startsWithChar ('-'))
            files.add (word);
        else if (word == "--")
            optionsMayCome = false;
        else if (word.startsWith (outputOption + "="))
            output = word.fromFirstOccurrenceOf ("=", false, false);
        else if (word != "-o" && word != outputOption)
            return fail ("unknown option " + word + "; see --help");
        else if (++i < argc)
            output = juce::String::fromUTF8 (argv[i]);
        else
            return fail (word + " needs a file; see --help");
    }

    if (output.isNotEmpty() && ! output.endsWith (".csv") && ! output.endsWith (".svg"))
        return fail ("the output " + output + " does not end in .csv or .svg; see --help");

    if (files.size() > 1)
        return fail ("it takes one settings file, and " + files[1] + " is another; see --help");

    juce::File file;

    if (! files.isEmpty())
    {
        file = juce::File::getCurrentWorkingDirectory().getChildFile (files[0]);

        std::error_code missing;

        if (! std::filesystem::is_regular_file (file.getFullPathName().toStdString(), missing) ||
            ! juce::FileInputStream (file).openedOk())
            return fail ("cannot read " + files[0]);

        if (readableSettings (file) == juce::File())
            return fail (files[0] +
                         " is broken, larger than 8 KiB or contains what no settings need (docs/settings.md): "
                         "the daemon refuses it and takes its defaults");
    }

    const auto options = settingsOptions();
    juce::PropertiesFile settings (file, options);

    if (! settings.isValidFile())
        return fail (files[0] + " is not a settings file: the daemon takes its defaults");

    return draw (settings, output);
}
