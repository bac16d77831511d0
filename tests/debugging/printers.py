#!/usr/bin/env python3
"""Drives a debugger over the subject and compares what its variables look like there.

Takes: the debugger, its printers, the subject.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

DEBUGGER, PRINTERS, SUBJECT = sys.argv[1:]
IS_LLDB = "lldb" in os.path.basename(DEBUGGER)

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
    "promise": "PLVPromise pending, 1 listener = {listener 0 = PLVDeferred pending}",
    "listener": "PLVDeferred pending = {waits for = PLVPromise pending, 1 listener}",
    "listed": "PLVPromise pending, 1 listener = {listener 0 = PLVDeferred pending}",
    "inner": "PLVDeferred pending, 2 steps = {step 0 = ResumeDeferred → PLVDeferred waiting, "
             "step 1 = ResumePromise → PLVPromise waiting}",
    "outer": "PLVDeferred waiting = {waits for = PLVDeferred pending, 2 steps}",
    "waiting": "PLVPromise waiting = {waits for = PLVDeferred pending, 2 steps}",
    "kept": "PLVPromise resolved with NSArray of 1 element = {resolution = NSArray of 1 element = "
            '{"done"}}',
    "upload": "shop::Upload pending",
    "entityClass": "class NSEntityDescription",
    "person": "NSEntityDescription Person",
    "object": 'Person 1, inserted = {name = "Ann", age = 30, boss = NSManagedObjectID Person 1}',
    "*object._object":
        'Person 1, inserted = {name = "Ann", age = 30, boss = NSManagedObjectID Person 1}',
    "changes": "PLVFetchedResultsChanges 1 inserted items = {"
               "deleted sections = NSMutableIndexSet empty, "
               "inserted sections = NSMutableIndexSet empty, "
               "deleted items = NSMutableArray of 0 elements, "
               "inserted items = NSMutableArray of 1 element = {NSIndexPath 1 - 4}, "
               "updated items = NSMutableArray of 0 elements, "
               "moved items = NSMutableArray of 0 elements}",
}
# What these begin with: what leads back to itself comes to an end, and what cannot be read says so.
STARTS = {
    "ring": "NSMutableArray of 2 elements = {1, NSMutableArray of 2 elements = {1, ",
    "unmade.array": "<NSObject 0x10: ",
}


def installed_copy(folder):
    """The printers for gdb where an installation has them: beside a shared library's name, apart
    from what they need."""
    shutil.copytree(pathlib.Path(PRINTERS).parent, folder / "share" / "JNFoundation")
    copy = folder / "share" / "gdb" / "auto-load" / "usr" / "lib" / "libJNFoundation.so-gdb.py"
    copy.parent.mkdir(parents=True)
    shutil.copy(PRINTERS, copy)
    return copy


def run_gdb(printers=PRINTERS):
    commands = ["set confirm off", "set width 0", f"source {printers}", "break shown", "run", "up"]
    for name in [*EXPECTED, *STARTS]:
        commands += [f"echo >>>{name}>>>", f"output {name}", "echo \\n"]
    arguments = [DEBUGGER, "-q", "-batch", "-nx"]
    for command in commands:
        arguments += ["-ex", command]
    run = subprocess.run(arguments + [SUBJECT], capture_output=True, text=True, timeout=300)
    return run, dict(re.findall(r"^>>>(.+?)>>>(.*)$", run.stdout, re.MULTILINE))


def folder_of_python_modules():
    """Where lldb's own Python modules are; some packages of it look for them elsewhere."""
    prefix = pathlib.Path(DEBUGGER).resolve().parent.parent
    for folder in sorted(prefix.glob("lib*/python3*/*-packages"), reverse=True):
        if (folder / "lldb" / "embedded_interpreter.py").is_file():
            return str(folder)
    return ""


def as_gdb_writes(text):
    """lldb's lines in one, without the indexes that gdb leaves out."""
    lines = [re.sub(r"^\[\d+\] = ", "", line.strip()) for line in text.split("\n")]
    text = ""
    for line in lines:
        if line == "}":
            text = text.removesuffix(", ") + "}, "
        else:
            text += line.removesuffix(" {") + " = {" if line.endswith(" {") else line + ", "
    return text.removesuffix(", ")


def run_lldb():
    commands = [f"command script import {PRINTERS}", "breakpoint set -n shown", "run", "up"]
    commands += [f"frame variable {name}" for name in [*EXPECTED, *STARTS]]
    arguments = [DEBUGGER, "-b", "-x"]
    for command in commands:
        arguments += ["-o", command]
    # Beside another Python in the path lldb does not find what its packages bring either.
    folders = [folder_of_python_modules(), "/usr/lib/python3/dist-packages"]
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, folders))}
    run = subprocess.run(arguments + [SUBJECT], capture_output=True, text=True, timeout=300,
                         env=environment)
    found = re.findall(r"^\(lldb\) frame variable (.+)\n\(.+?\) \1 = ((?:.|\n(?!\(lldb\)))*)",
                       run.stdout, re.MULTILINE)
    return run, {name: as_gdb_writes(text) for name, text in found}


def main():
    run, found = run_lldb() if IS_LLDB else run_gdb()
    compare(run, found)
    if not IS_LLDB:
        with tempfile.TemporaryDirectory() as folder:
            compare(*run_gdb(installed_copy(pathlib.Path(folder))))
    print(f"{len(EXPECTED) + len(STARTS)} variables look as they should")


def compare(run, found):
    """Ends the program where something looks otherwise."""
    wrong = [f"{name}: {found.get(name)!r}, expected {text!r}" for name, text in EXPECTED.items()
             if found.get(name) != text]
    wrong += [f"{name}: {found.get(name)!r}, expected {start!r} and not much more"
              for name, start in STARTS.items()
              if not found.get(name, "").startswith(start) or len(found[name]) > 5000]
    for line in wrong:
        print(line)
    if wrong:
        print(run.stdout[-3000:] + run.stderr[-3000:])
        sys.exit(1)


main()
