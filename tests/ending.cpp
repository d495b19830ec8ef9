// How the daemon ends: by signals, beside a register write that hangs, and when its signal handler does not get through.
#include <csignal>
#include <cstdlib>
#include <unistd.h>

#include <gtest/gtest.h>

#include "identity/OrbisUtils.h"
#include "supervisor/SignalHandler.h"
#include "tests/Unit.h"

namespace
{
using Writes = std::vector<std::string>;

constexpr auto fullSpeed = "0xc0000fff";
constexpr auto failedText = "ERROR: Adjusting fan speed to 1 FAILED! devmem 0x42010000 32 0xc0000fff";

std::string kill (const std::string& signal)
{
    return "pkill -" + signal + " -x ORBISdaemon; ";
}

// A command that waits here hangs, until `open` opens the gate, or for ever.
const std::string makeGate = "mkfifo /run/unit/gate; open() { exec 3<> /run/unit/gate; echo >&3; rest 0.1; }\n";
const std::string waitAtGate = "read -r _ < /run/unit/gate; ";
const std::string openGate = "exec 3<> /run/unit/gate; echo >&3; "; // for a scenario

std::string once (const std::string& condition, const std::string& commands)
{
    return "if " + condition + " && mkdir /tmp/once 2> /dev/null; then " + commands + "fi\n";
}
}

UNIT_TEST (Daemon, leavesTheFanAtFullSpeedOnEverySignal)
{
    const std::pair<std::int64_t, const char*> moments[] = { { 500, "waiting to start the application" },
                                                             { 10500, "waiting for the GUI" },
                                                             { 3500, "between two passes" } };

    for (const auto signum : { SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV, SIGTERM })
        for (const auto& [milliseconds, moment] : moments)
        {
            const auto run =
                Unit().at (milliseconds, "pkill -" + std::to_string (signum) + " -x ORBISdaemon").run();
            EXPECT_EQ (signum, run.status) << moment << run.describe();
            EXPECT_EQ ("Interrupt signal (" + std::to_string (signum) + ") received.", run.messages.back())
                << moment;
            EXPECT_EQ (fullSpeed, run.registerWrites.back()) << moment;
        }
}

// The write of a lower speed hangs when the signal arrives: 0x0 at 45 degrees, with the GUI running from the third second on.
UNIT_TEST (InterruptedWrite, isNeverTheLastOne)
{
    // When the write ends, in milliseconds since the start: the signal comes at 3000. The writes, and the signals. Full
    // speed is written after a write that ends in time, before one that ends late and again after it. One that never
    // ends is killed.
    const std::tuple<const char*, std::int64_t, Writes, std::vector<int>> rows[] = {
        { "in time", 4000, { fullSpeed, "0x0", fullSpeed }, { SIGABRT, SIGFPE, SIGILL, SIGSEGV, SIGTERM } },
        { "late", 7000, { fullSpeed, fullSpeed, "0x0", fullSpeed }, { SIGTERM } },
        { "never", 100000, { fullSpeed, fullSpeed, fullSpeed }, { SIGTERM } },
    };

    for (const auto& [description, opensAt, writes, endings] : rows)
        for (const auto signum : endings)
        {
            Unit unit;
            unit.withGuiRunning()
                .at (opensAt, openGate)
                .with ("run/devmem-hook", once ("[ $3 = 0x0 ]", kill (std::to_string (signum)) + waitAtGate));
            const auto run = unit.runShell (makeGate + "$daemon; status=$?; note ended; open; exit $status");
            EXPECT_EQ (signum, run.status) << description << run.describe();
            EXPECT_EQ (writes, run.registerWrites) << description << run.describe();
            EXPECT_GE (12000, run.timesOf ("ended").at (0)) << description;
        }
}

UNIT_TEST (RegisterWrite, ignoresInterruptsWhileItRuns)
{
    const auto run = Unit()
                         .withGuiRunning()
                         .stopAt (5500)
                         .with ("run/devmem-hook", once ("[ $3 = 0x0 ]", kill ("INT") + kill ("QUIT")))
                         .run();
    EXPECT_EQ (SIGINT, run.status) << run.describe();
    EXPECT_EQ (32U, run.registerWrites.size()) << "full speed, ten steps in each of three passes, full speed";
}

UNIT_TEST (InterruptedWrite, isNotMistakenForAnInheritedChild)
{
    const auto run =
        Unit()
            .withGuiRunning()
            .at (4000, openGate)
            .with ("run/devmem-hook",
                   once ("[ $3 = 0x0 ]", kill ("TERM") + "exec 3<> /run/unit/child; echo >&3; " + waitAtGate))
            .runShell (makeGate + R"(
                mkfifo /run/unit/child
                sh -c "read -r _ < /run/unit/child & exec $daemon"
                status=$?; open; exit $status)");
    EXPECT_EQ (SIGTERM, run.status) << run.describe();
    EXPECT_EQ (Writes ({ fullSpeed, "0x0", fullSpeed }), run.registerWrites) << run.describe();
}

UNIT_TEST (HangingWrite, holdsUpNeitherTheEndNorSupervision)
{
    // Every write hangs. The daemon counts on, and starts the application again.
    Unit unit;
    unit.withGuiRunning().with ("run/devmem-hook", waitAtGate).at (30000, "process crash application");
    const auto run = unit.at (200000, kill ("TERM") + "note killed")
                         .runShell (makeGate + "$daemon; status=$?; note ended; exit $status");
    EXPECT_EQ (SIGTERM, run.status) << run.describe();
    EXPECT_EQ (2U, run.timesOf ("ORBIStessel started").size()) << run.describe();
    EXPECT_EQ (failedText, run.messages.back());
    EXPECT_TRUE (run.registerWrites.empty());
    EXPECT_GE (8000, run.timesOf ("ended").at (0) - run.timesOf ("killed").at (0));

    // So does the boot unit's start after it.
    Unit stopped;
    const auto post = stopped.with ("run/devmem-hook", waitAtGate)
                          .runShell (makeGate + "$daemon fan-at-full-speed; status=$?; note ended; exit $status");
    EXPECT_EQ (0, post.status) << post.describe();
    EXPECT_EQ (1, post.countOf (failedText));
    EXPECT_GE (5000, post.timesOf ("ended").at (0));
}

// While the handler's own write of full speed hangs, a second signal arrives.
UNIT_TEST (SignalHandler, forcesFullSpeedIfItDoesNotGetThrough)
{
    // The signals, the exit status, and the number of writes: the one of the start, and the forced one.
    constexpr std::tuple<const char*, const char*, int, std::size_t> rows[] = {
        { "TERM", "SEGV", SIGTERM, 2 },
        { "SEGV", "SEGV", SIGSEGV, 2 },
        { "ABRT", "FPE", SIGABRT, 2 },
        { "INT", "ILL", SIGINT, 2 },
        { "TERM", "ALRM", 142, 2 },
        { "ILL", "ALRM", 142, 2 },
        // People's signals do not end the handler.
        { "TERM", "INT", SIGTERM, 1 },
        { "INT", "TERM", SIGINT, 1 },
        { "SEGV", "QUIT", SIGSEGV, 1 },
    };

    for (const auto& [first, second, status, writes] : rows)
    {
        const auto run = Unit()
                             .with ("run/devmem-hook", once ("[ -e /tmp/armed ]", kill (second) + waitAtGate))
                             .at (500, "touch /tmp/armed")
                             .at (500, kill (first))
                             .runShell (makeGate + "$daemon; status=$?; rest 0.1; exit $status");
        EXPECT_EQ (status, run.status) << first << ' ' << second << run.describe();
        EXPECT_EQ (Writes (writes, fullSpeed), run.registerWrites) << first << ' ' << second << run.describe();
    }
}

// A killall by the daemon's name can hit the process of the command, which has this name at first.
UNIT_TEST (SignalHandler, writesAgainIfItsWriteIsKilled)
{
    const auto run = Unit()
                         .with ("run/devmem-hook", once ("[ -e /tmp/armed ]", "kill -TERM $PPID; exit 1; "))
                         .at (500, "touch /tmp/armed; " + kill ("TERM"))
                         .run();
    EXPECT_EQ (SIGTERM, run.status) << run.describe();
    EXPECT_EQ (Writes ({ fullSpeed, fullSpeed }), run.registerWrites);
    EXPECT_EQ ("Interrupt signal (15) received.", run.messages.back());
}

UNIT_TEST (SignalHandler, knowsTheUsualRegisterBeforeTheSettingsAreRead)
{
    Unit recovering;
    recovering.withUnopenableLog().with ("run/recovery", kill ("TERM"));
    Unit fetching ("");
    fetching.with ("run/boot-serial", "OD123456").at (0, "");
    const std::string hook = "printf '#!/bin/sh\n" + kill ("TERM") + "echo OD123456\n' > /home/root/fw_printenv; ";

    for (auto* const unit : { &recovering, &fetching })
    {
        const auto run = unit->runShell (unit == &fetching ? hook + "$daemon" : "$daemon");
        EXPECT_EQ (SIGTERM, run.status) << run.describe();
        EXPECT_EQ ("0x42010000 32 0xc0000fff\n", contentOf (unit->folder / "run/register")) << run.describe();
    }
}

UNIT_TEST (Daemon, inheritsNoSignalSettings)
{
    const auto run =
        Unit()
            .withGuiRunning()
            .with ("run/devmem-hook", once ("[ -e /tmp/armed ]", kill ("ALRM") + waitAtGate))
            .at (5500, "touch /tmp/armed")
            .at (5500, kill ("TERM"))
            .at (20000, kill ("KILL"))
            .runShell (makeGate + "UNIT_ENV='--block-signal --ignore-signal=CHLD --ignore-signal=ALRM' $daemon");
    EXPECT_EQ (142, run.status) << run.describe();
    EXPECT_EQ (std::string::npos, run.log.find ("FAILED")) << run.log;
    EXPECT_EQ (fullSpeed, run.registerWrites.back());

    const auto late =
        Unit().at (500, kill ("ALRM")).stopAt (20000).runShell ("UNIT_ENV=--ignore-signal=ALRM $daemon");
    EXPECT_EQ (142, late.status) << "SIGALRM is still ignored";
}

TEST (SignalHandler, takesTheLoggerAway)
{
    struct NoLog final : juce::Logger
    {
        void logMessage (const juce::String&) override {}
    };

    EXPECT_EXIT (
        {
            static NoLog log;
            constexpr int loggerKept = 99;
            juce::Logger::setCurrentLogger (&log);
            std::atexit ([] { juce::Logger::getCurrentLogger() == nullptr ? void() : ::_exit (loggerKept); });
            OrbisUtils::getTesselType ("OT123456"); // a product without a fan, so that no devmem of this PC is run
            signalHandler (SIGTERM);
        },
        testing::ExitedWithCode (SIGTERM), "");
}
