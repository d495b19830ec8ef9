// Faults of a unit in the field: broken files, a full disk, no processes, missing tools.
#include <gtest/gtest.h>

#include "supervisor/Settings.h"
#include "tests/Unit.h"

namespace
{
constexpr auto fullSpeed = "0xc0000fff";
}

TEST (Settings, countAsFarAsTheParserIsSafeWithThem)
{
    const juce::TemporaryFile file (".ppf");
    const auto levelIn = [&file] (const std::string& content)
    {
        file.getFile().replaceWithData (content.data(), content.size());
        return readLogLevel (juce::PropertiesFile (readableSettings (file.getFile()), settingsOptions()));
    };
    const auto wide = [] (const std::string& ascii, bool bigEndian)
    {
        std::string units;

        for (const auto character : ascii)
            units.append (bigEndian ? 1 : 0, '\0').append (1, character).append (bigEndian ? 0 : 1, '\0');

        return units;
    };
    const auto packed = [] (const std::string& strings)
    {
        juce::MemoryBlock content ("CPRP", 4);
        juce::MemoryOutputStream output (content, true);
        juce::GZIPCompressorOutputStream (output).write (strings.data(), strings.size());
        output.flush();
        return std::string (content.begin(), content.end());
    };
    const auto repeated = [] (const char* tag, int times)
    { return juce::String::repeatedString (tag, times).toStdString(); };
    const auto nested = [&] (int depth) { return repeated ("<a>", depth - 1) + repeated ("</a>", depth - 1); };
    const std::string root = "<PROPERTIES>";
    const std::string value = "<VALUE name=\"LogLevel\" val=\"4\"/>";
    const std::string end = "</PROPERTIES>";
    const std::string xml = root + value + end;
    const std::string header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const std::string littleMark = "\xff\xfe", bigMark = "\xfe\xff", utf8Mark = "\xef\xbb\xbf";
    const std::string strings ("\1\0\0\0LogLevel\0004\0", 15);
    const std::string large (9000, ' ');

    // clang-format off
    const std::string taken[] = {
        xml, header + xml, utf8Mark + header + xml, "\r\n " + header + root + "\r\n\t" + value + end + "\r\n",
        header + "<!-- speed & noise, <?old?>, <!DOCTYPE, < -- --><!---->" + xml, "<!-- ours -->" + header + xml,
        root + "<VALUE <!-- \" --> name = 'LogLevel'\nval='4' ></VALUE >" + end,
        root + "<VALUE name=\"LogLevel\">4</VALUE>" + end, root + "<VALUE name='Log&#76;evel' val='&#x34;'/>" + end,
        root + "<VALUE name='note' val=\"&lt;&gt;&amp;&quot;&apos; < > ' \xc3\xa4\xf0\x9f\x98\x80\"/>" + value + end,
        root + "text <VALUE name='old' val='>'>&amp; text <!-- text --> text</VALUE>" + value + end,
        root + nested (2) + value + end, root + value + "</PROPERTIES", root + value + "</OTHER>", xml + " notes </a>",
        xml + std::string (5, '\0'), xml + std::string ("\0\xff<!", 4), littleMark + wide (xml, false),
        bigMark + wide (header + xml, true), littleMark + wide ("<!-- ", false) + std::string ("\x3d\xd8\0\xde", 4) + wide ("-->" + xml, false),
        "PROP" + strings, packed (strings),
    };
    const std::string refused[] = {
        utf8Mark, littleMark, bigMark, utf8Mark + "<", littleMark + wide (xml, false) + "x",
        littleMark + wide ("<!-- ", false) + "\x3d\xd8" + wide ("-->" + xml, false), bigMark + wide (xml, true) + "\xdc\x01",
        "<?x?>" + xml, "<?><!-- ?>" + root + "<?x?>text" + end + "-->" + xml, root + "<?x?>" + value + end, header + header + xml, "<?xml " + xml, xml + "<?", root + value + "<?x?>text" + end,
        "<!DOCTYPE PROPERTIES>" + xml, root + "<![CDATA[]]>" + value + end, root + "<!x>" + value + end, xml + "<!-- open",
        root + "<VALUE name='<!--'/><?x?>--><!-- -->" + value + end, root + "</a <!-- > <?x?>text --> <PROPERTIES>" + value + end,
        root + "&a;" + value + end, root + "R & D" + value + end, root + "<VALUE name='&<a>;'/>" + value + end,
        root + value + "&#x41", root + "&#x41 ;" + value + end, root + "&#0;" + value + end, root + "&#xd800;" + value + end,
        root + "&#x110000;" + value + end, root + "&#0000000065;" + value + end, root + "&#-1;" + value + end, root + "&#;" + value + end,
        root + nested (3) + value + end, root + "<VALUE name='a'><b>text<c><d/></c></b></VALUE>" + value + end, xml + large, "<!-- \xc0\xbc -->" + xml, "<!-- \xe4 -->" + xml, xml + "\xf0\x9f\x98",
        "PROP" + strings + "\xf0", "PROP" + strings + large, packed (strings + "\xf0"), packed (strings + large),
        "", "not XML", root, "<OTHER/>", root + "<VALUE/>" + end, root + "%\xff\xd9", "CPRPgarbage", "PROP\x01\x02\x03",
        root + value + "\xe2", root + "<VALUE name=\"LogLevel\" val=\"4\xe2", root + std::string (100, '<'),
        "<!DOCTYPE PROPERTIES [<!ENTITY a \"x&a;\">]>" + root + "&a;" + end, root + nested (50000),
        std::string (4000, '\xd7'), std::string (9 << 20, '\xd7'),
        // Without a guard, the parser never finds the end of these instructions and never returns.
        root + "<CPRP<?\n<\xc6\x9a\xc6\x9d\nLUEX<PROPERTIES><CXXXXXPRP<PRORT<?IES><CPRPLUPERTIES\n"
            "<\xc6\x9a\xc6\x9d\n<><CP?RPL<ms<P<?>RO?PERLUX<?<?>?",
    };
    // clang-format on

    for (const auto& content : taken)
        EXPECT_EQ (4, levelIn (content)) << content;

    for (const auto& content : refused)
        EXPECT_EQ (2, levelIn (content)) << content.substr (0, 100);
}

UNIT_TEST (Settings, haveDefaultsIfTheyAreBrokenOrNoFile)
{
    // The parser recurses at each tag of the last one.
    for (const std::string make :
         { "mkfifo", "ln -s /dev/zero", "mkdir", "ln -s nowhere", "yes '<a>' | head -n 50000 >" })
    {
        const auto run =
            Unit ("OD123456", "65")
                .stopAt (3900)
                .runShell (make + " /home/root/ORBISdaemon/ORBISdaemon.ppf; timeout -s KILL 60 $daemon");
        EXPECT_EQ (2, run.status) << make << run.describe();
        EXPECT_EQ (1, run.countOf ("Loglevel set to 2")) << make;
        ASSERT_LE (2U, run.registerWrites.size());
        EXPECT_EQ (fullSpeed, run.registerWrites[0]);
        EXPECT_EQ ("0xc0000999", run.registerWrites[1]);
    }
}

UNIT_TEST (Daemon, runsTheRecoveryAndGoesOnIfItCannotOpenItsLog)
{
    const auto run = Unit().withUnopenableLog().runUntil (5900);
    EXPECT_EQ (std::vector<std::int64_t> { 0 }, run.timesOf ("updateFilesystem")) << run.describe();
    EXPECT_EQ (2, run.status);
    EXPECT_EQ (1U, run.timesOf ("ORBIStessel started").size());
    EXPECT_EQ (fullSpeed, run.registerWrites.back());
}

UNIT_TEST (Daemon, logsThatTheRecoveryHasMendedItsLog)
{
    Unit unit;
    unit.withUnopenableLog().with ("run/recovery", "rmdir /home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log");
    const auto run = unit.runUntil (5900);
    EXPECT_EQ (0U, run.log.find ("Log: Filesytem recovered.\r\n")) << run.log;
    EXPECT_EQ (1, run.countOf ("Loglevel set to 2"));
}

UNIT_TEST (Daemon, losesOnlyLogLinesOnAFullDisk)
{
    Unit unit ("OD123456", "91");
    unit.withGuiRunning().at (4500, "disk fill").at (98500, "temperature 63").at (99500, "disk free");
    const auto run = unit.runUntil (102900, "--disk 200000");
    EXPECT_EQ (2, run.status) << run.describe();
    EXPECT_EQ ("Interrupt signal (2) received.", run.messages.back());
    EXPECT_EQ (1002U, run.registerWrites.size()) << "ten a second from 3 to 102 s, the first and the last one";
    EXPECT_EQ ("0xc0000ae0", run.registerWrites[1000]);
    EXPECT_LT (run.messages.size(), 900U) << "the disk was not full";
}

UNIT_TEST (Daemon, endsIfNoProcessCanBeStarted)
{
    // First, processes are refused before a pass. Then they are refused while the fourth pass waits for the application,
    // so that only the GUI's count fails.
    for (const auto& [crash, refusal] : { std::pair (90000, 16500), { 5500, 6500 } })
    {
        const auto run =
            Unit().at (crash, "killall -KILL ORBIStessel").at (refusal, "processes refused").stopAt (95000).run();
        EXPECT_EQ (1, run.status) << run.describe();
        EXPECT_EQ ("Could not execute pgrep command.", run.messages.back());
        EXPECT_EQ (std::string::npos, run.log.find ("Adjusting fan speed")) << "the pass went on\n" << run.log;
    }
}

UNIT_TEST (Daemon, goesOnWithoutItsTools)
{
    const std::string home = "/run/unit/bin:/usr/local/bin:/opt/build/simulator";
    const std::tuple<const char*, std::string, std::vector<std::int64_t>, std::size_t> rows[] = {
        { "neither pgrep nor wc: no line, so no decision", "/usr/local/bin:/opt/build/simulator", {}, 50 },
        { "no pgrep: wc counts 0, so the application starts again and again", home, { 1000, 6000, 15000 }, 20 },
        { "no devmem", "/opt/build/simulator:/usr/bin", { 1000 }, 0 },
    };

    for (const auto& [absent, path, starts, leastWrites] : rows)
    {
        Unit unit;
        unit.at (25900, "/usr/bin/pkill -INT -x ORBISdaemon");
        const auto run = unit.runShell (
            "mkdir /run/unit/bin; for t in wc nice mkfifo; do ln -s /usr/bin/$t /run/unit/bin/; done; PATH=" +
            path + "; $daemon");
        EXPECT_EQ (2, run.status) << absent << run.describe();
        EXPECT_EQ (starts, run.timesOf ("ORBIStessel started")) << absent << run.describe();
        EXPECT_GE (run.registerWrites.size(), leastWrites) << absent;
        EXPECT_EQ (leastWrites == 0,
                   run.countOf ("ERROR: Adjusting fan speed to 1 FAILED! devmem 0x42010000 32 0xc0000fff") > 0);
    }
}
