// The start script for images without systemd: one loop and one daemon, even if several programs call it.
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/Unit.h"

namespace
{
// The script's waits follow the PC's clock, but here each takes 0.02 s instead of seconds. So a stop may wait more often: a PC
// under load needs longer than 90 such waits to end a daemon with sanitizers.
constexpr auto prelude = R"sh(
sed -i 's/^seconds=90 /seconds=9000 /; s/^patience=10 /patience=9000 /' /run/unit/init
put() { printf '#!/bin/sh\n%s\n' "$2" > "$1"; chmod +x "$1"; }
put /usr/local/sbin/sleep 'exec env -u LD_PRELOAD /usr/bin/sleep 0.02'
daemon=/home/root/ORBISdaemon/ORBISdaemon
init() { with-clock sh /run/unit/init "$1" 2>&1; echo "$1 $?"; }
loops() { pgrep -f -c '^sh /run/unit/init run-for-ever'; }
# A program that the daemon starts has its name for a moment, and so has the one that sets the fan.
daemons() {
    found=0
    for process in $(pgrep -x ORBISdaemon); do
        grep -q '(ORBISdaemon)' /proc/$(ps -o ppid= $process | tr -d ' ')/stat && continue
        [ "$(tr '\0' ' ' < /proc/$process/cmdline)" = "$daemon " ] && found=$((found + 1))
    done
    echo $found
} 2> /dev/null # a process may end between two looks
count() { rest 0.2; echo "$(loops) loops, $(daemons) daemons"; }
loop() { cat /run/ORBISdaemon/pid; }
kill_loop() { kill -KILL $(loop); await '! kill -0 $(loop)' 2> /dev/null; }
)sh";

struct StartScriptUnit : Unit
{
    StartScriptUnit() { with ("run/init", contentOf (PACKAGING_FOLDER "/ORBISdaemon.init")); }

    UnitRun call (const std::string& commands) { return runShell (prelude + commands); }
};

const std::string oneOfEach = "1 loops, 1 daemons\n";
const std::string none = "0 loops, 0 daemons\n";

/** Runs commands with the prelude on a new unit, and compares what they write. */
void expectOutput (const std::string& expected, const std::string& commands)
{
    const auto run = StartScriptUnit().call (commands);
    EXPECT_EQ (expected, run.output) << commands << run.describe();
}

/** Twice four callers, and now and then a kill of the loop. RANDOM_CALLS is the number of calls of each. */
void callAtRandom (const std::string& preparation)
{
    const char* const calls = std::getenv ("RANDOM_CALLS");
    const auto run = StartScriptUnit().call (preparation + "\ncalls=" + (calls != nullptr ? calls : "4") + R"sh(
        env -u LD_PRELOAD /usr/bin/sleep 1000 & foreign=$!
        caller() {
            mawk -v seed=$1 -v calls=$calls 'BEGIN {
                srand(seed); for (i = 0; i < calls; i++) print int(rand() * 20), int(rand() * 9) }' |
            while read -r action pause; do
                case $action in
                    0) kill_loop 2> /dev/null ;;
                    [1-5]) init start ;;
                    [6-9]) init stop ;;
                    1[0-2]) init status ;;
                    *) init restart ;;
                esac
                rest 0.00$pause
            done
        }
        for last in start stop; do
            callers=''
            for seed in 1 2 3 4; do caller $seed${#last} > /run/unit/calls$seed & callers="$callers $!"; done
            wait $callers
            init $last; count
        done
        kill -9 $foreign && echo the foreign process ran
        grep -L . /run/unit/calls*
    )sh");
    EXPECT_EQ ("start 0\n" + oneOfEach + "stop 0\n" + none + "the foreign process ran\n", run.output)
        << run.describe();
}
}

UNIT_TEST (StartScript, keepsTheDaemonRunning)
{
    StartScriptUnit unit;
    unit.at (20000, "pkill -KILL -x ORBISdaemon").at (40000, "touch /run/unit/again");
    const auto run = unit.call (R"sh(
        init status
        init start
        init start
        await '[ -e /run/unit/again ]'
        init status
        count
        init try-restart
        await '[ $(grep -c Loglevel /home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log) -ge 5 ]'
        init stop
        init status
        init try-restart
        count
        pgrep -x -c ORBIStessel
    )sh");
    EXPECT_EQ ("ORBISdaemon does not run\nstatus 3\nstart 0\nstart 0\nORBISdaemon runs\nstatus 0\n" + oneOfEach +
                   "try-restart 0\nstop 0\nORBISdaemon does not run\nstatus 3\ntry-restart 0\n" + none + "1\n",
               run.output)
        << run.describe();
    EXPECT_EQ (1U, run.timesOf ("ORBIStessel started").size());
    EXPECT_EQ (1U, run.timesOf ("ORBISpad started").size());
    EXPECT_EQ (3, run.countOf ("fan-at-full-speed")) << "after the kill, the restart and the stop";
    EXPECT_EQ (6, run.countOf ("Loglevel set to 2"));
    EXPECT_EQ ("0xc0000fff", run.registerWrites.back());
}

// The application can save its state as long as its disk is there. Without an effect on a stop by hand.
UNIT_TEST (StartScript, endsTheProgramsOnlyAtShutdown)
{
    const auto run = StartScriptUnit().call (R"sh(
        # By their names, because for a moment a program's child has its name, too.
        programs() { for name in ORBIStessel ORBISpad; do ! pgrep -x $name || echo found; done | grep -c found; }
        for call in 'init stop' 'RUNLEVEL=2 init stop' 'RUNLEVEL=0 init stop' 'RUNLEVEL=6 init stop' 'init shutdown'; do
            init start; await '[ "$(programs)" = 2 ]'; eval "$call"; programs
        done
        init shutdown; count
        # It rests, because the unit's clock stands still beside a program that runs.
        put /home/root/ORBIStessel/ORBIStessel 'trap "" TERM; env -u LD_PRELOAD /usr/bin/sleep 1000; :'
        sed -i 's/^patience=9000 /patience=5 /' /run/unit/init
        ln -s /usr/bin/busybox /usr/local/sbin/killall
        init start; await '[ "$(programs)" = 2 ]'; init shutdown; programs
        tail -n 1 /run/unit/register-writes | grep -o 0xc.*
    )sh");
    const auto stop = [] (const char* left) { return std::string ("start 0\nstop 0\n") + left; };
    EXPECT_EQ (stop ("2\n") + stop ("2\n") + stop ("0\n") + stop ("0\n") + "start 0\nshutdown 0\n0\nshutdown 0\n" +
                   none + "start 0\nshutdown 0\n0\n0xc0000fff\n",
               run.output)
        << run.describe();
    EXPECT_EQ (3U, run.timesOf ("ORBIStessel ended").size())
        << "on SIGTERM; a GUI that has just started may not note it";
}

UNIT_TEST (StartScript, endsTheDaemonOfALoopThatWasKilled)
{
    const std::pair<std::string, std::string> rows[] = {
        { "init status; init start; init status; count",
          "ORBISdaemon runs, but without its loop: after its end nothing starts it again\nstatus 1\nstart 0\n"
          "ORBISdaemon runs\nstatus 0\n" +
              oneOfEach },
        { "init stop; init status; count; cat /run/unit/register",
          "stop 0\nORBISdaemon does not run\nstatus 3\n" + none + "0x42010000 32 0xc0000fff\n" },
        { "init try-restart; count", "try-restart 0\n" + oneOfEach },
        { "echo $$ > /run/ORBISdaemon/pid; init start; count", "start 0\n" + oneOfEach },
    };

    for (const auto& [then, expected] : rows)
        expectOutput ("start 0\n0 loops, 1 daemons\n" + expected + "stop 0\n",
                      "init start; rest 0.2; kill_loop; count;" + then + "; init stop");
}

UNIT_TEST (StartScript, replacesADaemonWhoseFileAnUpgradeReplaced)
{
    expectOutput ("start 0\ntry-restart 0\n" + oneOfEach + "stop 0\n" + none, R"sh(
        mkdir /tmp/folder; cp $daemon /tmp/folder/
        sed -i 's|^daemon=.*|daemon=/tmp/folder/ORBISdaemon|' /run/unit/init; daemon=/tmp/folder/ORBISdaemon
        init start; rest 0.2
        cp $daemon $daemon.new; mv $daemon.new $daemon
        kill_loop
        init try-restart; count; init stop; count
    )sh");
}

// What a pid file, a name or the daemon's own file alone would take for the loop or the daemon.
UNIT_TEST (StartScript, endsNoOtherProcess)
{
    StartScriptUnit unit;
    unit.with ("run/devmem-hook", "mkdir /run/unit/held 2> /dev/null && kill -STOP $(pgrep -o -x ORBISdaemon)\n");
    const auto run = unit.call (R"sh(
        $daemon by-hand & by_hand=$! # stops at its first write of the register
        await 'grep -q "^State:.T" /proc/$by_hand/status'
        mkdir /tmp/copy; cp /usr/bin/sleep /tmp/copy/ORBISdaemon
        env -u LD_PRELOAD /tmp/copy/ORBISdaemon 1000 & foreign=$!
        env -u LD_PRELOAD /usr/bin/sleep 1000 9>> /tmp/lock & stranger=$!
        mkdir -p /run/ORBISdaemon
        for process in $foreign $stranger $by_hand 999999 '' x; do
            echo $process > /run/ORBISdaemon/pid
            init status; init start; count; init stop
            echo $process > /run/ORBISdaemon/pid
            init stop; count
        done
        kill -CONT $by_hand; wait $by_hand; echo by hand $?
        kill -9 $foreign && kill -9 $stranger && echo both ran
    )sh");
    std::string expected;

    for (int i = 0; i < 6; ++i)
        expected += "ORBISdaemon does not run\nstatus 3\nstart 0\n" + oneOfEach + "stop 0\nstop 0\n" + none;

    EXPECT_EQ (expected + "by hand 0\nboth ran\n", run.output) << run.describe();
}

UNIT_TEST (StartScript, startsOneDaemonForManyCallsAtOnce)
{
    const auto turn = oneOfEach + "stop 0\n" + none;
    expectOutput (turn + turn + turn, R"sh(
        for turn in 1 2 3; do
            callers=''
            for i in 1 2 3 4 5 6 7 8; do init start > /dev/null & callers="$callers $!"; done
            wait $callers; count; init stop; count
        done
    )sh");
}

UNIT_TEST (StartScript, endsUpWithOneDaemonOrNoneAfterRandomCalls)
{
    callAtRandom ("");
}

UNIT_TEST (StartScript, endsUpWithOneDaemonOrNoneAfterRandomCallsInBusybox)
{
    // It has a sleep of its own, which takes seconds.
    callAtRandom (
        "sed -i 's| sleep | /usr/local/sbin/sleep |' /run/unit/init; for tool in sh setsid readlink tr wc id;"
        " do ln -s /usr/bin/busybox /usr/local/sbin/$tool; done");
}

UNIT_TEST (StartScript, stopsRightAfterAStart)
{
    expectOutput (" 12 start 0\n 12 stop 0\n" + none, R"sh(
        for i in $(seq 12); do init start; rest 0.00$i; init stop; done > /run/unit/calls
        sort /run/unit/calls | uniq -c | tr -s ' '; count
    )sh");
}

// Otherwise the application, which runs on, would hold the lock.
UNIT_TEST (StartScript, givesItsChildrenNothingOfItsOwnOrItsCallers)
{
    expectOutput ("0\nstop 0\n0022\n/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n"
                  "/run/ORBISdaemon\nfree\n",
                  R"sh(
        mkdir /tmp/evil /tmp/ORBISdaemon
        for tool in pgrep flock sleep sh setsid readlink devmem; do put /tmp/evil/$tool "touch /run/unit/evil"; done
        put /home/root/ORBIStessel/ORBIStessel '
            { umask; echo "$PATH"; pwd; ls -l /proc/$$/fd | grep /ORBISdaemon/ || echo free; } > /run/unit/seen.new
            mv /run/unit/seen.new /run/unit/seen
            . /usr/local/bin/program'
        umask 077
        PATH=/tmp/evil:$PATH with-clock /bin/sh /run/unit/init start 3> /tmp/ORBISdaemon/a; echo $?
        await '[ -e /run/unit/seen ]'
        init stop; cat /run/unit/seen; ls /run/unit/evil
    )sh");
}

UNIT_TEST (StartScript, leavesADaemonOfAContainerAlone)
{
    expectOutput ("ORBISdaemon does not run\nstatus 3\nstop 0\n1\n", R"sh(
        unshare --user --pid --fork $daemon & await 'pgrep -x ORBISdaemon > /dev/null'
        init status; init stop; pgrep -c -x ORBISdaemon
    )sh");
}

UNIT_TEST (StartScript, saysWhatItLacks)
{
    const std::pair<std::string, std::string> rows[] = {
        { "put /usr/local/sbin/id 'echo 1000'; init start; init status; count",
          "/run/unit/init needs root\nstart 4\n/run/unit/init needs root\nstatus 4\n" + none },
        { "sed -i 's/type flock/type missing/' /run/unit/init; init start; exec 2>&1; init start > "
          "/dev/null;"
          "count; init stop; count",
          "/run/unit/init: flock is missing, so several calls at once can start several daemons\nstart 0\n" +
              oneOfEach +
              "/run/unit/init: flock is missing, so several calls at once can start several daemons\nstop 0\n" +
              none },
        { "init; sh /run/unit/init begin; echo $?",
          "Usage: /run/unit/init start|stop|shutdown|restart|force-reload|try-restart|status\n 2\n2\n" },
    };

    for (const auto& [commands, expected] : rows)
        expectOutput (expected, commands);
}

UNIT_TEST (StartScript, leavesTheDaemonToSystemdAndFindsDevmem)
{
    const std::string devmem = "\n/usr/local/bin/devmem\n3\n";
    expectOutput ("start ORBISdaemon" + devmem + "restart ORBISdaemon" + devmem, R"sh(
        mkdir -p /run/systemd/system
        put /usr/local/sbin/systemctl 'echo "$@"; command -v devmem; exit 3'
        PATH=/usr/bin # the caller's, without the folder of devmem
        for action in start restart; do sh /run/unit/init $action; echo $?; done
        ls -d /run/ORBISdaemon 2>/dev/null
    )sh");
}
