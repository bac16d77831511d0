#!/usr/bin/env python3
"""What it costs to include each public header: the lines that the compiler reads after preprocessing,
empty ones left out, and the time that it works on them, the median of three runs of
`g++ -std=c++20 -fsyntax-only`. Writes the table of docs/include-costs.md.

The time is that of the processor, which other programs disturb less than they do the clock; run it on
a quiet machine all the same. What it is compared with comes from the same run."""

import os
import re
import resource
import shlex
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

import tree

PAGE = "docs/include-costs.md"
BEGIN, END = "<!-- costs: scripts/include_costs.py -->\n", "<!-- end of the costs -->\n"
COMPILER = shlex.split(os.environ.get("CXX", "g++"))
FLAGS = ["-std=c++20", "-I", str(tree.ROOT), "-I", str(tree.ROOT / tree.ADAPTER_HEADERS)]
# What most sources include anyway, to compare with.
STANDARD = ["string", "vector", "functional", "memory", "chrono", "algorithm"]
# What the sources of an application include, between them.
USUAL = ["deferred/Deferred.h", "deferred/PLVPromise.h", "fetched/FetchedObservables.h",
         "importing/RecordImport.h", "mapping/PLVManagedObject.h", "platform/dispatch/NSRunLoop.h",
         "platform/dispatch/NSTimer.h", "platform/json/NSJSONSerialization.h", "platform/net/NSURL.h",
         "platform/query/NSPredicate.h", "platform/query/NSSortDescriptor.h",
         "platform/store/NSFetchRequest.h", "platform/store/NSFetchedResultsController.h",
         "platform/store/NSManagedObjectModel.h", "platform/store/NSPersistentStoreCoordinator.h"]
# The libraries of adapters, and what pkg-config calls them.
PACKAGES = {"Qt6Core": ["-fPIC"], "glib-2.0": []}
ROUNDS = 3


def flags_of_packages():
    found = []
    for package, more in PACKAGES.items():
        said = subprocess.run(["pkg-config", "--cflags-only-I", package], capture_output=True, text=True)
        if said.returncode == 0:
            found += said.stdout.split() + more
    return found


def lines(source, flags):
    """How many lines the compiler reads. Returns: None if something that is included is not here."""
    done = subprocess.run([*COMPILER, *flags, "-E", "-x", "c++", "-"], input=source,
                          capture_output=True, text=True)
    if done.returncode:
        return None
    return sum(1 for line in done.stdout.splitlines() if line.strip() and not line.startswith("#"))


def milliseconds(source, flags):
    """The time of the processor that the compiler and the programs that it starts take."""
    rounds = []
    for _ in range(ROUNDS):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        done = subprocess.run([*COMPILER, *flags, "-fsyntax-only", "-x", "c++", "-"], input=source,
                              capture_output=True, text=True)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if done.returncode:
            sys.exit(f"{source}{done.stderr}")
        rounds.append((after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime) * 1000)
    return statistics.median(rounds)


def cost(names, flags):
    """(lines, milliseconds) of including these, or None."""
    source = "".join(f"#include <{name}>\n" for name in names)
    count = lines(source, flags)
    return None if count is None else (count, milliseconds(source, flags))


def cost_precompiled(names):
    """What including these costs when they were compiled before, all in one."""
    with tempfile.TemporaryDirectory() as holder:
        header = Path(holder) / "usual.h"
        header.write_text("".join(f"#include <{name}>\n" for name in names))
        subprocess.run([*COMPILER, *FLAGS, "-x", "c++-header", header, "-o", f"{header}.gch"], check=True)
        return milliseconds('#include "usual.h"\n', [*FLAGS, f"-I{holder}", "-Winvalid-pch", "-Werror"])


def row(name, found):
    return f"| {name} | {found[0]:,} | {found[1]:.0f} |"


def table(heading, rows):
    return [f"| {heading} | lines | ms |", "|---|--:|--:|", *rows, ""]


def adapters():
    return [name.removeprefix(tree.ADAPTER_HEADERS) for name in tree.files()
            if name.startswith(tree.ADAPTER_HEADERS) and name.endswith(".h")]


def page():
    flags = FLAGS + flags_of_packages()
    version = subprocess.run([*COMPILER, "-dumpfullversion"], capture_output=True, text=True).stdout.strip()
    text = [f"By {COMPILER[0]} {version}.", ""]
    text += table("to compare with", [row("nothing", cost([], FLAGS))]
                  + [row(f"`<{name}>`", cost([name], FLAGS)) for name in STANDARD]
                  + [row("these together", cost(STANDARD, FLAGS))])
    own = tree.public_headers()
    found = {name: cost([name], FLAGS) for name in own}
    folders = {}
    for name in own:
        folders.setdefault(name.removeprefix(tree.LIBRARY).rpartition("/")[0], []).append(name)
    for folder in sorted(folders):
        text += table(f"`{folder}/`" if folder else "`JNFoundation/`",
                      [row(f"`{name.rpartition('/')[2]}`", found[name])
                       for name in sorted(folders[folder], key=lambda name: found[name][0])])
    rows, missing = [], []
    for name in adapters():
        measured = cost([name], flags)
        short = name.rpartition("/")[2]
        if measured:
            rows.append((measured[0], row(f"`{short}`", measured)))
        else:
            missing.append(f"`{short}`")
    text += table("`adapters/`, with their libraries", [line for _, line in sorted(rows)])
    if missing:
        text += [f"Not measured, for want of what they include: {', '.join(missing)}.", ""]
    usual = [tree.LIBRARY + name for name in USUAL]
    together = cost(usual, FLAGS)
    text += table("together", [row("every header of the library", cost(own, FLAGS)),
                               row(f"the usual {len(usual)}", together),
                               row("the same, precompiled", (together[0], cost_precompiled(usual)))])
    return "\n".join(text)


def main():
    written = tree.text(PAGE)
    if BEGIN not in written or END not in written:
        sys.exit(f"{PAGE} lacks the lines between which the table stands")
    (tree.ROOT / PAGE).write_text(re.sub(f"(?s){re.escape(BEGIN)}.*{re.escape(END)}",
                                         lambda _: BEGIN + "\n" + page() + "\n" + END, written))
    print(f"{PAGE}: {len(tree.public_headers()) + len(adapters())} headers")


if __name__ == "__main__":
    main()
