#!/usr/bin/env python3
"""Makes a run of ctest readable: what failed in full, a line per program, the totals, and ctest's own
closing lines last. Takes ctest's output and the build directory it ran in."""

import re
import sys
from pathlib import Path

output = Path(sys.argv[1]).read_text(errors="replace")
last_log = Path(sys.argv[2], "Testing", "Temporary", "LastTest.log")
details = last_log.read_text(errors="replace") if last_log.is_file() else ""

passed = re.compile(r"^ *\d+/\d+ Test +#\d+: (\S+) \.* +Passed +([\d.]+) sec$", re.MULTILINE)
closing_at = re.search(r"^(\d+% tests passed|No tests were found)", output, re.MULTILINE)
closing = output[closing_at.start():] if closing_at else ""
body = output[:closing_at.start()] if closing_at else output

# Everything but the announcements and the tests that passed is worth reading.
quiet = re.compile(r"^( *Start +\d+: |Test project | *\d+/\d+ Test +#\d+: \S+ \.* +Passed |\s*$)")
for line in body.splitlines():
    if not quiet.match(line):
        print(line)

cases = 0
for block in re.split(r"^\d+/\d+ Testing: ", details, flags=re.MULTILINE)[1:]:
    name = block.split("\n", 1)[0].strip()
    ran = re.search(r"^\[={10}\] (\d+) tests? from (\d+) test suites? ran", block, re.MULTILINE)
    seconds = re.search(r"^Test time = +([\d.]+) sec", block, re.MULTILINE)
    if ran:
        cases += int(ran[1])
        print(f"  {name:<16} {int(ran[1]):>6} tests  {float(seconds[1]) if seconds else 0:>7.2f} s")
    elif seconds and float(seconds[1]) >= 1:
        print(f"  {name:<16} {'':>12}  {float(seconds[1]):>7.2f} s")
if cases:
    print(f"{cases} tests ran in the programs above")
print(re.sub(r"\n\s*\n", "\n", closing).strip())
