#!/usr/bin/env python3
"""The program behind ./run-tests --board [NAME...]: performs the scenarios in emulator/scenarios on one emulated unit."""
import sys
import tempfile

import image
import unitshell
import scenarios.life
import scenarios.faults
import scenarios.bus
import scenarios.package
import scenarios.shutdown

image.make()
with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder:
    passed, failed = unitshell.run(folder, sys.argv[1:])
skipped = 0 if not sys.argv[1:] else len(unitshell.CHECKS) - passed - failed
print(f'{passed} passed, {failed} failed, {skipped} skipped')
sys.exit(failed > 0)
