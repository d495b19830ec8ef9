"""The emulated board: starts QEMU, and talks to its monitor and to the agent in the unit."""
import base64
import json
import mmap
import os
import pathlib
import re
import shutil
import socket
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
IMAGE = ROOT / 'build/emulator'

RAM_BASE, RAM_BYTES = 0x10000000, 1 << 30
SYSTEM_MIB = 512  # the kernel is told of no more, so that the rest is as good as registers
FAN_REGISTER = 0x42010000
SCRIPT, PACKAGE = 0x44000000, 0x48000000  # where the unit finds what the PC gives it
NUMBER_OFFSET, CONTENT_OFFSET = 4, 4096  # after the word that holds the content's length
FULL_SPEED = 0xC0000FFF
SCRIPT_SECONDS = 900  # of the PC, for the slowest

# One bus is complete, the others lack parts; /dev/i2c-2 can be any of them. Registers 2 to 9 of a pca9552 and 8 to 63 of a ds1338
# keep what is written, like those of the DACs and of the FPGA.
CHIPS = [
    'pca9548,bus=i2c-bus.2,address=0x77',
    'pca9552,id=dac1,bus=i2c-bus.2/pca9548/i2c.5,address=0x18',
    'pca9552,id=dac2,bus=i2c-bus.2/pca9548/i2c.3,address=0x18',
    'ds1338,id=fpga,bus=i2c-bus.2,address=0x5a',
    'pca9548,bus=i2c-bus.0,address=0x77',
    'pca9552,id=only-dac2,bus=i2c-bus.0/pca9548/i2c.3,address=0x18',
    'ds1338,id=only-fpga,bus=i2c-bus.1,address=0x5a',
]

KERNEL_ARGUMENTS = f'console=ttymxc1,115200 mem={SYSTEM_MIB}M printk.devkmsg=on quiet loglevel=6 panic=-1'


class Machine:
    """One QEMU process. Its files are in `folder`, which must be new or empty."""

    def __init__(self, folder, card, arguments='', real_time=False):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.serial = 0
        self.received = b''
        command = [
            'setpriv', '--pdeathsig', 'TERM', 'nice', '-n', '5', # ends with this program, even if that is killed
            'qemu-system-arm', '-M', 'sabrelite,memory-backend=ram', '-m', '1G', '-smp', '1',
            '-object', f'memory-backend-memfd,id=ram,size={RAM_BYTES},share=on',
            '-icount', 'shift=1' if real_time else 'shift=1,sleep=off',
            '-rtc', 'base=2026-05-09T09:08:07,clock=vm', '-seed', '1',
            '-display', 'none', '-nic', 'none',
            '-serial', f'unix:{self.path("agent")},server=on,wait=off',
            '-chardev', f'socket,id=console,path={self.path("console-line")},server=on,wait=off,logfile={self.path("console")}',
            '-serial', 'chardev:console',
            '-qmp', f'unix:{self.path("monitor")},server=on,wait=off',
            '-kernel', IMAGE / 'vmlinuz', '-dtb', IMAGE / 'unit.dtb', '-initrd', IMAGE / 'initrd.gz',
            '-append', f'{KERNEL_ARGUMENTS} {"real-time" if real_time else ""} {arguments}',
            '-drive', f'if=none,id=card,file={card},cache=unsafe', '-device', 'sd-card,drive=card',
            '-S',
        ]
        for chip in CHIPS:
            command += ['-device', chip]
        self.qemu = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=open(self.path('qemu-errors'), 'w'))
        self.monitor = self.connect('monitor').makefile('rw')
        self.monitor.readline()
        self.ask('qmp_capabilities')
        self.agent = self.connect('agent')
        memory = next(link for link in pathlib.Path(f'/proc/{self.qemu.pid}/fd').iterdir()
                      if 'memory-backend-memfd' in os.readlink(link))
        with open(memory, 'r+b') as file:
            self.memory = mmap.mmap(file.fileno(), RAM_BYTES)

    def path(self, name):
        return str(self.folder / name)

    def connect(self, name):
        for _ in range(500):
            try:
                line = socket.socket(socket.AF_UNIX)
                line.connect(self.path(name))
                return line
            except OSError:
                if self.qemu.poll() is not None:
                    break
                time.sleep(0.02)
        raise RuntimeError('QEMU does not start: ' + pathlib.Path(self.path('qemu-errors')).read_text())

    def ask(self, command, **arguments):
        """Gives QEMU's monitor a command and returns its answer."""
        print(json.dumps({'execute': command, 'arguments': arguments}), file=self.monitor, flush=True)
        while True:
            answer = json.loads(self.monitor.readline() or '{"error": "QEMU has ended"}')
            if 'error' in answer:
                raise RuntimeError(f'{command}: {answer["error"]}')
            if 'return' in answer:
                return answer['return']

    def human(self, line):
        """A command of QEMU's monitor for people, such as `info qtree`."""
        return self.ask('human-monitor-command', **{'command-line': line})

    def go(self):
        self.ask('cont')

    def halt(self):
        self.ask('stop')

    def fan(self):
        """The fan's register, read by QEMU's monitor."""
        return int(re.search(r': (0x\w+)', self.human(f'xp /1wx {FAN_REGISTER:#x}'))[1], 16)

    def put_word(self, address, word):
        self.memory[address - RAM_BASE:address - RAM_BASE + 4] = word.to_bytes(4, 'little')

    def put(self, address, content):
        """Puts bytes where the program `payload ADDRESS` of the unit reads them."""
        begin = address + CONTENT_OFFSET - RAM_BASE
        self.memory[begin:begin + len(content)] = content
        self.put_word(address, len(content))

    def line(self, timeout):
        """The next line of the agent."""
        self.agent.settimeout(timeout)
        while b'\n' not in self.received:
            more = self.agent.recv(65536)
            if not more:
                raise RuntimeError('QEMU has ended')
            self.received += more
        line, self.received = self.received.split(b'\n', 1)
        return line.decode().strip()

    def send(self, script):
        """Gives the unit's shell a script and does not wait for its end. The one before must have ended."""
        self.serial += 1
        self.put(SCRIPT, script.encode())
        self.put_word(SCRIPT + NUMBER_OFFSET, self.serial)

    def result(self, timeout=SCRIPT_SECONDS):
        """The exit status and the output of the script that was sent."""
        while True:
            number, status, *output = self.line(timeout).split(' ')
            if number == str(self.serial):
                self.put_word(SCRIPT + NUMBER_OFFSET, 0) # a unit that boots must not find it again
                return int(status), base64.b64decode(output[0] if output else '').decode(errors='replace')

    def run(self, script, timeout=SCRIPT_SECONDS):
        """Runs a script in the unit. The machine stands still before and after it, so that no time passes on the way."""
        self.send(script)
        self.go()
        try:
            return self.result(timeout)
        finally:
            if self.qemu.poll() is None:
                self.halt()

    def console(self):
        return pathlib.Path(self.path('console')).read_text(errors='replace')

    def errors(self):
        """What QEMU printed, its trace included."""
        return pathlib.Path(self.path('qemu-errors')).read_text(errors='replace')

    def await_console(self, pattern, after, timeout):
        """Waits until the console's text after this position has the pattern."""
        end = time.monotonic() + timeout
        while not re.search(pattern, self.console()[after:]):
            if time.monotonic() > end:
                raise TimeoutError(f'no {pattern!r} on the console: {self.console()[after:]}')
            time.sleep(0.05)

    def end(self):
        if self.qemu.poll() is None:
            self.qemu.terminate()
        self.qemu.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()
        shutil.rmtree(self.folder, ignore_errors=True)
