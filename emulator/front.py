#!/usr/bin/env python3
"""The program behind ./emulate, whose --help describes it."""
import functools
import os
import select
import sys
import tempfile
import termios
import tty

import image
from events import Display
from machine import PACKAGE, ROOT

LOG = '/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log'
LOOK_SECONDS = 0.05  # of the PC
TYPED_BYTES = 4096
# The story of ./simulate, at whose end the daemon is stopped. Then what the init system adds: a start, and one after SIGKILL.
STORY = ['play /usr/local/bin/story; sleep 5; systemctl start ORBISdaemon; sleep 12',
         'note daemon gets SIGKILL; killall -KILL ORBISdaemon; sleep 12']
INSTALL = f'''payload {PACKAGE:#x} > /opt/package.deb
mount -o remount,rw /home
dpkg -i /opt/package.deb
mount -o remount,ro /home 2>&1'''
WATCH = f'''touch {LOG}
setsid sh -c 'tail -n 0 -f {LOG} | while read -r line; do note "log $line"; done' > /dev/null 2>&1 &
systemctl start ORBISdaemon'''


@functools.cache # it can be built anew meanwhile
def package():
    return max((ROOT / 'dist').glob('*.deb')).read_bytes()


def commands():
    """The typed words, and what the unit's shell does for them: the list of ./simulate."""
    lines = (ROOT / 'simulator/tools/commands').read_text().strip().split('\n')
    return [[part.strip() for part in line.split('|')] for line in lines]


def scripts_for(line):
    """What the unit's shell does for a typed line: a list of one script, or of none with the help on the screen."""
    for words, action, _ in commands():
        if line.startswith(words):
            return [action + line[len(words):]]
    print('Commands:')
    for words, _, text in commands():
        print(f'  {words:22} {text}')
    return []


def follow(machine, display, scripts, interactive):
    """Lets the unit run, gives it the scripts, then those that are typed, one after the other, and shows what happens."""
    busy = False
    machine.go()
    while machine.qemu.poll() is None and (interactive or busy or scripts):
        if scripts and not busy:
            machine.send(scripts.pop(0))
            busy = True
        ready = select.select([machine.agent] + ([sys.stdin] if interactive else []), [], [], LOOK_SECONDS)[0]
        if machine.agent in ready:
            machine.result()
            busy = False
        if sys.stdin in ready:
            typed = os.read(sys.stdin.fileno(), TYPED_BYTES).decode(errors='replace')
            if not typed:
                break
            for line in typed.splitlines():
                scripts += scripts_for(line.strip())
        display.look(machine.console())
    machine.halt()
    display.look(machine.console())


def shell(machine):
    """Joins the terminal and the console, where the unit has a root shell, until Ctrl-]."""
    line = machine.connect('console-line')
    print('A root shell on the unit. Ctrl-] ends the emulation.')
    before = termios.tcgetattr(sys.stdin)
    tty.setraw(sys.stdin)
    try:
        machine.go()
        line.sendall(b'\n')
        while machine.qemu.poll() is None:
            ready = select.select([sys.stdin, line], [], [])[0]
            if line in ready:
                os.write(1, line.recv(65536))
            if sys.stdin in ready:
                typed = os.read(0, 1024)
                if b'\x1d' in typed or not typed:
                    return
                line.sendall(typed)
    finally:
        termios.tcsetattr(sys.stdin, termios.TCSADRAIN, before)


def main():
    mode = sys.argv[1]
    image.make()
    print('The unit boots ...', file=sys.stderr)
    arguments = 'systemd.mask=serial-getty@ttymxc1.service' + (' systemd.debug_shell=ttymxc1' if mode == 'shell' else '')
    with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder:
        machine, status, output = image.boot(folder, package(), INSTALL, arguments=arguments, real_time=mode != 'demo')
        with machine:
            print(output)
            if status != 0:
                return status
            machine.run(WATCH)
            display = Display(sys.stdout.isatty() and not os.environ.get('NO_COLOR'))
            try:
                if mode == 'shell':
                    shell(machine)
                    return 0
                if mode == 'interactive':
                    print('Type a command, or help; Ctrl-C ends the emulation.')
                follow(machine, display, STORY if mode == 'demo' else [], mode == 'interactive')
            except KeyboardInterrupt:
                pass
            display.summary()
    return 0


if __name__ == '__main__':
    sys.exit(main())
