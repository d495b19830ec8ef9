"""The same card with busybox's init instead of systemd: the start script has to do what the boot unit does."""
from scenarios.shutdown import expect_orderly_end
from unitshell import APPLICATION, DAEMON, GUI, HALTED, SETTLE, expect, shows

PLAIN = 'stage=/usr/local/bin/plain-init'
SCRIPT = '/etc/init.d/ORBISdaemon'
DELAY_SECONDS = 8 # of a shutdown in which nothing waits, but busybox and the script sleep for whole seconds


def shows_plain(text):
    """Like `shows`, on a unit that has booted without systemd."""
    def add(function):
        def check(unit):
            if unit.arguments != PLAIN:
                if not unit.is_halted:
                    unit.provide()
                unit.power_on(PLAIN)
                unit.settle()
            return function(unit)
        check.__module__ = function.__module__
        return shows('without systemd, ' + text, bare=True)(check)
    return add


def count_daemons(unit):
    return len(unit.pids(DAEMON))


@shows_plain('boot: one daemon, one application, one GUI')
def boot(unit):
    expect(unit.sh('cat /proc/1/comm; [ -d /run/systemd/system ] || echo no systemd'), 'busybox\nno systemd', 'init')
    for name in (DAEMON, APPLICATION, GUI):
        unit.pid(name)


@shows_plain('SIGKILL: full speed until the restart, the same application')
def kill(unit):
    daemon, application = unit.pid(DAEMON), unit.pid(APPLICATION)
    unit.sh(f'kill -KILL {daemon}; sleep 2')
    unit.expect_full_speed('2 s after SIGKILL')
    unit.settle()
    expect(unit.pid(DAEMON) == daemon, False, 'the daemon is the one before')
    expect(unit.pid(APPLICATION), application, 'application')


@shows_plain('the start script\'s loop killed: start gives one daemon, stop none, and full speed')
def killed_loop(unit):
    unit.sh(f'kill -KILL $(cat /run/ORBISdaemon/pid); sleep 1; {SCRIPT} start; sleep {SETTLE}')
    expect(count_daemons(unit), 1, 'daemons after the start')
    unit.sh(f'{SCRIPT} stop; sleep {SETTLE}')
    expect(count_daemons(unit), 0, 'daemons after the stop')
    unit.expect_full_speed('after the stop')
    unit.pid(APPLICATION)
    unit.sh(f'{SCRIPT} start; sleep {SETTLE}')
    unit.pid(DAEMON)


@shows_plain('power-off: application and GUI end on SIGTERM before their disks go, full speed, no delay')
def power_off(unit):
    expect(unit.fan(), 0, 'fan before the end')
    return expect_orderly_end(unit, lambda: unit.console_after('busybox poweroff', HALTED), HALTED, (APPLICATION, GUI), 0,
                              DELAY_SECONDS)
