"""RESETDSP on the wire: what the chips' bus carried, from QEMU's trace."""
import re

from unitshell import DATA, PASSES, expect, shows

SWITCH, DAC, ROUTER = 0x77, 0x18, 0x5A
DAC1_CHANNEL, DAC2_CHANNEL = 0x20, 0x08
MESSAGE = re.compile(r'i2c_(event|send|recv)[_a-z]* (\w+)\(addr:(0x\w+)\)(?: data:(0x\w+))?')
# Registers 6, 3 and 2 are read until one differs from the board's; then the DAC is set up.
SETUP = [(2, 0x81), (6, 0x33), (9, 0xFF), (3, 0xC3), (2, 0x80)]
SILENCE = [(9, 0xFF), (2, 0x81)]
# The sinks' registers: endpoint by endpoint, 0 for one without a sink.
SINKS = [0, 25, 26, 27, 28, 1, 2, 3, 4, 9, 10, 11, 12, 13, 14, 15, 16, 29, 30, 5, 6, 7, 8, 17, 18, 19, 20, 21, 22, 23, 24,
         0, 0, 0, 0, 0, 0, 0, 0, 31]


def frames(trace):
    """The frames on the bus: (address, bytes written) in their order. A frame that only addresses a chip to read has no bytes."""
    found = []
    for match in MESSAGE.finditer(trace):
        kind, word, address, data = match.groups()
        if kind == 'event' and word.startswith('start'):
            found.append((int(address, 16), []))
        elif kind == 'send' and found:
            found[-1][1].append(int(data, 16))
    return [(address, tuple(content)) for address, content in found]


def writes(trace):
    """Register writes: (chip, channel of the switch, register, value)."""
    channel, found = 0, []
    for address, content in frames(trace):
        if address == SWITCH and len(content) == 1:
            channel = content[0]
        elif len(content) == 2:
            found.append((address, channel if address == DAC else 0, *content))
    return found


def reset(unit, serial, node='89 2'):
    """Runs RESETDSP as this product, on the bus that has this device node. Returns what it wrote on the wire."""
    machine = unit.machine
    before = len(machine.errors())
    for event in ('i2c_event', 'i2c_send'):
        machine.ask('trace-event-set-state', name=event, enable=True)
    log = unit.sh(f'''systemctl stop ORBISdaemon
mv /dev/i2c-2 /dev/i2c-2.real
{f'mknod /dev/i2c-2 c {node}' if node else ':'}
echo {serial} > {DATA}/serial.txt
: > {DATA}/ORBISdaemon.log
cd /run && /home/root/ORBISdaemon/ORBISdaemon RESETDSP
echo "status $?"
rm -f /dev/i2c-2; mv /dev/i2c-2.real /dev/i2c-2
cat {DATA}/ORBISdaemon.log
echo OD123456 > {DATA}/serial.txt; systemctl start ORBISdaemon; sleep {PASSES}''')
    for event in ('i2c_event', 'i2c_send'):
        machine.ask('trace-event-set-state', name=event, enable=False)
    expect('status 1' in log, True, f'exit status 1 in {log!r}')
    return writes(machine.errors()[before:])


def silenced(channel):
    return [(DAC, channel, *write) for write in SILENCE]


def set_up(channel):
    return [(DAC, channel, *write) for write in SETUP]


DISCONNECT = [(ROUTER, 0, 0x22, 0xFF), (ROUTER, 0, 0x3D, 0xFF)] + [(ROUTER, 0, sink, 0) for sink in SINKS]


# Product, device node (the buses differ in their chips), and what must be on the wire.
CASES = [
    ('both DACs on a tessel', 'OT123456', '89 2', set_up(DAC1_CHANNEL) + set_up(DAC2_CHANNEL) + silenced(DAC1_CHANNEL) +
     silenced(DAC2_CHANNEL) + DISCONNECT),
    ('DAC 2 on a lumo', 'OX123456', '89 2', set_up(DAC2_CHANNEL) + silenced(DAC2_CHANNEL) + DISCONNECT),
    ('DAC 2 on a tessel without DAC 1 and router', 'OT123456', '89 0', set_up(DAC2_CHANNEL) + silenced(DAC2_CHANNEL)),
    ('the router on a tessel without the switch', 'OT123456', '89 1', DISCONNECT),
    ('nothing on a tessel without the bus', 'OT123456', None, []),
]


def add_case(name, serial, node, expected):
    @shows(f'RESETDSP on the wire: {name}')
    def check(unit):
        expect(reset(unit, serial, node), expected, 'writes to the chips')


for entry in CASES:
    add_case(*entry)
