// The files of the package: default settings, boot unit, start script.
#include <regex>

#include <gtest/gtest.h>

#include "supervisor/Settings.h"
#include "tests/Unit.h"

namespace
{
const std::string packaging = PACKAGING_FOLDER;

/** The value of a key in the boot unit, without the "-" that makes systemd ignore a failure. */
std::string bootUnit (const std::string& key)
{
    const auto file = contentOf (packaging + "/ORBISdaemon.service");
    std::smatch found;
    EXPECT_TRUE (std::regex_search (file, found, std::regex ("\n" + key + "=-?(.*)\n"))) << key;
    return found[1];
}
}

TEST (DefaultSettings, areThoseOfADaemonWithoutSettings)
{
    const juce::File file (packaging + "/ORBISdaemon.ppf");
    EXPECT_LT (file.getSize(), 4096) << "the daemon ignores a file above 8192 bytes, and users add comments";
    juce::PropertiesFile stated (readableSettings (file), settingsOptions());

    auto keys = stated.getAllProperties().getAllKeys();
    keys.sort (false);
    EXPECT_EQ (
        "FanAddress FanPWMResolution LogLevel LowerTempLimit MinSpeed Progression TempWindow ThresholdSpeed "
        "UpperTempLimit",
        keys.joinIntoString (" ").toStdString());

    const auto values = [] (const juce::PropertySet& settings)
    {
        const auto fan = readFanRegister (settings);
        const auto c = readFanCurve (settings);
        return std::make_tuple (fan.address, fan.resolution, readLogLevel (settings), c.upperTempLimit,
                                c.lowerTempLimit, c.tempWindow, c.minSpeed, c.thresholdSpeed, c.progression);
    };
    EXPECT_TRUE (values ({}) == values (stated));
}

UNIT_TEST (BootUnit, leavesTheFanAtFullSpeedAfterAKill)
{
    const std::pair<std::vector<std::pair<std::string, std::string>>, std::string> rows[] = {
        { {}, "0x42010000 32 0xc0000fff" },
        { { { "FanAddress", "0x43000010" }, { "FanPWMResolution", "255" } }, "0x43000010 32 0xc00000ff" },
        { { { "FanPWMResolution", "-1" } }, "0x42010000 32 0xc0000000" },
        { { { "FanPWMResolution", "0x10" } }, "0x42010000 32 0xc0000000" }, // decimal: 0
        { { { "FanPWMResolution", "4095.7" } }, "0x42010000 32 0xc0000fff" },
        { { { "FanPWMResolution", "full" } }, "0x42010000 32 0xc0000000" },
    };

    for (const auto& [settings, lastWrite] : rows)
    {
        Unit unit;
        unit.withSettings (settings).at (20000, "pkill -KILL -x ORBISdaemon");
        const auto run = unit.runShell ("with-clock " + bootUnit ("ExecStart") + "; cat /run/unit/register\n" +
                                        "with-clock " + bootUnit ("ExecStopPost") + "; cat /run/unit/register\n" +
                                        "pgrep -x -c ORBIStessel; pgrep -x -c ORBISpad");
        EXPECT_EQ (lastWrite.substr (0, 10) + " 32 0x0\n" + lastWrite + "\n1\n1\n", run.output) << run.describe();
    }
}

UNIT_TEST (BootUnit, touchesNoFanWhereThereIsNone)
{
    const auto run = Unit ("OT123456").runShell ("with-clock " + bootUnit ("ExecStopPost"));
    EXPECT_EQ (0, run.status) << run.describe();
    EXPECT_TRUE (run.registerWrites.empty()) << run.describe();
}

UNIT_TEST (OutOfMemoryProtection, isNotInherited)
{
    if (contentOf ("/proc/self/oom_score_adj") != "0\n")
        GTEST_SKIP() << "this process does not have the usual score of 0";

    // Any process may raise its score and lower it to its old value. Only a lower one takes a privilege.
    Unit unit;
    unit.withUnopenableLog()
        .with ("run/recovery", "cat /proc/self/oom_score_adj")
        .at (20000, "killall -KILL ORBIStessel")
        .at (60000,
             "for name in ORBISdaemon ORBIStessel ORBISpad; do cat /proc/$(pgrep -x $name)/oom_score_adj; done")
        .at (60100, "pkill -TERM -x ORBISdaemon");
    const auto run = unit.runShell ("echo 500 > /proc/self/oom_score_adj; $daemon");
    EXPECT_EQ ("0\n500\n0\n0\n", run.output) << "of the recovery and the three programs\n" << run.describe();
    EXPECT_EQ (2U, run.timesOf ("ORBIStessel started").size());
}
