#include "tests/Scenario.h"

#include <algorithm>
#include <array>

namespace
{
// The daemon's counts and kills are noted on their way to the real tools.
constexpr auto prelude = R"sh(cd /usr/local/sbin
cat > pgrep <<'END'
#!/bin/sh
pids=$(/usr/bin/pgrep "$@")
set -- "$2" $pids
note "count $1 $(($# - 1))"
shift
[ $# -eq 0 ] || printf '%s\n' "$@"
END
cat > killall <<'END'
#!/bin/sh
case $1 in -*) ;; *) note "killall $1" ;; esac
exec /usr/bin/killall "$@"
END
chmod +x pgrep killall
cd /
begin() { # KIND LEVEL ARGUMENTS
    : > /run/unit/scenario
    echo "<PROPERTIES><VALUE name=\"LogLevel\" val=\"$2\"/></PROPERTIES>" > /home/root/ORBISdaemon/ORBISdaemon.ppf
    echo "$2" > /run/unit/level
    note "life $*"
    now=$(($(od -A n -t d8 -N 8 /run/unit/clock) / 1000000))
}
at() { echo "$((now + $1)) $2" >> /run/unit/scenario; }
pause() { with-clock /usr/bin/sleep "$1"; }
bootunit() {
    begin boot-unit "$1"
    $daemon fan-at-full-speed
    note ended $?
}
echo "$UNIT_WALL_START"
)sh";

constexpr Scenario::Product products[] = { { "OD123456", "DMI-ORBIS", "ORBISpad", true },
                                           { "OY123456", "PXRVN", "ORBISpad", true },
                                           { "OZ123456", "PXLVN", "ORBISpad", true },
                                           { "OT123456", "ORBIS:tessel", "ORBIStesselGUI", false },
                                           { "OX123456", "ORBIS:lumo", "", false } };

constexpr const char* boards[] = { "configured", "configured", "no-dac1", "no-router", "no-bus" };
}

// A write of no interest to the log costs no note.
const char* const Scenario::writeHook = R"sh(read -r degrees < /sys/bus/iio/devices/iio:device0/in_temp0_raw
read -r level < /run/unit/level
result=worked; [ ! -e /run/unit/devmem-fails ] || result=failed
case $degrees-$result-$level in
    [46]*-worked-[123] | 85-worked-[123]) ;;
    *) note "write $result" ;;
esac
)sh";

Scenario::Scenario (unsigned seed)
    : random (seed)
    , product (pick (products))
    , hasDisk (draw (6) == 0)
    , mayTrim (! hasDisk && draw (3) == 0)
    , board (pick (boards))
    , script (prelude)
{
    for (auto lives = 1 + draw (4); lives > 0; --lives)
    {
        if (draw (4) < (mayTrim ? 3 : 1))
            cannedLife();
        else
            life();

        if (draw (3) == 0)
            maintenance();
    }
}

void Scenario::at (int milliseconds, const std::string& command)
{
    script += "at " + std::to_string (milliseconds) + " '" + command + "'\n";
}

int Scenario::begin (const std::string& kind)
{
    const auto level =
        mayTrim ? 4 + draw (2) : 1 + draw (kind == "canned" ? 3 : 5); // so that only mayTrim fills the log
    script += "begin " + kind + " " + std::to_string (level) + (*product.gui == 0 ? " without-gui\n" : "\n");
    return level;
}

void Scenario::live (int level, int end, int mostTemperatures)
{
    constexpr std::array degrees = { "60", "85", "85.5", "88", "90", "90.5", "97.25", "40" };

    for (auto changes = draw (mostTemperatures); changes > 0; --changes)
        at (draw (end), std::string ("temperature ") + pick (degrees));

    if (! hasDisk && ! mayTrim && draw (3) == 0)
    {
        constexpr std::array steps = { "+7200", "-7200", "-600", "+400", "-100000", "+200000" };
        const auto step = std::string ("clock ") + pick (steps);
        const auto when = draw (end);
        at (when, "note " + step);
        at (when, step);
    }

    constexpr std::array signals = { "2", "15", "15", "11", "9", "9", "1" };
    const auto how = draw (9);
    const auto isPowerFailure = how == 8;

    if (how == 7)
    {
        at (end, "note refused; : > /run/unit/commands"); // which then tells what the daemon could not do
        at (end, "processes refused");
    }
    else
    {
        const std::string signal = isPowerFailure ? "9" : signals[static_cast<std::size_t> (how)];
        at (end, "note signal " + signal + "; pkill -" + signal + " -x ORBISdaemon");
    }

    script += "$daemon; status=$?\n"
              "[ ! -e /run/unit/commands ] || note refused-writes $(grep -c devmem /run/unit/commands)\n"
              "note ended $status; rm -f /run/unit/canned /run/unit/commands\n";
    script += isPowerFailure ? "killall -q -KILL ORBIStessel ORBISpad ORBIStesselGUI; pause " +
                                   std::to_string (10 + draw (50))
                             : "bootunit " + std::to_string (level) + "\n" + (draw (2) == 0 ? "pause 5" : "");
    script += "\n";
}

/** With real programs. A storm is cheap because the daemon waits most of the time. */
void Scenario::life()
{
    const auto level = begin ("supervision");
    const auto isStorm = draw (3) == 0;
    auto end = 1000 * (product.hasFan ? 4 + draw (12) : 40 + draw (500)) + draw (1000);

    if (isStorm)
    {
        const auto from = draw (5000), until = from + draw (draw (2) == 0 ? 60000 : 900000);
        at (from, "touch /run/unit/ORBIStessel-fails; process crash application");
        at (until, "rm -f /run/unit/ORBIStessel-fails");
        end = std::max (end, until + draw (20000));
    }

    for (auto events = draw (5); events > 0; --events)
    {
        constexpr std::array happenings = { "process crash application", "process duplicate application",
                                            "process crash gui", "process duplicate gui" };
        const auto which = static_cast<std::size_t> (draw (*product.gui == 0 ? 2 : 4));
        at (draw (end), happenings[which]);
    }

    const auto forAWhile = [&] (const char* command, const char* later, int most)
    {
        const auto from = draw (end);
        at (from, command);
        at (from + draw (most), later);
    };

    if (draw (3) == 0)
        forAWhile ("touch /run/unit/devmem-fails", "rm -f /run/unit/devmem-fails", 10000);

    if (hasDisk && draw (2) == 0)
        forAWhile ("disk fill", "disk free", 20000);

    live (level, end, 4);
    script += "rm -f /run/unit/devmem-fails /run/unit/ORBIStessel-fails\n"
              "[ ! -e /home/root/ORBIStechnologies/Autosave1/filler ] || disk free\n";
}

/** Without the programs, which are all well, so that hours take no time. */
void Scenario::cannedLife()
{
    const auto level = begin ("canned");
    const auto end =
        1000 * (product.hasFan ? 60 + draw (mayTrim ? 2500 : 300) : 100 + draw (draw (3) == 0 ? 200000 : 30000)) +
        draw (1000);
    script += "echo 1 > /run/unit/canned\n";
    live (level, end, 8);
}

void Scenario::maintenance()
{
    constexpr std::array arguments = { "mutedac", "DISCONNECTFPGA", "RESETDSP", "resetdsp", "hello mutedac" };
    const std::string given = pick (arguments);
    script += "begin maintenance 3 " + given + "\n$daemon " + given + "; note ended $?\npause 3\n";
}
