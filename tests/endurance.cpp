// Faults that show only after a long time, or at one moment of many: ./run-tests --long.
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

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

// A forced write may outlive the daemon.
const std::string readRegister =
    "[ -e /run/unit/register ] || await \"! pgrep -f '[d]evmem 0x' > /dev/null\"\n"
    "register=none; [ ! -e /run/unit/register ] || read -r register < /run/unit/register";

/** The different lines of an output, and how often each is there. */
std::map<std::string, int> countedLines (const std::string& output)
{
    std::map<std::string, int> counts;
    std::istringstream lines (output);

    for (std::string line; std::getline (lines, line);)
        ++counts[line];

    return counts;
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
    const std::map<std::string, int> expected { { std::string ("15 ") + fullSpeed, 200 } };
    EXPECT_EQ (expected, countedLines (run.output)) << run.describe();
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

INSTANTIATE_TEST_SUITE_P (, FailingCall, testing::Values ("open", "write", "popen", "posix_spawn", "system"),
                          [] (const auto& instance) { return std::string (instance.param); });

struct AllocationFault
{
    const char* name;   ///< of the test
    const char* kind;   ///< for UNIT_FAULT
    int step;           ///< each such call of malloc has a run of its own
    int answer, end;    ///< what the shell's canned answers count, and when the daemon is ended, in milliseconds
    int leastFullSpeed; ///< ends by the fault with the fan at full speed
};

using FailingAllocation = testing::TestWithParam<AllocationFault>;

// In these thousands of runs, only the signal handler starts a process: its register write is real.
TEST_P (FailingAllocation, endsAtFullSpeed)
{
    if (! Unit::isPossible())
        return;

    Unit unit ("OD123456", "65");
    const auto& fault = GetParam();
    unit.with ("run/canned", std::to_string (fault.answer) + "\n").stopAt (fault.end);
    const auto run = unit.runShell (preloadFault + "kind=" + fault.kind + " step=" + std::to_string (fault.step) +
                                    R"(
        log=/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log
        k=0 calls=0; until [ $k -gt $calls ]; do
            rm -f /run/unit/clock /run/unit/register* $log
            UNIT_FAULT="$kind $k" timeout -s KILL 20 $daemon; status=$?
            [ $k -gt 0 ] || read -r calls < /run/unit/calls
            )" + readRegister + R"(
            grep -qs Device $log && product=known || product=unknown
            echo $status ${register##* } $product
            echo $k $status ${register##* } $product >&2
            k=$((k + step))
        done)");
    std::cout << "exit status and register:\n";
    int fullSpeedByFault = 0;

    for (const auto& [outcome, count] : countedLines (run.output))
    {
        const std::set<std::string> withoutWrite {
            "1 none known",                         // no pipe for a count: the fan keeps its speed
            "6 none unknown",   "11 none unknown",  // before the product is known
            "134 none unknown", "139 none unknown", // before the handlers are installed
            "142 none unknown",                     // the handler waits for the lock of the serial's first load
        };
        const bool isFullSpeed = outcome.find (fullSpeed) != std::string::npos;
        EXPECT_TRUE (isFullSpeed || withoutWrite.count (outcome)) << outcome << "\n" << run.complaints;
        fullSpeedByFault += isFullSpeed && outcome[0] != '2' ? count : 0;
        std::cout << "  " << outcome << ": " << count << " times\n";
    }

    EXPECT_GE (fullSpeedByFault, fault.leastFullSpeed);
}

INSTANTIATE_TEST_SUITE_P (, FailingAllocation,
                          testing::Values (AllocationFault { "onceWhileProgramsStart", "malloc", 1, 0, 4500, 100 },
                                           AllocationFault { "onceWhileProgramsRun", "malloc", 1, 1, 1500, 100 },
                                           AllocationFault { "forGood", "memory", 3, 0, 4500, 200 },
                                           AllocationFault { "onADamagedHeap", "heap", 3, 0, 4500, 200 },
                                           AllocationFault { "onAnOverflowingStack", "stack", 3, 0, 4500, 200 }),
                          [] (const auto& instance) { return std::string (instance.param.name); });

// Most of the time of this daemon is spent in its own code: it logs every line, and its commands are canned.
using BusyDaemon = testing::TestWithParam<int>;

TEST_P (BusyDaemon, leavesTheFanAtFullSpeedOnAHundredSignals)
{
    if (! Unit::isPossible())
        return;

    Unit unit ("OD123456", "65");
    unit.withSettings ({ { "LogLevel", "5" } }).with ("run/canned", "1\n");
    const auto run = unit.runShell (preloadFault + "first=" + std::to_string (GetParam()) + R"(
        log=/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log
        for i in $(seq $first $((first + 99))); do
            rm -f /run/unit/register* $log
            # Each signal alone, and each pair.
            set -- INT ABRT FPE ILL SEGV TERM; shift $((i % 6)); one=$1
            set -- '' INT ABRT FPE ILL SEGV TERM; shift $((i / 6 % 7)); other=$1
            $daemon & pid=$!
            await "grep -qs Loglevel $log"
            rest 0.0$((i * 7919 % 90 + 10))
            kill -$one $pid; [ -z "$other" ] || kill -$other $pid 2> /dev/null
            # SIGINT is lost while a command runs.
            while [ $one = INT ] && kill -INT $pid 2> /dev/null; do rest 0.02; done
            wait $pid; status=$?
            )" + readRegister + R"(
            echo "$status ${register##* }"
        done 2> /run/unit/killed)");
    int count = 0;

    for (const auto& [outcome, times] : countedLines (run.output))
    {
        count += times;
        const std::set<std::string> statuses { "2", "4", "6", "8", "11", "15", "142" };
        EXPECT_NE (std::string::npos, outcome.find (fullSpeed)) << outcome;
        EXPECT_TRUE (statuses.count (outcome.substr (0, outcome.find (' ')))) << outcome;
        std::cout << outcome << ": " << times << " times\n";
    }

    EXPECT_EQ (100, count);
}

INSTANTIATE_TEST_SUITE_P (, BusyDaemon, testing::Range (0, 1000, 100));

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
