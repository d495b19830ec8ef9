"""Reboot, power-off and rescue: who is told to end, when, and where the fan is meanwhile."""
import re

from unitshell import APPLICATION, DAEMON, GUI, HALTED, PASSES, RESTARTING, SETTLE, expect, shows

DELAY_SECONDS = 5       # of a shutdown in which nothing waits
PATIENCE_SECONDS = 10   # for a program that ignores SIGTERM
FULL_SPEED_EVENT = '0xc0000fff'


def run_first(unit, before='true'):
    """Everything runs, and the fan stands still."""
    unit.sh(f'{before}; temperature 45; sleep {PASSES}')
    unit.pid(APPLICATION)
    unit.pid(GUI)
    expect(unit.fan(), 0, 'fan before the end')


def expect_told(text, programs):
    """The console's text tells that the programs ended by SIGTERM, with the fan at full speed before them and after them."""
    fan = [value.strip() for value in re.findall('unit: fan (.*)', text)]
    expect(fan, [FULL_SPEED_EVENT], 'changes of the fan')
    for program in programs:
        expect(f'unit: {program} ended' in text, True, f'{program} got SIGTERM')
        expect(text.index(f'unit: {program} ended') > text.index('unit: fan'), True, f'{program} ended after the daemon')


def expect_orderly_end(unit, end_unit, until, programs, at_least, at_most):
    """Ends the unit, and holds the console's text against what must be."""
    begin = float(unit.sh('cut -d" " -f1 /proc/uptime'))
    text = end_unit()
    seconds = float(re.findall(r'\[ *(\d+\.\d+)\] ' + until, text)[-1]) - begin
    expect_told(text, programs)
    expect('Failed unmounting' in text, False, 'a file system could not be unmounted')
    expect(at_least <= seconds < at_most, True, f'the shutdown took {seconds:.1f} s')
    return f'{seconds:.1f} s'


@shows('reboot: application and GUI end on SIGTERM before their disks go, full speed, no delay')
def reboot(unit):
    run_first(unit)
    return expect_orderly_end(unit, unit.reboot, RESTARTING, (APPLICATION, GUI), 0, DELAY_SECONDS)


@shows('reboot with an application that ignores SIGTERM: ten seconds, SIGKILL, and its disks are unmounted')
def stubborn(unit):
    run_first(unit, f'touch /run/unit/{APPLICATION}-stays; process crash application; sleep {SETTLE}')
    return expect_orderly_end(unit, unit.reboot, RESTARTING, (GUI,), PATIENCE_SECONDS, PATIENCE_SECONDS + DELAY_SECONDS)


@shows('rescue: application and GUI end on SIGTERM, full speed until the daemon is back')
def rescue(unit):
    run_first(unit)
    before = len(unit.machine.console())
    unit.sh('systemctl isolate rescue.target; sleep 12')
    text = unit.machine.console()[before:]
    left = [unit.pids(name) for name in (DAEMON, APPLICATION, GUI)]
    fan = unit.fan()
    unit.sh('systemctl isolate multi-user.target; sleep 20')
    expect(left, [[], [], []], 'daemon, application and GUI in the rescue')
    expect_told(text, (APPLICATION, GUI))
    expect(hex(fan), FULL_SPEED_EVENT, 'fan in the rescue')
    for name in (DAEMON, APPLICATION, GUI):
        unit.pid(name)


@shows('power-off: application and GUI end on SIGTERM before their disks go, full speed, no delay')
def power_off(unit):
    run_first(unit)
    return expect_orderly_end(unit, lambda: unit.console_after('systemctl --no-block poweroff', HALTED), HALTED,
                              (APPLICATION, GUI), 0, DELAY_SECONDS)
