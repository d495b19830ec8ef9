// The log file: its lines, its filter, its limit.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <sys/time.h>

#include <gtest/gtest.h>

#include "logging/TimedFileLogger.h"
#include "tests/Unit.h"

namespace
{
constexpr std::int64_t morning = 1778310487; // 9 May 2026 7:08:07 UTC
std::int64_t presentSecond = morning;        // this program's clock

constexpr auto header = 4; // lines of the framework at the start, without the empty one before them

struct LogFile
{
    juce::TemporaryFile temporary;
    juce::File file = temporary.getFile();
    TimedFileLogger logger { file, "welcome", TimedFileLogger::sizeLimit };

    juce::StringArray lines() const
    {
        auto all = juce::StringArray::fromLines (file.loadFileAsString());
        all.removeEmptyStrings (false);
        all.removeRange (0, header - 1);
        return all;
    }

    std::string messages() const
    {
        return std::regex_replace (lines().joinIntoString ("|").toStdString() + "|", std::regex ("[^|]* : "), "");
    }
};
}

extern "C" int gettimeofday (timeval* result, void*) noexcept
{
    *result = {};
    result->tv_sec = presentSecond;
    return 0;
}

TEST (Log, stampsALineWithDayMonthYearAndTimeOfDay)
{
    const std::tuple<std::int64_t, const char*, const char*> rows[] = {
        { morning, "Europe/Berlin", "9 May 2026 9:08:07" },
        { 1798757999, "Europe/Berlin", "31 Dec 2026 23:59:59" },
        { 1798758000, "Europe/Berlin", "1 Jan 2027 0:00:00" },
        { 1774745999, "Europe/Berlin", "29 Mar 2026 1:59:59" },
        { 1774746000, "Europe/Berlin", "29 Mar 2026 3:00:00" },
        { 1792889999, "Europe/Berlin", "25 Oct 2026 2:59:59" },
        { 1792890000, "Europe/Berlin", "25 Oct 2026 2:00:00" },
        { 1835395200, "Pacific/Chatham", "29 Feb 2028 13:45:00" },
        { 2147483648, "UTC", "19 Jan 2038 3:14:08" },
        { 0, "UTC", "1 Jan 1970 0:00:00" },
    };

    for (const auto& [second, zone, stamp] : rows)
    {
        ::setenv ("TZ", zone, 1);
        ::tzset();
        presentSecond = second;
        LogFile log;
        log.logger.logMessage ("CRITICAL: hot");
        EXPECT_EQ (stamp + std::string (" : CRITICAL: hot"), log.lines()[0].toStdString());
        EXPECT_TRUE (log.file.loadFileAsString().endsWith (" : CRITICAL: hot\r\n"));
    }

    presentSecond = morning;
}

TEST (Log, dropsMessagesByTheirFirstWord)
{
    const std::string all = "DEBUG: d|Information|Warning: w|critical c|ERROR: e|An error|Interrupt|";
    const std::pair<int, const char*> rows[] = { { 6, "DEBUG: d" },   { 5, "DEBUG: d" }, { 4, "Information" },
                                                 { 3, "Warning: w" }, { 2, "critical" }, { 1, "ERROR" },
                                                 { 0, "An error" },   { -7, "An error" } };

    for (const auto& [level, firstWritten] : rows)
    {
        LogFile log;
        log.logger.setLogLevel (level);

        for (const auto& message :
             juce::StringArray::fromTokens (juce::String (all).dropLastCharacters (1), "|", ""))
            log.logger.logMessage (message);

        EXPECT_EQ (all.substr (all.find (firstWritten)), log.messages()) << "level " << level;
    }
}

TEST (Log, foldsOnlyImmediateRepetitionsAndOnlyInTheFile)
{
    struct Listener final : TimedFileLogger::LineListener
    {
        void lineLogged (const juce::String& line) override
        {
            lines.add (line.fromFirstOccurrenceOf (" : ", false, false));
        }
        juce::StringArray lines;
    } listener;

    LogFile log;
    log.logger.addLineListener (&listener);

    for (const auto* message : { "A", "B", "A", "DEBUG: dropped", "A", "a" })
        log.logger.logMessage (message);

    EXPECT_EQ ("A|B|A|+0.0s|a|", log.messages());
    EXPECT_EQ ("A,B,A,A,a", listener.lines.joinIntoString (",").toStdString());

    LogFile empty; // an empty first message repeats nothing since 1970
    empty.logger.logMessage ({});
    EXPECT_EQ ("+" + std::to_string (morning) + ".0s", empty.lines()[0].toStdString());
}

TEST (Log, trimsAboveItsLimitToThreeQuartersFromALineBreak)
{
    constexpr juce::int64 target = 98304;
    constexpr int limit = 131072;

    for (const auto excess : { 0, 1, 5000 })
    {
        LogFile log;
        const auto line = juce::String::repeatedString ("x", 98) + "\r\n";
        const auto size = limit + excess;
        const auto text =
            juce::String::repeatedString ("y", size % 100) + juce::String::repeatedString (line, size / 100);
        log.file.replaceWithText (text, false, false, nullptr);
        ASSERT_EQ (size, log.file.getSize());

        log.logger.logMessage ("DEBUG: dropped, but it trims the file");
        const auto after = log.file.loadFileAsString();
        const bool isTrimmed = excess > 0;
        EXPECT_EQ (isTrimmed, log.file.getSize() <= target);
        EXPECT_GT (log.file.getSize(), target - 101);
        EXPECT_EQ (isTrimmed, after.startsWithChar ('\r') || after.startsWithChar ('\n'));
        EXPECT_EQ (isTrimmed, after != text);
        EXPECT_TRUE (text.endsWith (after));
    }
}

UNIT_TEST (Log, isTrimmedToItsLimitAtAStart)
{
    // The start keeps 65 lines. With the lines of this start they stay below the limit, so no message trims again.
    const auto line = juce::String::repeatedString ("x", 1999) + "\n";
    const auto earlier = juce::String::repeatedString (line, 100).toStdString();

    const auto run = Unit().with (Unit::logFile, earlier).run ("word");
    EXPECT_EQ (65 * 1999, std::count (run.log.begin(), run.log.end(), 'x'));
}

TEST (Log, isNotTrimmedIfItsFirstKeptLineHoldsANul)
{
    LogFile log;
    juce::MemoryBlock content (140000, true);
    log.file.replaceWithData (content.getData(), content.getSize());
    log.logger.logMessage ("A");
    EXPECT_GT (log.file.getSize(), 140000);
}

UNIT_TEST (Log, beginsEveryStartWithHeaderBuildAndDevice)
{
    Unit unit;
    unit.with (Unit::logFile, "Limit: 128 k\r\n");
    const auto run = unit.run ("word");
    const auto lines = juce::StringArray::fromLines (run.log);
    const juce::String expected[] = { "Limit: 128 k", // of an earlier start
                                      "",
                                      juce::String::repeatedString ("?", 58),
                                      "ORBISdaemon 4.3.24",
                                      "Log started: *",
                                      "",
                                      "Limit: 128 k",
                                      " Binary: * ??? ???? *:??:??" };

    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE (lines[i].matchesWildcard (expected[i], true)) << lines[i];

    EXPECT_EQ (juce::String::repeatedString ("*", 58), lines[2]);
    EXPECT_EQ ((std::vector<std::string> { "Device DMI-ORBIS Serial OD123456 with GUI ORBISpad",
                                           "Loglevel set to 2", "2 arguments!", "word" }),
               run.messages)
        << run.describe();
    EXPECT_EQ (0, run.status);

    std::smatch built;
    ASSERT_TRUE (
        std::regex_search (run.log, built, std::regex (R"(Binary: (\d+) (\w+) (\d{4}) \d+(:\d\d:\d\d)\r)")))
        << run.log;

    // The program contains the compiler's date and time. The hour is free, because the unit's zone may leave it out.
    const auto day = std::string (built.length (1) == 1 ? " " : "") + built.str (1);
    const auto pattern = built.str (2) + " " + day + " " + built.str (3) + " .." + built.str (4);
    EXPECT_EQ (0, unit.runShell ("grep -aq '" + pattern + "' /home/root/ORBISdaemon/ORBISdaemon").status)
        << pattern;
}

UNIT_TEST (Log, writesOneDateLineADayEvenIfTheClockIsSetBack)
{
    Unit unit ("OT123456", "");
    unit.at (5000, "clock +86386").at (45000, "clock -86400"); // passes 2 and 3 begin at 13 s and 23 s
    const auto run = unit.runUntil (100000);
    int stamps = 0;

    for (const auto& message : run.messages)
        stamps +=
            juce::String (message).matchesWildcard ("* ??? ???? *:??", true) || message.front() == '+' ? 1 : 0;

    EXPECT_EQ (1, stamps) << run.describe();
}

UNIT_TEST (Log, keepsItsDateWhenThirtyTwoBitsNoLongerHoldTheTime)
{
    const auto run =
        Unit ("OT123456", "").runUntil (30000, "--date '2038-01-19 03:14:00' --zone UTC"); // eight seconds before
    const std::string last = "\r\n19 Jan 2038 3:14:30 : Interrupt signal (2) received.\r\n";
    EXPECT_EQ (run.log.size() - last.size(), run.log.rfind (last)) << run.describe();
}
