#!/usr/bin/env python3
"""Drives gdb over the subject and compares what its variables look like there.

Takes: gdb, the printers, the subject.
"""

import re
import subprocess
import sys

GDB, PRINTERS, SUBJECT = sys.argv[1:]

EXPECTED = {
    "none": "null",
    "truth": "true",
    "number": "-12",
    "large": "18446744073709551615",
    "fraction": "2.5",
    "day": "2001-01-02 00:00:00.000 UTC",
    "far": "1e+300 s after 1970",
    "text": r'"say \"ä\""',
    "longText": '"' + "x" * 200 + '"…',
    "noText": "null",
    "boxed": r'"say \"ä\""',
    "array": 'NSArray of 3 elements = {1, "two", NSArray of 1 element = {3.5}}',
    "dictionary": 'NSDictionary of 2 entries = {["name"] = "Ann", ["age"] = 30}',
    "set": 'NSMutableSet of 2 members = {"a", "c"}',
    "path": "NSIndexPath 1 - 4",
    "indexes": "NSMutableIndexSet 2–4, 9",
    "error": 'NSError Shop 7 = {reason = "sold out"}',
    "rejected": 'PLVRejected rejected: NSError Shop 7 = {value = NSError Shop 7 = '
                '{reason = "sold out"}}',
    "pending": "PLVDeferred pending, 7 steps = {" + ", ".join(
        f"step {i} = Resolved" for i in range(7)) + "}",
    "resolved": 'PLVDeferred resolved with "done" = {resolution = "done"}',
    "sourced": "PLVDeferred pending = {waits for = NSArray of 3 elements}",
    "orphan": "PLVDeferred pending",
    "cancelled": "PLVDeferred resolved with PLVRejected cancelled: null, cancelled = {resolution = "
                 "PLVRejected cancelled: null = {value = null}}",
    "promise": "PLVPromise pending",
    "person": "NSEntityDescription Person",
    "object": 'Person 1, inserted = {name = "Ann", age = 30}',
    "*object._object": 'Person 1, inserted = {name = "Ann", age = 30}',
    "changes": "PLVFetchedResultsChanges 1 inserted items = {"
               "deleted sections = NSMutableIndexSet empty, "
               "inserted sections = NSMutableIndexSet empty, "
               "deleted items = NSMutableArray of 0 elements, "
               "inserted items = NSMutableArray of 1 element = {NSIndexPath 1 - 4}, "
               "updated items = NSMutableArray of 0 elements, "
               "moved items = NSMutableArray of 0 elements}",
}


def printed():
    commands = ["set confirm off", "set width 0", f"source {PRINTERS}", "break shown", "run", "up"]
    for name in EXPECTED:
        commands += [f"echo >>>{name}>>>", f"output {name}", "echo \\n"]
    arguments = [GDB, "-q", "-batch", "-nx"]
    for command in commands:
        arguments += ["-ex", command]
    run = subprocess.run(arguments + [SUBJECT], capture_output=True, text=True, timeout=300)
    found = dict(re.findall(r"^>>>(.+?)>>>(.*)$", run.stdout, re.MULTILINE))
    return found, run.stdout[-3000:] + run.stderr[-3000:]


def main():
    found, said = printed()
    wrong = [f"{name}: {found.get(name)!r}, expected {text!r}" for name, text in EXPECTED.items()
             if found.get(name) != text]
    for line in wrong:
        print(line)
    if wrong:
        print(said)
        sys.exit(1)
    print(f"{len(EXPECTED)} variables look as they should")


main()
