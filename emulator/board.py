#!/usr/bin/env python3
"""The program behind ./run-tests --board [NAME...]: performs the scenarios in emulator/scenarios on one emulated unit."""
import importlib
import sys
import tempfile

import image
import unitshell

# In this order, on one unit.
for name in ('life', 'faults', 'bus', 'package', 'shutdown', 'plain', 'figures'):
    importlib.import_module(f'scenarios.{name}')

image.make()
with tempfile.TemporaryDirectory(dir=image.IMAGE) as folder:
    passed, failed = unitshell.run(folder, sys.argv[1:])
if passed + failed == 0:
    print(f'./run-tests: no line of --board has one of these words: {" ".join(sys.argv[1:])}', file=sys.stderr)
print(f'{passed} passed, {failed} failed, 0 skipped')
sys.exit(failed > 0 or passed == 0)
