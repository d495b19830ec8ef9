// Faults that show only after a long time, or at one moment of many: ./run-tests --long.
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/Unit.h"

namespace
{
constexpr auto fullSpeed = "0xc0000fff";

/** Ends 200 daemons, each at a random moment of the PC's time after its first register write, and then does `check`.
    Sleeps of the unit take no time. The moments therefore fall both into shell commands and between them.
*/
std::string endAtRandomMoments (const std::string& signal, const std::string& check)
{
    return "signal=" + signal + R"(; for i in $(seq 200); do
        rm -f /run/unit/register-writes
        $daemon & pid=$!
        await '[ -s /run/unit/register-writes ]'
        rest 0.0$((i * 7919 % 90 + 10))
        kill -$signal $pid
        wait $pid; status=$?
        rest 0.02 # until the programs that it had started come to rest
        )" +
           check + "\ndone 2> /run/unit/killed\n";
}

const std::string preloadFault = "export UNIT_PRELOAD=/opt/build/simulator/libfault.so:$UNIT_PRELOAD\n";
}

UNIT_TEST (KilledDaemon, neverLeavesTwoApplicationsOrALostLog)
{
    const auto run =
        Unit()
            .withSettings ({ { "LogLevel", "5" } })
            .at (100000000, "pkill -TERM -x ORBISdaemon")
            .runShell ("touch /home/root/ORBIStechnologies/Autosave1/x_temp1.log\n" +
                       endAtRandomMoments ("KILL",
                                           "[ $(pgrep -cx ORBIStessel) -le 1 ] || echo \"$i: two applications\"") +
                       "$daemon & rest 0.5; pkill -TERM -x ORBISdaemon; wait\n"
                       "pgrep -cx ORBIStessel; find /home/root -name '*_temp*'");
    EXPECT_LE (run.log.size(), 131072U + 200U);
    EXPECT_EQ ("Interrupt signal (15) received.", run.messages[run.messages.size() - 2]);
    EXPECT_EQ ("1\n", run.output) << "one application at the end, and no temporary file";
}

UNIT_TEST (StoppedDaemon, alwaysLeavesTheFanAtFullSpeed)
{
    const auto run = Unit().runShell (
        endAtRandomMoments ("TERM", "read -r register < /run/unit/register; echo \"$status ${register##* }\""));
    std::set<std::string> outcomes;
    std::istringstream lines (run.output);
    int count = 0;

    for (std::string line; std::getline (lines, line); ++count)
        outcomes.insert (line);

    EXPECT_EQ (200, count);
    EXPECT_EQ (std::set<std::string> { std::string ("15 ") + fullSpeed }, outcomes) << run.output;
}

using FailingCall = testing::TestWithParam<const char*>;

TEST_P (FailingCall, leavesTheFanAtFullSpeedWhicheverFails)
{
    if (! Unit::isPossible())
        return;

    const std::string call = GetParam();
    long calls = 0;

    for (long k = 0; k <= calls; ++k) // the first run only counts
    {
        Unit unit ("OD123456", "65");
        unit.withGuiRunning().stopAt (6900);
        const auto run =
            unit.runShell (preloadFault + "UNIT_FAULT='" + call + " " + std::to_string (k) + "' $daemon");
        const auto label =
            call + " " + std::to_string (k) + " of " + std::to_string (calls) + "\n" + run.describe();

        if (k == 0)
        {
            std::ifstream (unit.folder / "run/calls") >> calls;
            ASSERT_EQ (2, run.status) << label;
            ASSERT_GT (calls, 0);
            continue;
        }

        const auto last = run.registerWrites.empty() ? "" : run.registerWrites.back();
        const bool writeRefused =
            run.countOf ("ERROR: Adjusting fan speed to 1 FAILED! devmem 0x42010000 32 0xc0000fff") == 1;
        // If the serial cannot be read, the daemon takes the fallback: a product whose fan it leaves alone.
        const bool otherProduct = run.countOf ("Device ORBIS:tessel Serial OTDEMOMO with GUI ORBIStesselGUI") == 1;

        // Without a pipe for a count, the fan keeps the speed of the last reading.
        if (call == "popen" && run.status == 1)
        {
            EXPECT_TRUE (last == fullSpeed || last == "0xc0000999") << label;
            continue;
        }

        EXPECT_EQ (2, run.status) << label;
        EXPECT_FALSE (run.timesOf ("ORBIStessel started").empty()) << label;
        EXPECT_TRUE (last == fullSpeed || writeRefused || otherProduct) << label;
    }

    std::cout << calls << " calls failed, one in each run\n";
}

INSTANTIATE_TEST_SUITE_P (, FailingCall, testing::Values ("open", "write", "popen", "system"),
                          [] (const auto& instance) { return std::string (instance.param); });

/** The count that the shell's canned answers give, and when the daemon is ended, in milliseconds. */
using CannedRun = std::pair<int, int>;

using FailingAllocation = testing::TestWithParam<CannedRun>;

// In these thousands of runs, only the signal handler starts a process: its register write is real.
TEST_P (FailingAllocation, endsInAKnownWay)
{
    if (! Unit::isPossible())
        return;

    Unit unit ("OD123456", "86");
    const auto [answer, end] = GetParam();
    unit.with ("run/canned", std::to_string (answer) + "\n").stopAt (end);
    const auto run = unit.runShell (preloadFault + R"(k=0 calls=0; until [ $k -gt $calls ]; do
            rm -f /run/unit/clock /run/unit/register*
            UNIT_FAULT="malloc $k" timeout -s KILL 20 $daemon; status=$?
            [ $k -gt 0 ] || read -r calls < /run/unit/calls
            register=none; [ ! -e /run/unit/register ] || read -r register < /run/unit/register
            echo $status ${register##* }
            k=$((k + 1))
        done)");
    std::istringstream lines (run.output);
    std::map<std::string, int> outcomes;
    long runs = 0;

    for (std::string line; std::getline (lines, line); ++runs)
        ++outcomes[line];

    std::cout << runs - 1 << " allocations failed, one in each run; exit status and register:\n";

    for (const auto& [outcome, count] : outcomes)
    {
        const std::set<std::string> known {
            "2 0xc0000fff", "6 0xc0000fff", "11 0xc0000fff",
            "1 none",                  // no pipe for a count: the fan keeps its speed
            "6 none",       "11 none", // before the fan's address was read
            "134 none",                // before the handlers were installed
            "142 none",                // while the serial is first loaded: the handler waits for its lock
        };
        EXPECT_TRUE (known.count (outcome)) << outcome;
        std::cout << "  " << outcome << ": " << count << " times\n";
    }

    EXPECT_GT (outcomes["2 0xc0000fff"], 0);
    EXPECT_GT (outcomes["6 0xc0000fff"], 100);
    EXPECT_LE (outcomes["134 none"] + outcomes["142 none"], 5);
}

INSTANTIATE_TEST_SUITE_P (, FailingAllocation, testing::Values (CannedRun { 0, 4500 }, CannedRun { 1, 1500 }),
                          [] (const auto& instance)
                          { return instance.param.first == 0 ? "whileProgramsStart" : "whileProgramsRun"; });

UNIT_TEST (LongRun, growsNeitherInMemoryNorInDescriptorsNorInItsLog)
{
    // Here the shell's answers are canned, because a hundred thousand passes of real processes would take an hour.
    Unit unit ("OD123456", "86");
    const std::string measure =
        // Not Private_Clean, because another daemon on this PC turns these pages into shared ones.
        "pid=$(pgrep -x ORBISdaemon); { sed -n 's/^Private_Dirty:  *\\([0-9]*\\).*/\\1/p' "
        "/proc/$pid/smaps_rollup; ls /proc/$pid/fd | wc -l; } >> /run/unit/growth";
    std::string log; // full, so that the first trim falls into the first hundred passes

    while (log.size() < 131000)
        log += std::string (98, 'x') + "\r\n";

    unit.with (Unit::logFile, log).with ("run/canned", "1\n");

    for (const auto pass : { 100, 20000, 100000 })
        unit.at (pass * 1000 + 3500, measure);

    const auto run = unit.stopAt (100004000).runShell ("$daemon; status=$?; cat /run/unit/growth; exit $status");
    EXPECT_EQ (2, run.status);
    std::istringstream numbers (run.output);
    long privateKiB[3] {}, descriptors[3] {};

    for (int i = 0; i < 3; ++i)
        numbers >> privateKiB[i] >> descriptors[i];

    const auto [first, middle, last] = privateKiB;
    std::cout << "private memory, KiB: " << first << " after 100 passes, " << middle << " after 20,000, " << last
              << " after 100,000\n";

    // The heap takes its shape during the first trims of the log. It does not grow after them.
    EXPECT_GT (first, 100);
    EXPECT_LE (middle, first + 32);
    EXPECT_EQ (middle, last);
    EXPECT_EQ (descriptors[0], descriptors[2]);
    EXPECT_LE (run.log.size(), 131072U + 100U);
}
