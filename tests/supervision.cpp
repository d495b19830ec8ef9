// Which processes are started, restarted and killed, and when: the schedule to the millisecond.
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "supervisor/ProcessSupervision.h"
#include "tests/Unit.h"

namespace
{
using Times = std::vector<std::int64_t>;
constexpr auto appStarted = "ORBIStessel started";
constexpr auto appAbsent = "ORBIStessel not running. Starting ...";
constexpr auto appTwice = "ORBIStessel two instances running. Re-Starting ...";
}

UNIT_TEST (Supervision, restartsACrashingApplicationEverMoreSlowly)
{
    const auto run = Unit ("OX123456", "").with ("run/ORBIStessel-fails", "").runUntil (3600000);

    // Start n waits 2^(n-1) s before it and 2^n s after it. Then the pass sleeps 10 s.
    EXPECT_EQ ((Times { 1000, 15000, 33000, 59000, 101000, 175000, 313000, 579000, 1101000, 2135000 }),
               run.timesOf (appStarted))
        << run.describe();
    EXPECT_EQ (2, run.status);
}

UNIT_TEST (Supervision, leavesAnApplicationAloneAndKeepsItsBackOffForHours)
{
    const auto run = Unit ("OX123456", "")
                         .at (7200000, "process crash application")
                         .at (7300000, "process duplicate application")
                         .runUntil (7400000);

    // From 13 s on, there is a pass every 10 s. The pass at 7203 s sees the crash (it waits 2 s and 4 s). From 7209 s on,
    // there is again a pass every 10 s. The one at 7309 s sees the second instance (it waits 4 s and 8 s).
    EXPECT_EQ ((Times { 1000, 7205000, 7300000, 7313000 }), run.timesOf (appStarted)) << run.describe();
    EXPECT_EQ ((Times { 7309000, 7309000 }), run.timesOf ("ORBIStessel ended"));
    EXPECT_EQ (2, run.countOf (appAbsent));
    EXPECT_EQ (1, run.countOf (appTwice));

    // The shell complains of the command that cleans up the application's log. It runs for an absent application only.
    const std::regex complaint ("Unterminated quoted string");
    EXPECT_EQ (2,
               std::distance (std::sregex_iterator (run.complaints.begin(), run.complaints.end(), complaint), {}));
}

UNIT_TEST (Supervision, givesTheShellTheseCommands)
{
    Unit unit;
    unit.withUnopenableLog().with ("run/commands", "");
    unit.at (17000, "process duplicate application").at (25000, "process duplicate gui").runUntil (30000);
    std::istringstream given (contentOf (unit.folder / "run/commands"));
    std::string text; // each command once

    for (std::string line; std::getline (given, line);)
        if (("\n" + text).find ("\n" + line + "\n") == std::string::npos)
            text += line + "\n";

    EXPECT_EQ (R"(/home/root/updateFilesystem
mount -o remount,rw /home; cp -rf /home/root/config/.gnupg /home/root/gnupg_save; mount -o remount,ro /home
devmem 0x42010000 32 0xc0000fff
cd /home/root/ORBIStechnologies; find . -name '*_temp*' -delete
pgrep -x ORBIStessel | wc -l
sed -i 's/
nice -n -1 /home/root/ORBIStessel/ORBIStessel &
devmem 0x42010000 32 0x0
pgrep -x ORBISpad | wc -l
su root -c startx &
killall ORBIStessel
killall ORBISpad
)",
               text);
    EXPECT_EQ (0U, contentOf (unit.folder / "run/niceness").find ("-1 /home/root/ORBIStessel/ORBIStessel\n"));
}

UNIT_TEST (Supervision, stampsTheDayBeforeItJudgesThePass)
{
    const auto run =
        Unit ("OX123456", "").at (20000, "clock +86400").at (20000, "process crash application").runUntil (24000);
    const auto& messages = run.messages;
    ASSERT_LE (2U, messages.size());
    EXPECT_EQ (2, run.countOf (appAbsent)) << "the date's line ends the repetition\n" << run.describe();
    EXPECT_EQ (appAbsent, messages[messages.size() - 2]);
}

TEST (Supervision, doublesItsBackOffUntilItWrapsAway)
{
    // The 1st, 22nd and 28th back-off, and all later ones.
    const std::pair<int, int> doublings[] = { { 1000, 2000 },
                                              { 2097152000, -100663296 },
                                              { 1073741824, -2147483647 - 1 },
                                              { -2147483647 - 1, 0 },
                                              { 0, 0 } };

    for (const auto& [backOff, next] : doublings)
        EXPECT_EQ (next, nextBackOff (backOff)) << backOff;
}

TEST (Supervision, looksAtTheGuiAndKillsItOnItsPasses)
{
    constexpr std::tuple<int, int, bool, int, GuiAction> rows[] = {
        { 2, 0, true, 2, GuiAction::none },    { 3, 0, true, 2, GuiAction::none },
        { 4, 0, true, 2, GuiAction::check },   { 4, 4, true, 2, GuiAction::check },
        { 4, 5, true, 2, GuiAction::none },    { 30, 0, true, 30, GuiAction::none },
        { 60, 0, true, 30, GuiAction::check }, { 60, 5, true, 30, GuiAction::none },
        { 90, 5, true, 30, GuiAction::kill },  { 90, 4, true, 30, GuiAction::check },
        { 90, 5, true, 2, GuiAction::kill },   { 91, 5, true, 2, GuiAction::none },
        { 60, 0, false, 30, GuiAction::none }, { 90, 0, false, 30, GuiAction::kill },
        { 89, 0, false, 30, GuiAction::none },
    };

    for (const auto& [pass, restarts, withGui, interval, expected] : rows)
        EXPECT_EQ (expected, guiActionFor ({ pass, restarts, 1000 }, withGui, interval))
            << "pass " << pass << ", restarts " << restarts;

    EXPECT_EQ (30, guiCheckInterval (false));
    EXPECT_EQ (2, guiCheckInterval (true));
}

UNIT_TEST (Supervision, startsTheGuiOfTheMainProductLate)
{
    // The sixtieth pass is the first one that looks: 13 s + 58 * 10 s.
    const auto tessel = Unit ("OT123456", "").runUntil (1300000);
    EXPECT_EQ (Times { 593000 }, tessel.timesOf ("ORBIStesselGUI started")) << tessel.describe();
    EXPECT_EQ (1, tessel.countOf ("ERROR:ORBIStesselGUI not running. Starting ..."));
}

UNIT_TEST (Supervision, restartsTheGuiThatCrashedOrRunsTwice)
{
    const auto run = Unit ("OD123456", "45")
                         .at (30100, "process crash gui")
                         .at (60100, "process duplicate gui")
                         .runUntil (100000);
    // The daemon looks at 6 s, waits 10 s, and looks every 2 s from 18 s on. After the crash, it does so from 44 s on.
    EXPECT_EQ ((Times { 6000, 32000, 60100, 62000 }), run.timesOf ("ORBISpad started")) << run.describe();
    EXPECT_EQ (1, run.countOf ("ERROR:ORBISpad not running. Starting ..."));
    EXPECT_EQ (1, run.countOf ("+26.0s")) << "the repetition of this line";
    EXPECT_EQ (1, run.countOf ("ERROR:ORBISpad two instances running. Re-Starting ..."));
    EXPECT_EQ (2U, run.timesOf ("ORBISpad ended").size());
}

UNIT_TEST (Supervision, killsAGuiWhereNoneMustRun)
{
    const auto run = Unit ("OX123456", "").at (100000, "/usr/local/bin/ORBIStesselGUI &").runUntil (1500000);
    constexpr auto killed = "ERROR:ORBIStesselGUI instance running. but shoud not. Will kill. ";
    EXPECT_EQ (Times { 893000 }, run.timesOf ("ORBIStesselGUI ended")) << run.describe(); // pass 90
    EXPECT_EQ (2, run.countOf (killed) + run.countOf ("+300.0s")) << run.log;             // passes 90 and 120
}

UNIT_TEST (Supervision, deletesTemporaryFilesOnceAtItsStart)
{
    Unit unit ("OX123456", "");
    const auto data = unit.folder / "home/ORBIStechnologies";
    std::filesystem::create_directories (data / "mixes/old_temp_mixes");
    unit.with ("home/ORBIStechnologies/Autosave1/ORBISdaemon_temp12.log", "x")
        .with ("home/ORBIStechnologies/mixes/temp", "x");
    unit.with ("home/a_temp", "x").at (30000, "touch /home/root/ORBIStechnologies/later_temp").runUntil (60000);
    EXPECT_FALSE (std::filesystem::exists (data / "Autosave1/ORBISdaemon_temp12.log"));
    EXPECT_FALSE (std::filesystem::exists (data / "mixes/old_temp_mixes"));
    EXPECT_TRUE (std::filesystem::exists (data / "mixes/temp"));
    EXPECT_TRUE (std::filesystem::exists (data / "later_temp"));
    EXPECT_TRUE (std::filesystem::exists (unit.folder / "home/a_temp"));
}
