"""Prints what happens in the unit, in the words of ./simulate, and counts it for a summary."""
import re

from machine import FULL_SPEED

EVENT = re.compile(r'\[ *(\d+)\.(\d{3})\d*\] unit: (.*)')
COUNT_MASK = 0x3FFFFFFF  # bits 31 and 30 enable the fan
COLOURS = {'log': 0, 'fan': 36, 'process': 32, 'device': 33}


def parsed(console):
    """The events in the console's text: (milliseconds since the kernel's start, text)."""
    return [(int(match[1]) * 1000 + int(match[2]), match[3].strip()) for match in map(EVENT.search, console.split('\n')) if match]


def last_boot(console):
    """The console's text since the last start of the kernel."""
    return console[console.rindex('Linux version'):]


def fan_text(register):
    percent = 100 * (register & COUNT_MASK) / (FULL_SPEED & COUNT_MASK) if register & ~COUNT_MASK else 0
    return f'{percent:.0f} % (register {register:#x})'


class Display:
    def __init__(self, colours):
        self.colours = colours
        self.shown = self.starts = self.ends = self.log_lines = 0
        self.fan = 'never written'

    def look(self, console):
        """Prints the events that came since the last call."""
        complete = console[:console.rfind('\n') + 1]
        events = parsed(complete)
        for time, text in events[self.shown:]:
            self.show(time, text)
        self.shown = len(events)

    def show(self, time, text):
        first, _, rest = text.partition(' ')
        kind = 'process' if first.startswith('ORBIS') else first if first in ('fan', 'log') else 'device'
        if kind == 'fan':
            text = self.fan = fan_text(int(rest, 16))
        elif kind == 'log':
            text = rest
            self.log_lines += 1
        elif kind == 'process':
            self.starts += rest == 'started'
            self.ends += rest in ('ended', 'crashed')
        line = f'{time / 1000:9.3f} s  {kind:8} {text}{" C" if first == "temperature" else ""}'
        print(f'\033[{COLOURS[kind]}m{line}\033[0m' if self.colours else line, flush=True)

    def summary(self):
        print(f'\nSummary: application and GUI started {self.starts} times, ended {self.ends} times; {self.log_lines} log '
              f'lines; the fan at the end: {self.fan}')
