"""Reboot and power-off: who is told to end, when, and where the fan is meanwhile."""
import re

from unitshell import APPLICATION, GUI, HALTED, RESTARTING, expect, shows

DELAY_SECONDS = 5   # of a shutdown in which nothing waits


def expect_orderly_end(unit, end_unit, until):
    unit.install() # the scenarios of the package have purged it
    unit.sh('systemctl start ORBISdaemon; temperature 45; sleep 25')
    unit.pid(APPLICATION)
    unit.pid(GUI)
    begin = float(unit.sh('cut -d" " -f1 /proc/uptime'))
    text = end_unit()
    end = float(re.findall(r'\[ *(\d+\.\d+)\] ' + until, text)[-1])
    expect(re.findall('unit: fan (.*)', text)[-1].strip(), '0xc0000fff', 'last change of the fan')
    for program in (APPLICATION, GUI):
        expect(f'unit: {program} ended' in text, True, f'{program} got SIGTERM')
    expect('Failed unmounting' in text, False, 'a file system could not be unmounted')
    expect(end - begin < DELAY_SECONDS, True, f'the shutdown took {end - begin:.1f} s')
    return f'{end - begin:.1f} s'


@shows('reboot: application and GUI end on SIGTERM before their disks go, full speed, no delay')
def reboot(unit):
    return expect_orderly_end(unit, unit.reboot, RESTARTING)


@shows('power-off: application and GUI end on SIGTERM before their disks go, full speed, no delay')
def power_off(unit):
    return expect_orderly_end(unit, lambda: unit.console_after('systemctl --no-block poweroff', HALTED), HALTED)
