// Settings, fan curve, fan register, temperature sensor.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "identity/OrbisUtils.h"
#include "supervisor/FanCurve.h"
#include "supervisor/FanRegister.h"
#include "supervisor/Settings.h"
#include "supervisor/ThermalControl.h"
#include "tests/Unit.h"

namespace
{
constexpr FanCurveSettings defaults { 80.0f, 50.0f, 5.0f, 0.0f, 0.2f, 1.0f };
constexpr auto notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr auto infinite = std::numeric_limits<float>::infinity();

/** Settings from text such as "LogLevel=4 MinSpeed=0.1". */
std::vector<std::pair<std::string, std::string>> settingsIn (const std::string& text)
{
    std::vector<std::pair<std::string, std::string>> settings;
    std::istringstream words (text);

    for (std::string word; words >> word;)
        settings.emplace_back (word.substr (0, word.find ('=')), word.substr (word.find ('=') + 1));

    return settings;
}
}

TEST (FanCurve, followsTheTemperatureUpAndATemperatureWindowLaterDown)
{
    // Worked out by hand with the defaults: 0.2 + 0.8 * (edge - 50) / 30.
    constexpr std::pair<float, float> walk[] = {
        { 0.0f, 0.0f },                                                  // the first band, 0 to 0
        { 50.0f, 0.0f },                                                 // at the lower limit
        { 50.1f, 0.20266668f }, { 65.0f, 0.6f },                         // band 60 to 65
        { 65.0f, 0.6f },                                                 // its edges keep the speed
        { 60.0f, 0.6f },        { 59.0f, 0.57333335f },                  // band 59 to 64
        { 64.0f, 0.57333335f }, { 79.9f, 0.9973333f },  { 80.0f, 1.0f }, // band 75 to 80
        { 75.0f, 1.0f },        { 74.5f, 0.98666668f },                  // band 74.5 to 79.5
        { 44.0f, 0.0f },                                                 // band 44 to 49: below the lower limit
        { 90.0f, 1.0f },        { 78.0f, 1.0f }, // here the formula would exceed full speed
    };
    FanCurve curve (defaults);

    for (const auto& [temperature, speed] : walk)
        EXPECT_NEAR (speed, curve.nextSpeed (temperature), 1e-5f) << temperature;
}

TEST (FanCurve, bendsWithItsProgressionAndKeepsToItsMinimum)
{
    constexpr std::tuple<FanCurveSettings, float, float> rows[] = {
        { { 80, 50, 5, 0.0f, 0.2f, 2.0f }, 65.0f, 0.4f }, // 0.2 + 0.8 * 0.25
        { { 80, 50, 5, 0.3f, 0.3f, 1.0f }, 20.0f, 0.3f }, // the minimum when cold
        { { 80, 50, 5, 1.5f, 1.5f, 1.0f }, 20.0f, 1.0f }, // above 1: full speed
        { { 50, 60, 5, 0.1f, 0.2f, 1.0f }, 55.0f, 0.1f }, // crossed limits: the lower one counts first
        { { 50, 60, 5, 0.1f, 0.2f, 1.0f }, 61.0f, 1.0f },
        { { 50, 50, 5, 0.0f, 0.2f, 1.0f }, 50.5f, 1.0f }, // no room for a curve
        { { 80, 50, 0, 0.0f, 0.2f, 1.0f }, 65.0f, 0.6f }, // no window
        { { 80, 50, 5, 0.0f, 0.2f, 1.0f }, infinite, 1.0f },
        { { 80, 50, 5, 0.0f, 0.2f, 1.0f }, notANumber, 0.0f }, // no reading: the speed before
        { { notANumber, 50, 5, 0, 0.2f, 1 }, 65.0f, notANumber },
        { { 80, notANumber, 5, 0, 0.2f, 1 }, 65.0f, notANumber },
        { { 80, 50, 5, infinite, infinite, 1 }, 65.0f, notANumber },
    };

    for (const auto& [settings, temperature, expected] : rows)
    {
        const auto speed = FanCurve (settings).nextSpeed (temperature);
        EXPECT_TRUE (std::abs (speed - expected) < 1e-6f || (std::isnan (speed) && std::isnan (expected)))
            << speed << " at " << temperature << " with limits " << settings.lowerTempLimit << ", "
            << settings.upperTempLimit;
    }

    FanCurve withoutRoom ({ 50, 50, 5, 0.1f, 0.2f, 1.0f }); // full speed until the band lies below the limits

    for (const auto& [temperature, speed] : { std::pair (52.0f, 1.0f), { 46.0f, 1.0f }, { 44.0f, 0.1f } })
        EXPECT_EQ (speed, withoutRoom.nextSpeed (temperature)) << temperature;
}

TEST (FanCurve, keepsItsPromisesWhateverTheSettings)
{
    constexpr int setCount = 20000, stepsEach = 50; // a million readings, up and down and on a ramp
    const char* const odd[] = { "nan", "inf", "-inf", "1e39", "-1e39", "1e-45", "", "x" };
    std::mt19937 random (1);
    const auto upTo = [&random] (int limit)
    { return static_cast<int> (random() % static_cast<unsigned> (limit)); };
    int consistentSets = 0, speedsOfNoNumber = 0;

    for (int set = 0; set < setCount; ++set)
    {
        const bool allUsual = set % 2 == 0;
        juce::PropertySet keys;

        // Some upper limits are above the highest allowed one, or below the lower limit.
        for (const auto& [key, hundredths] : { std::pair ("UpperTempLimit", 8500),
                                               { "LowerTempLimit", 6000 },
                                               { "TempWindow", 2000 },
                                               { "MinSpeed", 110 },
                                               { "ThresholdSpeed", 110 },
                                               { "Progression", 400 } })
            keys.setValue (key, ! allUsual && upTo (4) == 0 ? juce::String (odd[upTo (8)])
                                                            : juce::String (upTo (hundredths) / 100.0));

        const auto settings = readFanCurve (keys);
        const bool consistent =
            allUsual && settings.lowerTempLimit < settings.upperTempLimit && settings.thresholdSpeed <= 1.0f;
        consistentSets += consistent;
        FanCurve walking (settings), rising (settings);
        float highest = 0.0f, speedBefore = 0.0f;

        for (int step = 0; step < stepsEach; ++step)
        {
            const auto anywhere = static_cast<float> (upTo (20000)) / 100.0f - 50.0f;
            const auto speed =
                walking.nextSpeed (step % 10 == 9 ? juce::String (odd[upTo (8)]).getFloatValue() : anywhere);
            ASSERT_TRUE (consistent ? speed >= 0.0f && speed <= 1.0f
                                    : ! (speed > 1.0f || speed < std::min (settings.minSpeed, 1.0f)))
                << speed;
            speedsOfNoNumber += std::isnan (speed);

            highest += static_cast<float> (1 + upTo (400)) / 100.0f;
            const auto onTheRamp = rising.nextSpeed (highest);
            ASSERT_TRUE (! consistent || onTheRamp >= speedBefore)
                << onTheRamp << " after " << speedBefore << " at " << highest;
            speedBefore = onTheRamp;

            // A temperature that falls by less than a window changes nothing.
            const auto dip = settings.tempWindow * static_cast<float> (upTo (99)) / 100.0f;
            const auto inTheBand = rising.nextSpeed (highest - dip);
            ASSERT_FALSE (consistent && (inTheBand < onTheRamp || inTheBand > onTheRamp))
                << highest << " - " << dip;
        }
    }

    EXPECT_GT (consistentSets, setCount / 4);
    EXPECT_GT (speedsOfNoNumber, 0) << "settings that are no numbers give no speed";
}

TEST (FanRegister, carriesTheCountAndTheEnableOfEverySpeed)
{
    constexpr std::tuple<float, int, std::uint32_t> rows[] = {
        { 1.0f, 4095, 0xc0000fff },
        { 0.5f, 4095, 0xc00007ff },
        { 0.6f, 4095, 0xc0000999 },
        { 0.0f, 4095, 0x0 },
        { 0.0001f, 65535, 0x6 }, // at this bound the fan is off at every resolution
        { 0.00011f, 65535, 0xc0000007 },
        { 1.0f, 0, 0xc0000000 },
        { 1.0f, 2147483647, 0xc0000000 | 0x80000000 },
        { 0.00005f, std::numeric_limits<int>::max(), 0x1a36e }, // 107374
        { 3.0f, 2147483647, 0xffffffff },
        { -1.0f, 4095, 0x0 },
        { notANumber, 4095, 0x0 },
        { infinite, 4095, 0xffffffff },
        { infinite, 0, 0xc0000000 },
        { -infinite, 4095, 0x0 },
    };

    for (const auto& [speed, resolution, value] : rows)
        EXPECT_EQ (value, fanRegisterValue (speed, resolution)) << speed << " of " << resolution;
}

TEST (Settings, takeTheirDefaultsAndTheirBounds)
{
    // The settings; upper and lower limit, window, minimum, threshold and progression, then resolution and log level.
    const std::pair<const char*, const char*> rows[] = {
        { "", "80 50 5 0 0.2 1, 4095 2" },
        { "UpperTempLimit=95 LowerTempLimit=-10 TempWindow=-1 MinSpeed=-1", "80 0 0 0 0.2 1, 4095 2" },
        { "ThresholdSpeed=-1 Progression=0.5 FanPWMResolution=-1", "80 50 5 0 0 1, 0 2" },
        { "UpperTempLimit=80.01 LowerTempLimit=99 MinSpeed=0.3 Progression=7 LogLevel=-3",
          "80 99 5 0.3 0.3 7, 4095 -3" },
        { "UpperTempLimit=hot LowerTempLimit= Progression=x FanPWMResolution=x LogLevel=loud",
          "0 0 5 0 0.2 1, 0 0" },
        { "UpperTempLimit=-4 uppertemplimit=7 MinSpeed=2 TempWindow=1e300", "-4 50 inf 2 2 1, 4095 2" },
    };

    for (const auto& [text, expected] : rows)
    {
        juce::PropertySet settings;

        for (const auto& [key, value] : settingsIn (text))
            settings.setValue (juce::String (key), juce::String (value));

        const auto curve = readFanCurve (settings);
        std::ostringstream read;
        read << curve.upperTempLimit << " " << curve.lowerTempLimit << " " << curve.tempWindow << " "
             << curve.minSpeed << " " << curve.thresholdSpeed << " " << curve.progression << ", "
             << readFanRegister (settings).resolution << " " << readLogLevel (settings);
        EXPECT_EQ (expected, read.str()) << text;
    }
}

UNIT_TEST (Cooling, writesWhatSettingsAndReadingsAskFor)
{
    const std::tuple<const char*, const char*, const char*> rows[] = {
        { "", "50", "0x0" },
        { "", "65", "0xc0000999" },
        { "", "80", "0xc0000fff" },
        { "FanPWMResolution=255", "65", "0xc0000099" },
        { "FanPWMResolution=-5", "65", "0xc0000000" },
        { "MinSpeed=0.5 LowerTempLimit=70", "20", "0xc00007ff" },
        { "LowerTempLimit=nan", "65", "0x0" },
        { "TempWindow=nan Progression=nan", "65", "0x0" },
        { "UpperTempLimit=-inf MinSpeed=1e99", "65", "0xc0000fff" },
        { "FanPWMResolution=99999999999999999999", "20", "0x0" },
    };

    for (const auto& [settings, temperature, expected] : rows)
    {
        const auto run =
            Unit ("OD123456", temperature).withSettings (settingsIn (settings)).withGuiRunning().runUntil (3900);
        EXPECT_EQ (2, run.status) << run.describe();
        EXPECT_EQ (run.registerWrites.front(), run.registerWrites.back()) << "full speed at start and end";
        EXPECT_EQ (expected, run.writeBeforeTheEnd()) << settings << " at " << temperature;
    }
}

UNIT_TEST (Cooling, copesWithOddSensorFiles)
{
    // The change of the sensor at 3.5 s, a command in its folder, and the expected register values. Slow: the reading
    // before was 56, and the fan at 36 %. Fast: it was 90, and the fan at full speed.
    constexpr std::tuple<const char*, const char*, const char*> rows[] = {
        { ":", "0xc00005c2", "0xc0000fff" },             // no change
        { "rm in_temp0_*", "0xc0000fff", "0xc0000fff" }, // 80 degrees
        { "rm in_temp0_scale", "0xc0000fff", "0xc0000fff" },
        { "rm in_temp0_raw; mkdir in_temp0_raw", "0xc0000fff", "0xc0000fff" }, // not a file
        { ": > in_temp0_raw", "0x0", "0x0" },                                  // 0 degrees
        { "echo hot > in_temp0_raw", "0x0", "0x0" },
        { "chmod 000 in_temp0_raw", "0x0", "0x0" },
        { "echo -12 > in_temp0_raw", "0x0", "0x0" },
        { "echo 1e30 > in_temp0_raw", "0xc0000fff", "0xc0000fff" },
        { "echo nan > in_temp0_raw", "0xc00005c2", "0xc0000fff" },              // no reading: as before
        { "printf '68\\0garbage' > in_temp0_raw", "0xc0000ae0", "0xc0000d02" }, // up; down, so the edge is 73
        // The values of a real unit's converter: (2668 - 2219) * 123.040771484 / 1000 = 55.2453 degrees. Slow: in the
        // band of 56. Fast: a window below the edge of the band, so 0.2 + 0.8 * 10.2453 / 30 of 4095.
        { "echo -2219 > in_temp0_offset; echo 2668 > in_temp0_raw; echo 123.040771484 > in_temp0_scale",
          "0xc00005c2", "0xc0000791" },
    };

    for (const auto& [change, slow, fast] : rows)
        for (const auto& [start, expected] : { std::pair ("56", slow), { "90", fast } })
        {
            Unit unit ("OZ000001", start);
            unit.at (3500, std::string ("cd /sys/bus/iio/devices/iio:device0; ") + change);
            const auto run = unit.withGuiRunning().runUntil (5900);
            EXPECT_EQ (expected, run.writeBeforeTheEnd()) << start << " then " << change << run.describe();
        }
}

UNIT_TEST (Cooling, runsAtFullSpeedWhileTheSensorIsAway)
{
    const std::pair<const char*, const char*> rows[] = {
        { "", "0 0xc0000fff|9000 0xc0000bba|10900 0xc0000fff|" }, // no sensor at the start, later 65
        { "40", "0 0xc0000fff|3000 0x0|6000 0xc0000fff|9000 0x0|10900 0xc0000fff|" },
        { "65", "0 0xc0000fff|3000 0xc0000999|6000 0xc0000fff|9000 0xc0000bba|10900 0xc0000fff|" },
        { "90", "0 0xc0000fff|" },
    };

    for (const auto& [start, expected] : rows)
    {
        Unit unit ("OZ000001", start);

        if (*start == 0)
            unit.at (8500, "temperature 65");
        else
            unit.at (5500, "sensor remove").at (8500, "sensor restore");

        const auto run = unit.withGuiRunning().runUntil (10900);
        std::string fan;

        for (const auto& event : run.events)
            if (event.text.rfind ("fan ", 0) == 0)
                fan += std::to_string (event.milliseconds) + event.text.substr (3) + "|";

        EXPECT_EQ (expected, fan) << "from " << start;
    }
}

UNIT_TEST (Cooling, raisesAlarmsAboveTheirThresholds)
{
    // Ten readings a second, at 3, 4 and 5 s. The repetitions count from the first line.
    const auto repeated = [] (const char* line, int times)
    { return juce::String::repeatedString (line, times).toStdString(); };
    const auto again = "|" + repeated ("+0.0s|", 9) + repeated ("+1.0s|", 10) + repeated ("+2.0s|", 10);
    const std::pair<const char*, std::string> rows[] = { { "85", "" },
                                                         { "85.1", "CRITICAL: Core Temperature: 85.1" + again },
                                                         { "90", "CRITICAL: Core Temperature: 90" + again },
                                                         { "90.1", "ERROR: Core Temperature: 90.1" + again } };

    for (const auto& [temperature, expected] : rows)
    {
        const auto run = Unit ("OY000001", temperature).withGuiRunning().runUntil (5900);
        std::string alarms;

        for (const auto& message : run.messages)
            if (message.find ("Temperature") != std::string::npos || message.front() == '+')
                alarms += message + "|";

        EXPECT_EQ (expected, alarms) << run.describe();
    }
}

UNIT_TEST (Cooling, isLeftAloneOnProductsWithoutFan)
{
    for (const auto* serial : { "OT123456", "OX123456", "bad" })
    {
        const auto run = Unit (serial, "95").runUntil (60000);
        EXPECT_TRUE (run.registerWrites.empty()) << run.describe();
        EXPECT_EQ (0, run.countOf ("ERROR: Core Temperature: 95"));
    }
}

TEST (Cooling, readsNoSensorOnProductsWithoutFan)
{
    const auto readAsTessel = []
    {
        OrbisUtils::getTesselType ("OT");
        std::exit (getCoreTemperature() == 0.0f ? 0 : 1); // a missing sensor counts as 80
    };
    EXPECT_EXIT (readAsTessel(), testing::ExitedWithCode (0), "");
}

UNIT_TEST (Cooling, reportsEveryWriteThatFailsAndGoesOn)
{
    Unit unit ("OD123456", "65");
    unit.withSettings ({ { "FanAddress", "0xfee1" }, { "LogLevel", "4" } }).with ("run/devmem-fails", "");
    const auto run = unit.withGuiRunning().at (3500, "rm /run/unit/devmem-fails").runUntil (4900);
    EXPECT_EQ (1, run.countOf ("ERROR: Adjusting fan speed to 1 FAILED! devmem 0xfee1 32 0xc0000fff"))
        << run.describe();
    EXPECT_EQ (1, run.countOf ("ERROR: Adjusting fan speed to 0.6 FAILED! devmem 0xfee1 32 0xc0000999"));
    EXPECT_EQ (1, run.countOf ("INFO: Adjusting fan speed to 0.6 devmem 0xfee1 32 0xc0000999"));
    EXPECT_EQ (11U, run.registerWrites.size()); // ten in the last pass, and one at the signal
}
