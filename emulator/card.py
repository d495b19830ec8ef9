#!/usr/bin/env python3
"""Makes a card with one ext4 partition per folder: card.py CARD MIB (FOLDER MIB)..."""
import struct
import subprocess
import sys

MIB = 1 << 20
SECTOR = 512
ENTRY_OFFSET, ENTRY_BYTES, LINUX = 446, 16, 0x83


def main():
    card, size, *rest = sys.argv[1:]
    with open(card, 'wb') as file:
        file.truncate(int(size) * MIB)
        begin = 1
        for number, (_, mib) in enumerate(zip(rest[::2], rest[1::2])):
            file.seek(ENTRY_OFFSET + number * ENTRY_BYTES)
            file.write(struct.pack('<B3xB3xII', 0, LINUX, begin * MIB // SECTOR, int(mib) * MIB // SECTOR))
            begin += int(mib)
        file.seek(SECTOR - 2)
        file.write(b'\x55\xaa')
    begin = 1
    for folder, mib in zip(rest[::2], rest[1::2]):
        subprocess.run(['mke2fs', '-q', '-t', 'ext4', '-E', f'offset={begin * MIB}', '-d', folder, card, f'{mib}M'], check=True)
        begin += int(mib)


main()
