// The log file: its lines, its filter, its limit.
#include <regex>

#include <gtest/gtest.h>

#include "logging/TimedFileLogger.h"
#include "tests/Unit.h"

namespace
{
constexpr auto header = 4; // lines that the framework writes at the start, the empty one in front counted out

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

TEST (Log, stampsALineWithDayMonthYearAndTimeOfDay)
{
    LogFile log;
    const auto before = juce::Time::getCurrentTime();
    log.logger.logMessage ("CRITICAL: hot");
    const auto stamp = log.lines()[0].upToFirstOccurrenceOf (" : ", false, false);

    // In local time like the log: no leading zero but in minutes and seconds.
    const auto expected = [] (juce::Time t)
    { return t.formatted ("%d %b %Y %H:%M:%S").trimCharactersAtStart ("0").replace (" 0", " "); };
    EXPECT_TRUE (stamp == expected (before) || stamp == expected (juce::Time::getCurrentTime())) << stamp;
    EXPECT_TRUE (log.file.loadFileAsString().endsWith (" : CRITICAL: hot\r\n"));
}

TEST (Log, dropsByTheFirstWord)
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

TEST (Log, foldsOnlyImmediateRepetitionsOfWrittenMessagesAndForTheFileOnly)
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
}

TEST (Log, takesAnEmptyFirstMessageForARepetitionSinceTheEpoch)
{
    LogFile log;
    log.logger.logMessage ({});
    EXPECT_NEAR (static_cast<double> (juce::Time::currentTimeMillis()) / 1000.0,
                 log.lines()[0].substring (1).getDoubleValue(), 5.0);
    EXPECT_TRUE (log.lines()[0].matchesWildcard ("+??????????.?s", true)) << log.lines()[0];
}

TEST (Log, trimsAboveItsLimitToThreeQuartersFromALineBreak)
{
    constexpr juce::int64 target = 98304;

    for (const auto excess : { 0, 1, 5000 })
    {
        LogFile log;
        const auto line = juce::String::repeatedString ("x", 98) + "\r\n";
        const auto size = static_cast<int> (TimedFileLogger::sizeLimit) + excess;
        const auto text =
            juce::String::repeatedString ("y", size % 100) + juce::String::repeatedString (line, size / 100);
        log.file.replaceWithText (text, false, false, nullptr);
        ASSERT_EQ (size, log.file.getSize());

        log.logger.logMessage ("DEBUG: dropped, and yet the limit holds");
        const auto after = log.file.loadFileAsString();
        const bool isTrimmed = excess > 0;
        EXPECT_EQ (isTrimmed, log.file.getSize() <= target);
        EXPECT_GT (log.file.getSize(), target - 101);
        EXPECT_EQ (isTrimmed, after.startsWithChar ('\r') || after.startsWithChar ('\n'));
        EXPECT_EQ (isTrimmed, after != text);
        EXPECT_TRUE (text.endsWith (after));
    }
}

TEST (Log, leavesAFileAloneWhoseFirstKeptLineHoldsANul)
{
    LogFile log;
    juce::MemoryBlock content (140000, true);
    log.file.replaceWithData (content.getData(), content.getSize());
    log.logger.logMessage ("A");
    EXPECT_GT (log.file.getSize(), 140000);
}

TEST (Log, beginsEveryStartWithHeaderBannerAndDevice)
{
    NEEDS_UNIT();
    Unit unit;
    unit.with ("home/ORBIStechnologies/Autosave1/ORBISdaemon.log", "of an earlier start\r\n");
    const auto run = unit.run ("word");
    const auto lines = juce::StringArray::fromLines (run.log);
    const juce::String expected[] = { "of an earlier start",
                                      "",
                                      juce::String::repeatedString ("?", 58),
                                      "ORBISdaemon 4.3.24",
                                      "Log started: *",
                                      "",
                                      "Limit: 128 k",
                                      " Binary: * ??? 20?? *:??:??" };

    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE (lines[i].matchesWildcard (expected[i], true)) << lines[i];

    EXPECT_EQ (juce::String::repeatedString ("*", 58), lines[2]);
    EXPECT_EQ ((std::vector<std::string> { "Device DMI-ORBIS Serial OD123456 with GUI ORBISpad",
                                           "Loglevel set to 2", "2 arguments!", "word" }),
               run.messages)
        << run.describe();
    EXPECT_EQ (0, run.status);
}

TEST (Log, writesOneBareDateLineWhenADayHasPassedHoweverTheClockIsSet)
{
    NEEDS_UNIT();
    Unit unit ("OT123456", "");
    unit.at (5000, "clock +86386").at (45000, "clock -86400"); // pass 2 begins at 13 s, pass 3 at 23 s
    const auto run = unit.runUntil (100000);
    int stamps = 0;

    for (const auto& message : run.messages)
        stamps +=
            juce::String (message).matchesWildcard ("* ??? 20?? *:??", true) || message.front() == '+' ? 1 : 0;

    EXPECT_EQ (1, stamps) << run.describe();
}

TEST (Log, keepsItsDateWhenThirtyTwoBitsNoLongerHoldTheTime)
{
    NEEDS_UNIT();
    Unit unit ("OT123456", "");
    unit.at (5000, "clock +631152000"); // twenty years, beyond January 2038 from any day of 2018 on
    const auto run = unit.runUntil (30000);
    const auto stamp =
        juce::String (run.log).upToLastOccurrenceOf (" : Interrupt signal (2) received.", false, false);
    const auto year = stamp.fromLastOccurrenceOf ("\n", false, false).fromFirstOccurrenceOf (" 20", false, false);
    EXPECT_GT (year.getIntValue(), 37) << run.describe();
    EXPECT_TRUE (year.matchesWildcard ("?? *:??:??", true)) << run.describe();
}
