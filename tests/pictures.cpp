// The pictures and warnings of fan-curve, the pictures and the display of ./simulate.
#include <cstdlib>
#include <regex>

#include <gtest/gtest.h>

#include "tests/Unit.h"

namespace
{
const std::string fanCurve = "'" BUILD_FOLDER "/tools/fan-curve' "; // in quotation marks for the shell
const std::string sources = SOURCE_FOLDER;
}

TEST (FanCurveTool, warnsOfSettingsThatNobodyMeans)
{
    // clang-format off
    const std::pair<std::vector<std::pair<std::string, std::string>>, std::string> rows[] = {
        { {}, "" },
        { { { "UpperTempLimit", "75" }, { "LowerTempLimit", " 4.5e1 " }, { "FanAddress", "0x1" }, { "LogLevel", "4" } }, "" },
        { { { "UpperTempLimit", "80.5" } }, "UpperTempLimit 80.5 is above 80: the daemon uses 80" },
        { { { "LowerTempLimit", "-10" } }, "LowerTempLimit -10 is below 0: the daemon uses 0" },
        { { { "Progression", "0.5" } }, "Progression 0.5 is below 1: the daemon uses 1" },
        { { { "FanPWMResolution", "-1" } }, "FanPWMResolution -1 is below 0: the daemon uses 0" },
        { { { "MinSpeed", "0.3" } }, "ThresholdSpeed 0.2 is below MinSpeed 0.3: the daemon uses 0.3" },
        { { { "ThresholdSpeed", "60" } }, "ThresholdSpeed 60 is above 1, which is full speed" },
        { { { "LowerTempLimit", "80" } }, "LowerTempLimit 80 is not below UpperTempLimit 80: up to 80 C the fan keeps to MinSpeed" },
        { { { "Color", "red" } }, "the daemon knows no key \"Color\"" },
        { { { "minspeed", "0.1" } }, "the daemon knows no key \"minspeed\", but \"MinSpeed\"" },
        { { { "MinSpeed", "0,1" } }, "MinSpeed \"0,1\" is no plain number: the daemon uses 0" },
        { { { "Progression", "steep" } }, "Progression \"steep\" is no plain number: the daemon uses 1" },
        { { { "TempWindow", "" } }, "TempWindow \"\" is no plain number: the daemon uses 0" },
        { { { "TempWindow", "inf" } }, "TempWindow \"inf\" is no plain number: the daemon uses inf" },
        { { { "FanPWMResolution", "0xfff" } }, "FanPWMResolution \"0xfff\" is no plain number: the daemon uses 0" },
        { { { "FanAddress", "0x42; reboot" } }, "FanAddress \"0x42; reboot\" is no address such as 0x42010000" },
        { { { "LogLevel", "1.5" } }, "LogLevel \"1.5\" is no plain number: the daemon uses 1" },
    };
    // clang-format on

    for (const auto& [keys, warnings] : rows)
    {
        Unit unit;
        unit.withSettings (keys);
        const auto outcome =
            shell (fanCurve + "'" + (unit.folder / Unit::settingsFile).string() + "' 2>&1 >/dev/null");
        EXPECT_EQ (warnings.empty() ? "" : "fan-curve: warning: " + warnings + "\n", outcome.output);
        EXPECT_EQ (0, outcome.status) << warnings;
    }
}

TEST (FanCurveTool, namesTheWrongArgument)
{
    Unit unit;
    const std::string folder = unit.folder;
    unit.with ("broken.ppf", "<PROPERTIES><VALUE name=").with ("foreign.ppf", "<SETTINGS/>");
    unit.with ("large.ppf", "<PROPERTIES>" + std::string (8192, ' ') + "</PROPERTIES>");

    // Always the last word. The daemon cannot use the last five.
    for (const auto& arguments : std::vector<std::string> {
             "-o", "-o curve.png", "--output=curve.png", "--what", "a --what", "-o a.csv -x", "a b",
             "-- --what -o", "-o /no/a.csv", "-o /no/a.svg", folder + "/broken.ppf", folder + "/foreign.ppf",
             folder + "/large.ppf", folder + "/missing.ppf", folder + "/home" })
    {
        const auto outcome = shell (fanCurve + arguments + " 2>&1");
        const auto wrong = arguments.substr (arguments.find_last_of (" =") + 1);
        EXPECT_EQ (2, outcome.status) << arguments;
        expectParts ("\n" + outcome.output, { "\nfan-curve: ", " " + wrong });
    }
}

TEST (FanCurveTool, takesOptionsAndFileInAnyOrder)
{
    Unit unit;
    unit.with ("-stopped ü.ppf", R"(<PROPERTIES><VALUE name="UpperTempLimit" val="nan"/></PROPERTIES>)");
    const auto enter = "cd '" + unit.folder.string() + "' && ";

    for (const std::string arguments :
         { "-o 1.csv './-stopped ü.ppf'", "'./-stopped ü.ppf' -o 1.csv", "'./-stopped ü.ppf' --output=1.csv",
           "--output 1.csv -- '-stopped ü.ppf'" })
    {
        EXPECT_EQ (0, shell (enter + "rm -f 1.csv && " + fanCurve + arguments + " 2>/dev/null").status)
            << arguments;
        // The daemon stops the fan because the curve is no number.
        expectParts (contentOf (unit.folder / "1.csv"), { "\n65,0,0\n" });
    }
}

TEST (FanCurveTool, writesTheSpeedsOfBothDirections)
{
    Unit unit;
    const std::string file = unit.folder / "curve.csv";
    ASSERT_EQ (0, shell (fanCurve + "--output '" + file + "'").status);

    // Worked out by hand: 0.2 + 0.8 * (edge - 50) / 30. Rising, the edge is the temperature; falling, 5 above it.
    expectParts ("\n" + contentOf (file),
                 { "\ntemperature,rising,falling\n", "\n20,0,0\n", "\n45,0,0\n", "\n46.25,0,0.233333\n",
                   "\n50,0,0.333333\n", "\n50.75,0.22,0.353333\n", "\n65,0.6,0.733333\n", "\n75,0.866667,1\n",
                   "\n80,1,1\n", "\n90,1,1\n" });
}

TEST (FanCurveTool, showsBothDirectionsOnATerminal)
{
    // 100 % from 75 C falling and from 80 C rising: columns 55 and 60 after the label.
    // 0 % up to 45 C falling and up to 50 C rising.
    expectParts (shell (fanCurve).output, { "\n 100 |" + std::string (55, ' ') + "<<<<<===========\n",
                                            "\n   0 |" + std::string (26, '=') + ">>>>>\n" });
}

TEST (FanCurveTool, drawsThePictureOfTheDocumentation)
{
    Unit unit;
    const std::string file = unit.folder / "it's.";

    for (const std::string extension : { "csv", "svg" })
        ASSERT_EQ (0, shell (fanCurve + "-o \"" + file + extension + "\"").status);

    // The numbers: each version of gnuplot draws them in its own way.
    EXPECT_TRUE (contentOf (file + "csv") == contentOf (sources + "/docs/fan-curve.csv"))
        << "docs/fan-curve.svg does not show the daemon's curve. If the curve is right: ./fan-curve -o "
           "docs/fan-curve.svg; ./fan-curve -o docs/fan-curve.csv";

    for (const auto& picture : { contentOf (file + "svg"), contentOf (sources + "/docs/fan-curve.svg") })
        expectParts (picture, { "<svg", ">rising<", ">falling<" });
}

UNIT_TEST (Timeline, showsTemperatureFanProgramsAndLog)
{
    Unit unit;
    unit.at (18000, "temperature 87").at (20000, "temperature 91").at (21500, "sensor remove");
    unit.at (22000, "process crash application").at (26500, "sensor restore");
    const auto run = unit.runShell ("simulate --for 30 < /dev/null");
    ASSERT_EQ (0, run.status) << run.describe() << run.output;

    // Each change with the value before it, and the values at the end.
    expectParts (contentOf (unit.folder / "run/timeline"),
                 { "0 temperature 45\n", "18000 temperature 45\n18000 temperature 87\n",
                   "21500 temperature 91\n21500 temperature NaN\n",
                   "26500 temperature NaN\n26500 temperature 91\n", "30000 temperature 91\n",
                   "0 fan NaN\n0 fan 0xc0000fff\n", "3000 fan 0xc0000fff\n3000 fan 0x0\n",
                   "1000 application 0\n1000 application 1\n", "22000 application 1\n22000 application 0\n",
                   "6000 GUI 0\n6000 GUI 1\n", "30000 GUI 1\n", "\n6000 ERROR 0\n", "\n30000 other 0\n" });

    const auto svg = shell ("cd '" + (unit.folder / "run").string() + "' && gnuplot '" + sources +
                            "/simulator/timeline.gnuplot' 2> complaints");
    EXPECT_EQ (0, svg.status);
    EXPECT_EQ ("", contentOf (unit.folder / "run/complaints"))
        << "gnuplot complains, for example of a track without data";

    // Each track has a curve in its colour, and each kind of log line a mark.
    expectParts (svg.output, { ">Temperature<", ">Fan<", ">Running<", ">Log lines<", "rgb(213,  94,   0",
                               "rgb(  0, 114, 178", "rgb(  0, 158, 115", "rgb(170,  68, 153", "rgb( 64,  64,  64",
                               "rgb(230, 159,   0", "rgb(192,   0,   0" });
}

UNIT_TEST (Display, foldsRepetitionsUnlessAllLinesAreWanted)
{
    for (const std::string option : { "", "--all-lines" })
    {
        Unit unit ("OD123456", "91"); // an alarm and nine repetitions in the first pass that reads the sensor
        const auto run = unit.runShell ("simulate " + option + " --for 3.5 < /dev/null");
        const auto countOf = [&run] (const std::string& ending) // of lines, after the time, which varies
        {
            const std::regex line ("log      " + ending + "\n");
            return std::distance (std::sregex_iterator (run.output.begin(), run.output.end(), line), {});
        };
        EXPECT_EQ (option.empty() ? 0 : 9, countOf ("\\+0\\.0s")) << run.output;
        EXPECT_EQ (option.empty() ? 1 : 0, countOf ("\\+0\\.0s, 9 times")) << run.output;
        EXPECT_EQ (std::string::npos, run.output.find ('\033')) << "no colours without a terminal";

        // Standard error has the quotation mistake of the daemon's own command, and nothing from the sandbox.
        EXPECT_EQ ("sh: 1: Syntax error: Unterminated quoted string\n", contentOf (unit.folder / "run/stderr"));
        EXPECT_EQ ("-1 /home/root/ORBIStessel/ORBIStessel\n", contentOf (unit.folder / "run/niceness"));
    }
}

UNIT_TEST (Display, coloursATerminalUnlessForbidden)
{
    for (const std::string forbidden : { "", "yes" })
    {
        ::setenv ("NO_COLOR", forbidden.c_str(), 1);
        const auto run = Unit().runShell ("script -qec 'simulate --for 2' /dev/null < /dev/null");
        expectParts (run.output, { "ORBIStessel started" });
        EXPECT_EQ (forbidden.empty(), run.output.find ('\033') != std::string::npos) << run.output;
    }

    ::unsetenv ("NO_COLOR");
}
