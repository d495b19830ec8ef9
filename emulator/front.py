#!/usr/bin/env python3
"""The program behind ./emulate, whose --help describes it."""
import os
import select
import sys
import tempfile
import termios
import time
import tty

import image
from events import Display
from machine import ROOT

LOG = '/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log'
LOOK_SECONDS = 0.05  # of the PC
STORY_MARGIN = 5  # seconds of the unit after the story's last line
INSTALL = '''payload > /opt/package.deb
mount -o remount,rw /home
dpkg -i /opt/package.deb
mount -o remount,ro /home 2>&1'''
WATCH = f'''touch {LOG}
setsid sh -c 'tail -n 0 -f {LOG} | while read -r line; do note "log $line"; done' > /dev/null 2>&1 &
systemctl start ORBISdaemon'''


def package():
    return max((ROOT / 'dist').glob('*.deb')).read_bytes()


def commands():
    """The typed words, and what the unit's shell does for them: the list of ./simulate."""
    lines = (ROOT / 'simulator/tools/commands').read_text().strip().split('\n')
    return [[part.strip() for part in line.split('|')] for line in lines]


def obey(machine, line):
    for words, action, _ in commands():
        if line.startswith(words):
            machine.send(action + line[len(words):])
            return
    print('Commands:')
    for words, _, text in commands():
        print(f'  {words:22} {text}')


def interact(machine, display):
    print('Type a command, or help; Ctrl-C ends the emulation.')
    machine.go()
    while machine.qemu.poll() is None:
        if select.select([sys.stdin], [], [], LOOK_SECONDS)[0]:
            line = sys.stdin.readline()
            if not line:
                return
            obey(machine, line.strip())
        display.look(machine.console())


def demo(machine, display):
    machine.send(f'play /usr/local/bin/story; sleep {STORY_MARGIN}')
    machine.go()
    machine.agent.setblocking(False)
    while True:
        time.sleep(LOOK_SECONDS)
        display.look(machine.console())
        try:
            if machine.agent.recv(65536):
                break
        except BlockingIOError:
            pass
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
    with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder, \
            image.boot(folder, arguments=arguments, real_time=mode != 'demo') as machine:
        machine.put(package())
        status, output = machine.run(INSTALL)
        print(output)
        if status != 0:
            return status
        display = Display(sys.stdout.isatty() and not os.environ.get('NO_COLOR'))
        machine.run(WATCH)
        try:
            if mode == 'shell':
                shell(machine)
            elif mode == 'demo':
                demo(machine, display)
            else:
                interact(machine, display)
        except KeyboardInterrupt:
            pass
        if mode != 'shell':
            display.summary()
    return 0


if __name__ == '__main__':
    sys.exit(main())
