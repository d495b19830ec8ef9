"""What the daemon costs, in the unit's own terms. The whole measurement runs on a machine of its own, from the boot on, so that every
run of it gives the same numbers."""
import tempfile

import image
from front import INSTALL, package
from unitshell import APPLICATION, DAEMON, GUI, expect, shows

WARM_UP, MEASURED = 60, 600  # seconds of the unit
NANOSECONDS_PER_INSTRUCTION = 2  # of QEMU's -icount shift=1
# Prints pairs of name and number. The kernel counts the processor's time in nanoseconds for a process, in microseconds for the
# boot unit, which also has the daemon's commands, the application and the GUI.
LOOK = f"""look() {{
    for name in {DAEMON} {APPLICATION} {GUI}; do
        read -r time _ < /proc/$(pgrep -x $name)/schedstat; echo $1$name $time
    done
    sed -n "s/^usage_usec/$1unit/p" /sys/fs/cgroup/system.slice/ORBISdaemon.service/cpu.stat
}}"""
SCRIPT = f"""{{
{INSTALL}
systemctl stop fan-watch; systemctl start ORBISdaemon; sleep {WARM_UP}
{LOOK}
}} > /run/measuring 2>&1
look before-; sleep {MEASURED}; look after-
sed -n 's/^\\(Rss\\|Private_Dirty\\): *\\([0-9]*\\) kB/\\1 \\2/p' /proc/$(pgrep -x {DAEMON})/smaps_rollup
"""


@shows('what ten minutes of supervision cost')
def cost(_):
    with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder:
        machine, status, output = image.boot(folder, package(), SCRIPT)
        machine.end()
    expect(status, 0, f'measurement: {output}')
    numbers = {name: int(number) for name, number in map(str.split, output.strip().split('\n'))}
    spent = {name: numbers[f'after-{name}'] - numbers[f'before-{name}'] for name in (DAEMON, APPLICATION, GUI, 'unit')}
    commands = spent['unit'] * 1000 - spent[DAEMON] - spent[APPLICATION] - spent[GUI]
    millions = {name: time / NANOSECONDS_PER_INSTRUCTION / 1e6 for name, time in ((DAEMON, spent[DAEMON]), ('commands', commands))}
    expect(commands > spent[DAEMON] > 0, True, f'the commands need more than the daemon in {numbers}')
    return (f'{millions[DAEMON]:.3f} million instructions of the daemon, {millions["commands"]:.2f} of its commands; '
            f'{numbers["Rss"]} kB resident, {numbers["Private_Dirty"]} kB of them its own')
