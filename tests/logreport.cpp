// log-report, through its command line: what it tells of logs with known contents, of broken ones, and of a simulated unit.
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/Unit.h"

namespace
{
const std::string logReport = LOG_REPORT " "; // in quotation marks for the shell
const std::string sources = SOURCE_FOLDER;

#ifdef HAS_MEMORY_LIMIT
const std::string limit = "ulimit -v 50000; "; // KiB
const std::string bytes = "52000000";
#else
const std::string limit;
const std::string bytes = "2000000"; // a sanitizer and qemu are slow
#endif

/** A folder with logs. */
struct Logs
{
    Logs()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "logsXXXXXX";
        folder = ::mkdtemp (pattern.data());
    }
    ~Logs() { std::filesystem::remove_all (folder); }
    Logs (const Logs&) = delete;
    Logs& operator= (const Logs&) = delete;

    std::string write (const std::string& name, const std::string& content) const
    {
        std::ofstream (folder / name, std::ios::binary) << content;
        return "'" + (folder / name).string() + "'";
    }

    /** What it says of one log. */
    Outcome report (const std::string& options, const std::string& content) const
    {
        return shell (logReport + options + " " + write ("ORBISdaemon.log", content) + " 2>&1");
    }

    std::filesystem::path folder;
};

using Lines = std::vector<std::string>;

/** The lines of a log. A line that begins with a time of day gets a day before it. */
std::string logOf (const Lines& lines)
{
    std::string log;

    for (const auto& line : lines)
        log += (line.find (':') == 2 ? "9 May 2026 " : "") + line + "\r\n";

    return log;
}

Lines start (const std::string& time, const std::string& period = "am")
{
    const auto hour = std::stoi (time);
    const std::string stars (58, '*'), begin = std::to_string (hour == 0 ? 12 : hour) + time.substr (2);
    const auto device = time + " : Device DMI-ORBIS Serial OD123456 with GUI ORBISpad";
    const auto started = "Log started: 9 May 2026 " + begin + period, level = time + " : Loglevel set to 4";
    return { "",     stars, "ORBISdaemon 4.3.24", started, "", "Limit: 128 k", " Binary: 21 Nov 2026 5:16:46",
             device, level };
}

Lines operator+ (Lines lines, const Lines& more)
{
    lines.insert (lines.end(), more.begin(), more.end());
    return lines;
}

const std::string absent = " : ORBIStessel not running. Starting ...";

/** Each row: the lines of a log, and what the JSON tells of it. */
void expectTold (const std::vector<std::pair<Lines, Lines>>& rows)
{
    const Logs logs;

    for (const auto& [lines, told] : rows)
    {
        const auto log = logOf (lines);
        const auto outcome = logs.report ("--json", log);
        EXPECT_EQ (0, outcome.status) << log;
        expectParts (outcome.output, told);
    }
}
}

TEST (LogReport, tellsEachLifeAndHowItEnded)
{
    const auto boot = start ("09:00:05") + Lines { "09:00:05 : 2 arguments!", "09:00:05 : fan-at-full-speed" };

    // clang-format off
    expectTold ({
        { start ("09:00:00"), { R"("lives":{"count":1,)", R"("begin":"2026-05-09T09:00:00")", R"("end":"open")", R"("logLevel":4)", R"("unit":{"product":"DMI-ORBIS","serial":"OD123456","guiName":"ORBISpad","version":"4.3.24","build":"21 Nov 2026 5:16:46"})" } },
        { start ("09:00:00") + Lines { "09:00:04 : Interrupt signal (11) received." },
          { R"("end":"signal","endTime":"2026-05-09T09:00:04","signal":11)", R"("verdict":"act")" } },
        { start ("09:00:00") + Lines { "09:00:04 : Interrupt signal (15) received.", "09:00:04 : INFO: Adjusting fan speed to 1 devmem 0x42010000 32 0xc0000fff" } + boot, { R"("count":1,)", R"("signal":15,"bootUnitFollowed":true)", R"("bootUnitStarts":1)", R"("verdict":"nothing")" } },
        { start ("09:00:00") + boot, { R"("end":"nothing","endTime":"2026-05-09T09:00:05","bootUnitFollowed":true)", R"("name":"killed","weight":"look")" } },
        { start ("09:00:00") + start ("09:10:00"), { R"("count":2,)", R"("end":"nothing","bootUnitFollowed":false)", R"("verdict":"nothing")" } },
        { boot, { R"("lives":{"count":0,)", R"("unit":{"product":"DMI-ORBIS","serial":"OD123456")" } },
        { start ("09:00:00") + Lines { "09:00:00" + absent, "09:00:09" + absent, "09:00:10 : Interrupt signal (15) received." },
          { R"("absent":2,"double":0,"backOffMs":2000,)" } },
        { start ("09:00:00") + Lines { "09:00:04 : Could not execute pgrep command." }, { R"("end":"no-process")", R"("verdict":"act")" } },
        { { "09:00:04 : Interrupt signal (2) received." },
          { R"("kind":"supervision","lastLine":"2026-05-09T09:00:04","end":"signal")", R"("front":true)" } },
        // Maintenance beside a running daemon, whose run of repetitions goes on.
        { start ("09:00:00") + Lines { "09:00:04 : CRITICAL: Core Temperature: 86" } + start ("09:01:00") + Lines { "09:01:00 : 2 arguments!", "09:01:00 : MUTEDAC", "09:01:00 : ERROR: Type DMI-ORBIS not implemented yet!", "+70.0s", "09:02:00 : Interrupt signal (2) received." },
          { R"("kind":"maintenance","begin":"2026-05-09T09:01:00","lastLine":"2026-05-09T09:01:00","end":"itself")", R"("arguments":"MUTEDAC","mutedDac1":false,"mutedDac2":false,"disconnected":false,"failures":0,"outcome":"refused")", R"("end":"signal","endTime":"2026-05-09T09:02:00","signal":2)", R"("end":"2026-05-09T09:01:14")" } },
        { start ("09:00:00") + start ("09:00:03") + Lines { "09:00:03 : 2 arguments!", "09:00:03 : MUTEDAC", "09:00:03 : Mute DAC2!", "09:00:04 : Interrupt signal (15) received." } + boot,
          { R"("signal":15,"bootUnitFollowed":true)", R"("verdict":"nothing")" } },
        { start ("09:01:00") + Lines { "09:01:00 : 2 arguments!", "09:01:00 : MUTEDAC", "09:01:00 : Mute DAC2!", "09:01:00 : FPGA-Router address error: 3 Z Bad file descriptor" },
          { R"("mutedDac1":false,"mutedDac2":true)", R"("outcome":"failed")", R"("name":"chip-not-addressed","of":"FPGA-Router","weight":"act","count":1)" } },
    });
    // clang-format on
}

TEST (LogReport, findsRestartStormsAndTheirWaits)
{
    // Starts 1 to 5 of docs/supervision.md at 1 s passes, and one after the application has held for an hour.
    const auto storm = start ("09:00:00") + Lines { "09:00:00" + absent, "+4.0s", "+11.0s", "+24.0s", "+49.0s" };
    // clang-format off
    expectTold ({
        { storm + Lines { "10:00:49" + absent, "10:01:49 : Interrupt signal (2) received." },
          { R"("storms":{"count":1,"list":[{"begin":"2026-05-09T09:00:00","end":"2026-05-09T09:00:49","seconds":49,"starts":5,"absent":5,"double":0,"backOffMs":32000,"secondsWithoutAtLeast":31,"secondsWithoutAtMost":65}])", R"("application":{"absent":6,"double":0,"backOffMs":64000,"secondsWithoutAtLeast":63,"secondsWithoutAtMost":97,"longestHeldSeconds":3584,"longestWaitSeconds":60})", R"("verdict":"act")" } },
        { start ("09:00:00") + Lines { "09:00:00" + absent, "+4.0s", "+11.0s", "+24.0s" },
          { R"("storms":{"count":0)", R"("name":"application-absent","weight":"look","count":4)" } },
        { start ("09:00:00") + Lines { "09:00:00" + absent, "+4.0s", "08:00:04 : ERROR:ORBISpad not running. Starting ...", "08:00:11" + absent },
          { R"("absent":3,"double":0,"backOffMs":8000,"secondsWithoutAtLeast":3,"secondsWithoutAtMost":11,)" } },
        // The start of the daemon was cut off: the gaps tell that these are starts 4 to 8.
        { { "09:00:00" + absent, "09:00:25 : ORBIStessel two instances running. Re-Starting ...", "+49.0s", "+146.0s", "+339.0s" }, { R"("starts":5,"absent":1,"double":4,"backOffMs":256000)" } },
        { { "09:00:00" + absent }, { R"("application":{"absent":1,"double":0,"secondsWithoutAtLeast":0)" } },
        { start ("09:00:00") + Lines { "09:00:00" + absent, "09:01:00 : ORBIStessel two instances running. Re-Starting ...", "09:02:00 : ERROR:ORBISpad not running. Starting ...", "09:03:00 : ERROR:ORBISpad two instances running. Re-Starting ...", "09:03:30 : ERROR:ORBISpad instance running. but shoud not. Will kill. " },
          { R"("absent":1,"double":1,"backOffMs":4000)", R"("gui":{"absent":1,"double":1,"killed":1})", R"("name":"gui-killed","weight":"look")" } },
        { { "09:00:00 : Device ORBIS:lumo Serial OX123456 without GUI ORBIStesselGUI", "09:03:30 : ERROR:ORBIStesselGUI instance running. but shoud not. Will kill. " },
          { R"("killed":1)", R"("verdict":"nothing")" } },
        { { "09:00:00 : Device ORBIS:tessel Serial OTDEMOMO with GUI ORBIStesselGUI" }, { R"("name":"device","weight":"look")" } },
    });
    // clang-format on
}

TEST (LogReport, followsHeatAndFan)
{
    // clang-format off
    expectTold ({
        { { "09:00:00 : CRITICAL: Core Temperature: 86.5", "+0.0s", "+1.0s", "09:00:02 : ERROR: Core Temperature: 91", "+59.9s", "09:02:02 : CRITICAL: Core Temperature: 90" },
          { R"("above85":4,"above90":2,"highest":91,"times":{"count":2,"list":[{"begin":"2026-05-09T09:00:00","end":"2026-05-09T09:01:01","seconds":62,"above85":3,"above90":2,"highest":91},{"begin":"2026-05-09T09:02:02")" } },
        // The clock is set back within a time of heat. The daemon is started again within another.
        { { "09:00:00 : CRITICAL: Core Temperature: 88", "08:30:00" + absent, "08:30:20 : CRITICAL: Core Temperature: 86", "+10.0s" },
          { R"("times":{"count":1,"list":[{"begin":"2026-05-09T09:00:00","end":"2026-05-09T08:30:30","seconds":30,"above85":3,"above90":0,"highest":88}])" } },
        { start ("09:00:00") + Lines { "09:00:04 : ERROR: Core Temperature: 91" } + start ("09:00:30") + Lines { "09:00:34 : ERROR: Core Temperature: 93", "09:01:34 : CRITICAL: Core Temperature: 86" },
          { R"("highest":93,"times":{"count":2,"list":[{"begin":"2026-05-09T09:00:04","end":"2026-05-09T09:00:34","seconds":30,"above85":0,"above90":2,"highest":93},{)" } },
        { { "09:00:00 : INFO: Adjusting fan speed to 0.25 devmem 0x1 32 0xc0000333", "+0.0s", "09:00:01 : INFO: Adjusting fan speed to 1 devmem 0x1 32 0xc0000fff", "09:00:02 : ERROR: Adjusting fan speed to 1 FAILED! devmem 0x1 32 0xc0000fff", "+0.0s" },
          { R"("fan":{"writes":3,"failedWrites":2,"lowest":0.25,"highest":1,"courseIsShortened":false,"course":[{"time":"2026-05-09T09:00:00","speed":0.25},)", R"("name":"fan-failed","weight":"act","count":2)" } },
    });
    // clang-format on
}

TEST (LogReport, showsJumpsOfTheClock)
{
    const std::string none = R"("clockJumps":{"count":0)";
    // clang-format off
    expectTold ({
        { { "09:00:00" + absent, "08:00:00 : Interrupt signal (2) received." },
          { R"("clockJumps":{"count":1,"list":[{"line":2,"from":"2026-05-09T09:00:00","to":"2026-05-09T08:00:00","seconds":-3600}]})" } },
        { { "09:00:00" + absent, "+30.0s", "+-12.0s", "+-3.0s", "08:59:57 : Interrupt signal (2) received." },
          { R"("count":1,"list":[{"line":3,"from":"2026-05-09T09:00:30","to":"2026-05-09T08:59:48","seconds":-42}])" } },
        // A stamp has no fraction, so that it can seem to be earlier than a repetition.
        { { "09:00:00" + absent, "+29.9s", "09:00:29 : Interrupt signal (2) received." }, { none } },
        { start ("09:00:00") + Lines { "10 May 2026 9:00:01 : 10 May 2026 9:00" }, { none } },
        { start ("09:00:00") + Lines { "12 May 2026 10:00:00 : 12 May 2026 10:00" },
          { R"("from":"2026-05-09T09:00:00","to":"2026-05-12T10:00:00","seconds":176400)" } },
        // The clock was set back by 2 hours, so the day stamp comes 26 hours after the start.
        { start ("09:00:00") + Lines { "07:00:00 : CRITICAL: Core Temperature: 86", "10 May 2026 9:00:01 : 10 May 2026 9:00" },
          { R"("clockJumps":{"count":1,)" } },
        { start ("12:00:00", "pm") + Lines { "12:00:00" + absent }, { none, R"("begin":"2026-05-09T12:00:00")" } },
        { start ("00:00:10") + Lines { "0:00:10" + absent }, { none, R"("begin":"2026-05-09T00:00:10")" } },
    });
    // clang-format on
}

TEST (LogReport, countsWhatItDoesNotUnderstand)
{
    const std::string full = "9 May 2026 9:08:07 : ERROR: Core Temperature: 91";
    // clang-format off
    expectTold ({
        { { "+1.0s", "+2.0s", "9 May 2026 9:08:07 : CRITICAL: Core Temperature: 86" },
          { R"("front":true,"repetitionsWithoutLine":2)", R"("notUnderstood":{"count":0)", R"("above85":1)" } },
        // A full disk: within a message, within a stamp, within a number, behind a message. "8" and "9 May" are no "89 May",
        // and "91" and "9 May" no "9" and "19 May".
        { { "9 May 2026 9:08:07 : CRITICAL: Core Te" + full },
          { R"("gluedLines":1)", R"("count":1,"list":[{"line":1,"text":"CRITICAL: Core Te"}])", R"("above90":1)" } },
        { { "9 May 2026 9:0" + full }, { R"("gluedLines":1)", R"("text":"9 May 2026 9:0")", R"("above90":1)" } },
        { { "9 May 2026 9:08:07 : CRITICAL: Core Temperature: 8" + full },
          { R"("text":"CRITICAL: Core Temperature: 8")", R"("above85":0,"above90":1)" } },
        { { "21 Nov 2026 9:08:07 : CRITICAL: Core Te21 Nov 2026 9:08:07 : CRITICAL: Core Temperature: 86" }, { R"("text":"CRITICAL: Core Te")", R"("clockJumps":{"count":0)" } },
        { { full + full }, { R"("gluedLines":1)", R"("above90":2)", R"("notUnderstood":{"count":0)", R"("clockJumps":{"count":0)" } },
        { { "9 May 2026 9:08:07 : INFO: Adjusting fan speed to 0." + full }, { R"("writes":0)", R"("above90":1)" } },
        { { "a\001\"\\\xff", "1 Jux 2026 9:08:07 : 2 arguments!", "09:08:07 : Interrupt signal (x) received." },
          { R"("text":"a\\x01\"\\x5c\\xff")", R"("count":3)", R"("name":"not-understood","weight":"look","count":3)" } },
        { { std::string (9000, 'x'), "+1e308s", "+nans", "+99999999999999999999.0s", "Log started: 9 May 2026 9:08:07" },
          { R"("longLines":1)", R"("notUnderstood":{"count":4)" } },
        { { "09:08:07 : CRITICAL: Core Temperature: 1e400", "09:08:07 : Loglevel set to 1e30", "09:08:07 : Interrupt signal (99999999999999999999) received." },
          { R"("above85":0)" } },
    });
    // clang-format on

    const Logs logs;
    expectParts (logs.report ("--json", "9 May 2026 9:08:07 : Interrupt").output, { R"("endsWithinLine":true)" });
    std::string many;

    for (int i = 0; i < 1000; ++i)
        many += std::string (1, '\0') + std::to_string (i) + "\n";

    const auto text = logs.report ("", many).output;
    expectParts (text, { "Not understood: 1000 lines\n", "988 more later, not shown\n" });
    EXPECT_EQ (std::string::npos, text.find ('\0')) << text;
}

TEST (LogReport, takesAnyLengthInBoundedMemory)
{
    for (const std::string line : { "", "9 May 2026 9:08:07 : ORBIStessel not running. Starting ...",
                                    "\\n**********************************************************" })
    {
        const auto input = line.empty() ? "cat /dev/zero" : "yes \"$(printf '" + line + "')\"";
        const auto outcome = shell (input + " | head -c " + bytes + " | (" + limit + logReport + "--json -)");
        EXPECT_EQ (0, outcome.status);
        expectParts (outcome.output.substr (0, 500), { "\"bytes\":" + bytes });
    }
}

TEST (LogReport, hasTheVerdictAsExitStatusIfAskedFor)
{
    const Logs logs;
    const auto nothing = logs.write ("nothing", logOf (start ("09:00:00")));
    const auto look = logs.write ("look", logOf ({ "09:00:00 : CRITICAL: Core Temperature: 86" }));
    const auto act = logs.write ("act", logOf ({ "09:00:00 : ERROR: Core Temperature: 96" }));

    const Lines argumentsByStatus[] = {
        { "--check " + nothing, act, "--help" },
        { "--check " + look, "--check - < " + look, "--check --json -- " + look },
        { act + " --check", "--check " + nothing + " " + act + " " + look },
        { "--what " + act, "", "/missing " + act, "/tmp", "-o", "-o curve.png " + act,
          "-o a.svg " + act + " " + look, "--output=/no/a.svg " + act },
    };

    for (int status = 0; status < 4; ++status)
        for (const auto& arguments : argumentsByStatus[status])
            EXPECT_EQ (status, shell (logReport + arguments + " > /dev/null 2>&1").status) << arguments;

    const auto table = shell (logReport + nothing + " /missing " + look + " " + act + " 2> /dev/null").output;
    std::size_t last = 0;

    for (const std::string begin : { "Verdict ", "\nact ", "\n? ", "\nlook at it ", "\nnothing to do " })
    {
        const auto at = table.find (begin);
        EXPECT_TRUE (at != std::string::npos && at >= last) << begin << "\n" << table;
        last = at;
    }
}

TEST (LogReport, isColouredOnlyOnATerminalAndKeepsItsWidth)
{
    const Logs logs;
    const auto log = logs.write ("ORBISdaemon.log",
                                 logOf (start ("09:00:00") + Lines { "09:00:00 : CRITICAL: Core Temperature: 86",
                                                                     std::string (300, 'x') }));
    const auto onTerminal = [&] (const std::string& environment, const std::string& filter = "")
    {
        return shell ("script -qec \"stty cols 60; " + environment + " " + logReport + log +
                      "\" /dev/null < /dev/null" + filter)
            .output;
    };
    expectParts (onTerminal ("NO_COLOR="), { "\033[" });

    for (const auto& output : { onTerminal ("NO_COLOR=1"), shell (logReport + log).output })
        EXPECT_EQ (std::string::npos, output.find ('\033')) << output;

    const std::string tooWide =
        " | tr -d '\\r' | tail -n +2 | LC_ALL=C.UTF-8 grep -E "; // the first line has the path
    EXPECT_EQ ("", shell (logReport + log + tooWide + "'.{81}'").output);
    EXPECT_EQ ("", onTerminal ("NO_COLOR=1", tooWide + "'.{61}'"));
}

TEST (LogReport, drawsAPicture)
{
    const Logs logs;
    const std::string file = logs.folder / "it's.svg";
    const auto log = logs.write (
        "ORBISdaemon.log",
        logOf (start ("09:00:00") + Lines { "09:00:00" + absent, "09:10:00 : ERROR: Core Temperature: 96" }));
    const auto outcome = shell (logReport + log + " -o \"" + file + "\" 2>&1");
    EXPECT_EQ (0, outcome.status);
    EXPECT_EQ ("", outcome.output) << "gnuplot complains, for example of a track without data";
    expectParts (contentOf (file),
                 { ">daemon<", ">application<", ">GUI<", ">Fan<", ">act<",
                   "9 May 2026 9:00:00 to 9 May 2026 9:10:00", "rgb(192,   0,   0", "rgb(213,  94,   0" });
}

TEST (LogReport, isBuiltOnlyIfEachRowOfThePageHasAName)
{
    const auto generate = "awk -v OUTPUT=table -f '" + sources + "/report/knowledge.awk' ";
    EXPECT_EQ (0, shell (generate + "'" + sources + "/docs/log.md' > /dev/null").status);

    for (const std::string change :
         { "s/| `day` nothing |/|/", "s/`day` nothing/`day`/", "s/`day` nothing/day nothing/", "s/`day`/`level`/",
           "s/`day` nothing/`day` now/" })
        EXPECT_EQ (1, shell ("sed '" + change + "' '" + sources + "/docs/log.md' | " + generate +
                             "- 2> /dev/null > /dev/null")
                          .status)
            << change;
}

UNIT_TEST (LogReport, tellsTheExampleOfItsPage)
{
    Unit unit;
    unit.at (100, "process duplicate gui")
        .at (100, "touch /run/unit/ORBIStessel-fails")
        .at (60500, "rm /run/unit/ORBIStessel-fails");
    unit.at (120500, "temperature 91").at (123500, "temperature 60").at (140000, "pkill -SEGV -x ORBISdaemon");
    unit.at (150500, "process crash application").at (160500, "pkill -TERM -x ORBISdaemon");
    const auto run = unit.runShell ("$daemon; $daemon fan-at-full-speed; $daemon",
                                    "--date '2026-11-21 05:17:25' --zone Europe/Berlin");
    const auto told = shell ("cd '" + (unit.folder / "home/ORBIStechnologies/Autosave1").string() + "' && " +
                             logReport + "ORBISdaemon.log | sed 's/, built .*//'")
                          .output;
    expectParts (contentOf (sources + "/docs/log-report.md"),
                 { "\n```\n$ ./log-report ORBISdaemon.log\n" + told + "```\n" });
}
