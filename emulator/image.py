"""Makes what a machine starts from, once: kernel, device tree, and the card with the installed system."""
import fcntl
import hashlib
import pathlib
import shutil
import subprocess
import sys
import time

from machine import IMAGE, PACKAGE, ROOT, Machine

STAMP = IMAGE / 'made-from'
CARD = IMAGE / 'card.qcow2'
SECOND_STAGE_SECONDS = 1800  # of the PC, for the slowest
BOOT_SECONDS = 3600  # likewise, with ten minutes of the unit


def fingerprint():
    """Of all that goes into the image."""
    digest = hashlib.sha256()
    sources = [ROOT / 'emulator' / name for name in
               ('packages', 'make-image', 'furnish', 'unpacked.py', 'card.py')]
    sources += sorted((ROOT / 'emulator/unit').iterdir()) + sorted((ROOT / 'simulator/tools').iterdir())
    for source in sources:
        digest.update(source.name.encode() + source.read_bytes())
    return digest.hexdigest()


def is_made():
    return STAMP.exists() and STAMP.read_text() == fingerprint()


def step(text, action):
    print(f'{text} ...', end='', file=sys.stderr, flush=True)
    begin = time.monotonic()
    action()
    print(f' {time.monotonic() - begin:.0f} s', file=sys.stderr)


def fetch_and_pack():
    with open(ROOT / 'build/emulator.log', 'w') as log:
        made = subprocess.run([ROOT / 'emulator/make-image'], stdout=log, stderr=log, check=False)
    if made.returncode != 0:
        sys.exit(f'\n{(ROOT / "build/emulator.log").read_text()}emulator/make-image failed; see above')
    subprocess.run(['qemu-img', 'convert', '-O', 'qcow2', IMAGE / 'card.img', CARD], check=True)
    (IMAGE / 'card.img').unlink()


def configure():
    with Machine(IMAGE / 'second-stage', CARD, 'stage=/opt/second-stage') as machine:
        machine.go()
        end = time.monotonic() + SECOND_STAGE_SECONDS
        while 'second stage: done' not in machine.console():
            if time.monotonic() > end or machine.qemu.poll() is not None or 'Kernel panic' in machine.console():
                sys.exit(f'\n{machine.console()}The second stage failed; see above')
            time.sleep(0.2)


def make():
    """Makes the image if it is missing or older than its sources. A second start meanwhile waits for it."""
    with open(ROOT / 'build/emulator.lock', 'w') as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if is_made():
            return
        step('Fetching Debian for the unit', fetch_and_pack)
        step('Configuring its packages, on the emulated unit', configure)
        STAMP.write_text(fingerprint())


def boot(folder, package, script=':', **options):
    """A machine with its own copy of the card, as `start` starts it. Returns the machine, and the script's exit status and output."""
    folder = pathlib.Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    card = folder / 'card.qcow2'
    subprocess.run(['qemu-img', 'create', '-q', '-f', 'qcow2', '-F', 'qcow2', '-b', CARD, card], check=True)
    return start(folder, package, script, **options)


def start(folder, package, script=':', **options):
    """Boots from the card in the folder, and runs a script. Then the machine stands still. All that happens until then is the same in
    every run, to the instruction.

    A snapshot of the booted unit would save time, but with -icount QEMU 7.2 loads one whose processor then stands still.
    """
    machine = Machine(folder, pathlib.Path(folder) / 'card.qcow2', **options)
    try:
        machine.put(PACKAGE, package)
        return machine, *machine.run(script, BOOT_SECONDS)
    except Exception as error:
        machine.end()
        raise RuntimeError(f'{machine.console()}The unit does not boot: {error}') from error
