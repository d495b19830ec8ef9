// What only shows after long, or at one moment of many; ./run-tests --long.
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

/** Ends 200 daemons, each at a random moment of the PC's time after its first register write, and does `check` then.
    Sleeps of the device take no time, so the moments fall into shell commands and between them alike.
*/
std::string endAtRandomMoments (const std::string& signal, const std::string& check)
{
    return "for i in $(seq 200); do\n"
           "  rm -f /run/unit/register-writes\n"
           "  $daemon & pid=$!\n"
           "  until [ -s /run/unit/register-writes ]; do env -u LD_PRELOAD sleep 0.001; done\n"
           "  env -u LD_PRELOAD sleep 0.0$((i * 7919 % 90 + 10))\n"
           "  kill -" +
           signal +
           " $pid\n"
           "  wait $pid; status=$?\n"
           "  env -u LD_PRELOAD sleep 0.02\n" // what it had started comes to rest
           "  " +
           check +
           "\n"
           "done 2> /run/unit/killed\n";
}

const std::string preloadFault = "export UNIT_PRELOAD=/opt/build/simulator/libfault.so:$UNIT_PRELOAD\n";

void printStatuses (const std::string& call, long calls, const std::map<int, int>& statuses)
{
    std::cout << call << ": " << calls << " calls failed, one in each run; exit statuses";

    for (const auto& [status, count] : statuses)
        std::cout << " " << status << " (" << count << " times)";

    std::cout << "\n";
}
}

TEST (Endurance, aKilledDaemonNeverLeavesTwoApplicationsOrALostLog)
{
    NEEDS_UNIT();
    Unit unit;
    const auto run =
        unit.withSettings ({ { "LogLevel", "5" } })
            .at (100000000, "pkill -TERM -x ORBISdaemon")
            .runShell ("touch /home/root/ORBIStechnologies/Autosave1/x_temp1.log\n" +
                       endAtRandomMoments ("KILL",
                                           "[ $(pgrep -cx ORBIStessel) -le 1 ] || echo \"$i: two applications\"") +
                       "$daemon & env -u LD_PRELOAD sleep 0.5; pkill -TERM -x ORBISdaemon; wait\n"
                       "pgrep -cx ORBIStessel; find /home/root -name '*_temp*'");
    EXPECT_LE (run.log.size(), 131072U + 200U);
    EXPECT_EQ ("Interrupt signal (15) received.", run.messages[run.messages.size() - 2]);
    EXPECT_EQ ("1\n", run.output) << "applications in the end, and left-over temporary files";
}

TEST (Endurance, aStoppedDaemonAlwaysLeavesTheFanAtFullSpeed)
{
    NEEDS_UNIT();
    Unit unit;
    const auto run = unit.runShell (
        endAtRandomMoments ("TERM", "read -r register < /run/unit/register; echo \"$status ${register##* }\""));
    std::set<std::string> outcomes;
    std::istringstream lines (run.output);
    int count = 0;

    for (std::string line; std::getline (lines, line); ++count)
        outcomes.insert (line);

    EXPECT_EQ (200, count);
    EXPECT_EQ (std::set<std::string> { std::string ("15 ") + fullSpeed }, outcomes) << run.output;
}

class EnduranceOfFailing : public testing::TestWithParam<const char*>
{
};

TEST_P (EnduranceOfFailing, callsHasAnOutcomeForEachOfThem)
{
    NEEDS_UNIT();
    const std::string call = GetParam();
    long calls = 0;
    std::map<int, int> statuses;

    for (long k = 0; k <= calls; ++k) // the first run only counts
    {
        Unit unit ("OD123456", "65");
        unit.at (100, "process duplicate gui").at (6900, "pkill -INT -x ORBISdaemon");
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

        ++statuses[run.status];
        const auto last = run.registerWrites.empty() ? "" : run.registerWrites.back();
        const bool writeRefused =
            run.countOf ("ERROR: Adjusting fan speed to 1 FAILED! devmem 0x42010000 32 0xc0000fff") == 1;
        // A serial that cannot be read is the fallback's: a product whose fan the daemon leaves alone.
        const bool otherProduct = run.countOf ("Device ORBIS:tessel Serial OTDEMOMO with GUI ORBIStesselGUI") == 1;

        // No pipe for a count: the fan stays at what the last reading asked for.
        if (call == "popen" && run.status == 1)
        {
            EXPECT_TRUE (last == fullSpeed || last == "0xc0000999") << label;
            continue;
        }

        EXPECT_EQ (2, run.status) << label;
        EXPECT_FALSE (run.timesOf ("ORBIStessel started").empty()) << label;
        EXPECT_TRUE (last == fullSpeed || writeRefused || otherProduct) << label;
    }

    printStatuses (call, calls, statuses);
}

INSTANTIATE_TEST_SUITE_P (, EnduranceOfFailing, testing::Values ("open", "write", "popen", "system"),
                          [] (const auto& instance) { return std::string (instance.param); });

/** The count that the shell's canned answers give, and when the daemon is ended, in milliseconds. */
using CannedRun = std::pair<int, int>;

class EnduranceOfAllocation : public testing::TestWithParam<CannedRun>
{
};

// For thousands of runs no process is started but by the signal handler, whose register write is real.
TEST_P (EnduranceOfAllocation, failuresHasAnOutcomeForEachOfThem)
{
    NEEDS_UNIT();
    Unit unit ("OD123456", "86");
    const auto [answer, end] = GetParam();
    unit.with ("run/canned", std::to_string (answer) + "\n").at (end, "pkill -INT -x ORBISdaemon");
    const auto run =
        unit.runShell (preloadFault + "k=0 calls=0; until [ $k -gt $calls ]; do\n"
                                      "  rm -f /run/unit/clock /run/unit/register*\n"
                                      "  UNIT_FAULT=\"malloc $k\" timeout -s KILL 20 $daemon; status=$?\n"
                                      "  [ $k -gt 0 ] || read -r calls < /run/unit/calls\n"
                                      "  register=none; [ ! -e /run/unit/register ] || read -r register < "
                                      "/run/unit/register\n"
                                      "  echo $status ${register##* }\n"
                                      "  k=$((k + 1))\n"
                                      "done");
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
            "1 none",                  // no pipe for a count: the fan stays as it was last set
            "6 none",       "11 none", // before the fan's address was read
            "134 none",                // before the handlers were installed
            "142 none",                // in the first load of the serial, whose lock the handler waits for
        };
        EXPECT_TRUE (known.count (outcome)) << outcome;
        std::cout << "  " << outcome << ": " << count << " times\n";
    }

    EXPECT_GT (outcomes["2 0xc0000fff"], 0);
    EXPECT_GT (outcomes["6 0xc0000fff"], 100);
    EXPECT_LE (outcomes["134 none"] + outcomes["142 none"], 5);
}

INSTANTIATE_TEST_SUITE_P (, EnduranceOfAllocation, testing::Values (CannedRun { 0, 4500 }, CannedRun { 1, 1500 }),
                          [] (const auto& instance)
                          { return instance.param.first == 0 ? "whileProgramsStart" : "whileProgramsRun"; });

TEST (Endurance, neitherMemoryNorDescriptorsNorTheLogGrow)
{
    NEEDS_UNIT();
    // The answers of the shell are canned here: a hundred thousand passes of real processes would take an hour.
    Unit unit ("OD123456", "86");
    const std::string measure =
        // Not Private_Clean: another daemon on this PC makes shared pages of them.
        "pid=$(pgrep -x ORBISdaemon); { sed -n 's/^Private_Dirty:  *\\([0-9]*\\).*/\\1/p' "
        "/proc/$pid/smaps_rollup; ls /proc/$pid/fd | wc -l; } >> /run/unit/growth";
    std::string log; // full, so that its first trim falls into the first hundred passes

    while (log.size() < 131000)
        log += std::string (98, 'x') + "\r\n";

    unit.with ("home/ORBIStechnologies/Autosave1/ORBISdaemon.log", log);
    unit.with ("run/canned", "1\n");

    for (const auto pass : { 100, 20000, 100000 })
        unit.at (pass * 1000 + 3500, measure);

    const auto run = unit.at (100004000, "pkill -INT -x ORBISdaemon")
                         .runShell ("$daemon; status=$?; cat /run/unit/growth; exit $status");
    EXPECT_EQ (2, run.status);
    std::istringstream numbers (run.output);
    struct
    {
        long privateKiB, descriptors;
    } first {}, middle {}, last {};
    numbers >> first.privateKiB >> first.descriptors >> middle.privateKiB >> middle.descriptors >>
        last.privateKiB >> last.descriptors;
    std::cout << "private memory, KiB: " << first.privateKiB << " after 100 passes, " << middle.privateKiB
              << " after 20,000, " << last.privateKiB << " after 100,000\n";

    // The heap takes its shape within the first trims of the log; from then on nothing moves.
    EXPECT_GT (first.privateKiB, 100);
    EXPECT_LE (middle.privateKiB, first.privateKiB + 32);
    EXPECT_EQ (middle.privateKiB, last.privateKiB);
    EXPECT_EQ (first.descriptors, last.descriptors);
    EXPECT_LE (run.log.size(), 131072U + 100U);
}
