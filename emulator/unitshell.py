"""The unit as the scenarios see it, and the list of what they show."""
import collections
import tempfile
import traceback

import events
import image
from front import INSTALL, LOG, package
from machine import FULL_SPEED

DAEMON, APPLICATION, GUI = 'ORBISdaemon', 'ORBIStessel', 'ORBISpad'
CHECKS = collections.defaultdict(list) # by the scenarios' file
PROGRAM = '/home/root/ORBISdaemon/ORBISdaemon'
DATA = '/home/root/ORBIStechnologies/Autosave1'
SECONDS = 'cut -d" " -f1 /proc/uptime'  # prints the unit's time
SETTLE = 10  # seconds: the daemon starts again 5 s after its end, and supervises
PASSES = 5   # seconds in which a daemon that runs surely reads the sensor and writes the fan
SHUTDOWN_SECONDS = 300  # of the PC, for the slowest
RESTARTING, HALTED = 'reboot: Restarting system', 'reboot: (?:Power down|System halted)'


def shows(text, bare=False):
    """Marks a function of a unit as one line of ./run-tests --board. It finds a unit on which the package is installed and the daemon
    runs, unless it is bare, and leaves it like this."""
    def add(function):
        function.text, function.bare = text, bare
        CHECKS[function.__module__].append(function)
        return function
    return add


def expect(actual, expected, what):
    if actual != expected:
        raise AssertionError(f'{what}: {actual!r} instead of {expected!r}')


class Unit:
    """A booted machine. Between two scripts it stands still."""

    def __init__(self, folder):
        self.folder = folder
        self.arguments = '' # of the kernel
        self.is_halted = False
        self.machine = image.boot(folder, package())[0]

    def power_on(self, arguments):
        """After a power-off, or in its place: boots with other arguments of the kernel."""
        self.machine.end()
        self.arguments, self.is_halted = arguments, False
        self.machine = image.start(self.folder, package(), arguments=arguments)[0]

    def sh(self, script):
        """What the script prints. Its own exit status is not looked at."""
        return self.machine.run(script)[1].strip()

    def status(self, script):
        return self.machine.run(script)[0]

    def install(self):
        status, output = self.machine.run(INSTALL)
        expect(status, 0, f'installation: {output}')

    def provide(self):
        """Installs the package if it is not there."""
        if self.status(f'[ -e {PROGRAM} ]') != 0:
            self.install()
            self.sh(f'systemctl start ORBISdaemon; sleep {SETTLE}')

    def fan(self):
        return self.machine.fan()

    def expect_full_speed(self, when):
        expect(hex(self.fan()), hex(FULL_SPEED), f'the fan {when}')

    def pids(self, name):
        return self.sh(f'pgrep -x {name}').split()

    def pid(self, name):
        pids = self.pids(name)
        expect(len(pids), 1, f'number of {name}')
        return pids[0]

    def log(self):
        return self.sh(f'cat {LOG}')

    def events(self):
        """What happened since the last boot."""
        return events.parsed(events.last_boot(self.machine.console()))

    def console_after(self, command, until):
        """Gives the unit its last command. Returns the console's text until the kernel says that it ends."""
        before = len(self.machine.console())
        self.machine.send(command)
        self.machine.go()
        self.machine.result()
        self.machine.await_console(until, before, SHUTDOWN_SECONDS)
        self.machine.halt()
        self.is_halted = True
        return self.machine.console()[before:]

    def reboot(self):
        """Reboots, lets everything start, and returns the console's text of the shutdown. The PC gives the reset, because QEMU's
        watchdog, by which this board resets itself, does not."""
        text = self.console_after('systemctl --no-block reboot', RESTARTING)
        self.machine.ask('system_reset')
        self.machine.run(f'sleep {SETTLE}', image.BOOT_SECONDS) # the GUI starts seconds after the application
        self.is_halted = False
        return text

    def settle(self, seconds=SETTLE):
        self.sh(f'sleep {seconds}')


def run(checks):
    """Performs the checks on one unit; prints a line for each. Returns passed and failed."""
    counts = [0, 0]
    with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder:
        unit = Unit(folder)
        try:
            for check in checks:
                try:
                    if not check.bare:
                        unit.provide()
                    figures = check(unit)
                    print(f'passed  {check.text}{": " + figures if figures else ""}', flush=True)
                    counts[0] += 1
                except Exception as error: # a check may fail in any way; the next one still runs
                    print(f'FAILED  {check.text}: {error}', flush=True)
                    if isinstance(error, TimeoutError):
                        unit.machine.end() # the unit is lost, and the next checks need not wait for it
                    if not isinstance(error, AssertionError):
                        traceback.print_exc()
                    counts[1] += 1
        finally:
            unit.machine.end()
    return counts
