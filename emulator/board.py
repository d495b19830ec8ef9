#!/usr/bin/env python3
"""The program behind ./run-tests --board [NAME...]: performs the scenarios in emulator/scenarios, each group on a unit of its own."""
import concurrent.futures
import importlib
import os
import sys

import image
import unitshell

# The longest first. The scenarios of a group run in this order, because a scenario may need what the one before leaves.
GROUPS = [('figures',), ('life',), ('shutdown', 'plain'), ('faults', 'bus'), ('package',)]


def checks(group, names):
    """The group's checks whose text contains one of the names, or all."""
    modules = [f'scenarios.{name}' for name in group]
    for module in modules:
        importlib.import_module(module)
    found = [check for module in modules for check in unitshell.CHECKS[module]]
    return [check for check in found if not names or any(name in check.text for name in names)]


def main(names):
    selected = [group for group in (checks(group, names) for group in GROUPS) if group]
    if not selected:
        print(f'./run-tests --board: nothing is called {" or ".join(names)}', file=sys.stderr)
    image.make()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as threads:
        counts = list(threads.map(unitshell.run, selected))
    passed, failed = (sum(column) for column in zip((0, 0), *counts))
    print(f'{passed} passed, {failed} failed, 0 skipped')
    return failed > 0 or passed == 0


try:
    sys.exit(main(sys.argv[1:]))
except KeyboardInterrupt:
    sys.exit(130) # as a shell has it for SIGINT
