"""Installation, boot, the fan's curve, and every way in which the daemon can end."""
import json

from unitshell import APPLICATION, DAEMON, DATA, FULL_SPEED, GUI, LOG, PASSES, SECONDS, SETTLE, expect, shows

# Degrees, and the register: 4095 counts, from 0.2 of them at 50 degrees to all at 80, in a straight line. Rising, then falling by
# more than the window of 5 degrees.
CURVE = [(45, 0x0), (52, 0xC000040D), (65, 0xC0000999), (79, 0xC0000F91), (80, 0xC0000FFF), (95, 0xC0000FFF)]
# Signal, and the words of the journal. An ordinary end, as systemd has it, leaves only the restart there.
ORDINARY = 'Scheduled restart job'
SIGNALS = [('INT', ORDINARY), ('TERM', ORDINARY), ('ABRT', 'exited, status=6'), ('SEGV', 'exited, status=11'),
           ('ILL', 'exited, status=4'), ('FPE', 'exited, status=8'), ('KILL', 'killed, status=9'), ('HUP', ORDINARY),
           ('QUIT', 'killed, status=3')]


@shows('first installation: the daemon starts at the next boot', bare=True)
def first_installation(unit):
    unit.install()
    expect(unit.pids(DAEMON), [], 'daemons')
    expect(unit.sh('systemctl is-enabled ORBISdaemon'), 'enabled', 'boot unit')


@shows('boot: fan at full speed, then the first start of the application')
def boot(unit):
    unit.reboot()
    events = unit.events()
    fan = next(time for time, text in events if text == f'fan {FULL_SPEED:#x}')
    start = next(time for time, text in events if text == f'{APPLICATION} started')
    expect(fan < start, True, 'order of full speed and application')
    return f'{fan / 1000:.2f} s and {start / 1000:.2f} s after the kernel\'s start'


@shows('after boot: one daemon as root, one application, one GUI')
def inventory(unit):
    unit.pid(APPLICATION)
    unit.pid(GUI)
    expect(unit.sh(f'ps -o user= -p {unit.pid(DAEMON)}'), 'root', 'user of the daemon')


@shows('the curve on readings of the sensor')
def curve(unit):
    try:
        for degrees, register in CURVE:
            unit.sh(f'temperature {degrees}; sleep {PASSES}')
            expect(hex(unit.fan()), hex(register), f'fan at {degrees} degrees')
    finally:
        unit.sh(f'temperature 45; sleep {PASSES}')
    expect(unit.fan(), 0, 'fan at 45 degrees')


def end_by(unit, signal, words):
    daemon, application = unit.pid(DAEMON), unit.pid(APPLICATION)
    expect(unit.fan(), 0, f'fan before SIG{signal}')
    journal = 'journalctl -u ORBISdaemon -o cat'
    before = unit.sh(f'{journal} | wc -l')
    # SIGINT is lost while a command of the daemon runs, as documented.
    unit.sh(f'while kill -{signal} {daemon} 2> /dev/null; do sleep 0.05; done; sleep 2')
    unit.expect_full_speed(f'2 s after SIG{signal}')
    unit.settle()
    expect(unit.pid(DAEMON) == daemon, False, f'the daemon after SIG{signal} is the one before')
    expect(unit.pid(APPLICATION), application, f'application after SIG{signal}')
    said = unit.sh(f'{journal} | tail -n +$(({before} + 1))')
    expect(words in said, True, f'{words!r} in {said!r}')
    expect('Failed with result' in said, words != ORDINARY, f'a failure in {said!r}')
    expect(unit.fan(), 0, f'fan after the restart by SIG{signal}')


def add_signal(signal, words):
    @shows(f'SIG{signal}: full speed until the restart, one application throughout, the journal says why')
    def check(unit):
        end_by(unit, signal, words)


for entry in SIGNALS:
    add_signal(*entry)


@shows('ten SIGKILLs in a row: still supervised')
def ten_kills(unit):
    application = unit.pid(APPLICATION)
    for _ in range(10):
        unit.sh(f'kill -KILL {unit.pid(DAEMON)}; sleep 7')
    expect(unit.pid(APPLICATION), application, 'application')
    unit.sh('process crash application; sleep 5')
    expect(unit.pid(APPLICATION) == application, False, 'the crashed application runs')


@shows('systemctl stop and restart: the application runs on, the fan at full speed while stopped')
def stop(unit):
    application = unit.pid(APPLICATION)
    unit.sh('systemctl restart ORBISdaemon; sleep 3; systemctl stop ORBISdaemon')
    unit.expect_full_speed('after the stop')
    expect(unit.pids(DAEMON), [], 'daemons')
    expect(unit.pid(APPLICATION), application, 'application')
    unit.sh(f'systemctl start ORBISdaemon; sleep {PASSES}')
    expect(unit.pid(APPLICATION), application, 'application after the start')


# In the commands of a stop by systemd each write of the register has four seconds, and the daemon tries several times.
HANGING_STOP_SECONDS = 20


@shows('systemctl stop while devmem hangs: seconds, not minutes')
def hanging_stop(unit):
    hanging = '/usr/local/sbin/devmem' # found before the real one
    taken = unit.sh(f'''printf '#!/bin/sh\\nexec sleep 100000\\n' > {hanging}; chmod +x {hanging}; sleep {PASSES}
{SECONDS}
systemctl stop ORBISdaemon
{SECONDS}; rm {hanging}''').split()
    unit.sh(f'systemctl start ORBISdaemon; sleep {SETTLE}')
    unit.pid(DAEMON)
    expect(unit.fan(), 0, 'fan of the next daemon')
    seconds = float(taken[1]) - float(taken[0])
    expect(seconds < HANGING_STOP_SECONDS, True, f'a stop of {seconds:.2f} s is short enough')
    return f'{seconds:.2f} s'


@shows('serial from the boot loader, if its file is missing')
def boot_serial(unit):
    file = f'{DATA}/serial.txt'
    unit.sh(f'mv {file} /run/; echo OX654321 > /run/unit/boot-serial; systemctl restart ORBISdaemon; sleep 3')
    written = unit.sh(f'cat {file}')
    lines = unit.log()
    unit.sh(f'mv /run/serial.txt {file}; rm /run/unit/boot-serial; systemctl restart ORBISdaemon; sleep {SETTLE}')
    expect('Serial OX654321 without GUI' in lines, True, 'serial in the log')
    expect(written, 'OX654321', 'serial on the disk')


@shows('log-report understands the log of this unit')
def report(unit):
    told = json.loads(unit.sh(f'orbisdaemon-log-report --json {LOG}'))
    expect(told['unit']['serial'], 'OD123456', 'serial')
    expect(told['notUnderstood']['list'], [], 'lines that it does not know')
    lives = [life['end'] for life in told['lives']['list'] if life['kind'] == 'supervision']
    expect(lives[-1], 'open', 'the last life')
    return f'{len(lives)} lives'
