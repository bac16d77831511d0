#!/usr/bin/env python3
"""The library's sources compile as one, and so do those of each test program: the copy of the
library in two files, and builds that compile several sources at once, ask for it. What a source keeps
to itself therefore has a name of its own."""

import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

import tree

COMPILER = "g++"
FLAGS = ["-std=c++20", f"-I{tree.ROOT}", f"-I{tree.ROOT}/tests", "-DJN_COUNT_OBJECTS=1", "-w",
         "-fsyntax-only", "-x", "c++", "-"]


def units():
    """The sources that are compiled as one, by a name for messages, lowest floor first."""
    page = tree.text("CMakeLists.txt")
    floors = re.findall(r"^jn_floor\(\w+ (\S+?)[ )]", page, re.MULTILINE)
    tested = floors + re.findall(r"^jn_floor_test\(\w+ (\S+?)[ )]", page, re.MULTILINE)

    def sources(folder):
        return [name for name in tree.files()
                if name.startswith(folder + "/") and name.endswith(".cpp")]

    found = {"the library": [name for floor in floors for name in sources(tree.LIBRARY + floor)]}
    for folder in dict.fromkeys(tested):
        if sources("tests/" + folder):
            found["tests/" + folder] = sources("tests/" + folder)
    return found


def problem(unit):
    """Returns: what is wrong with compiling the sources as one, an empty text for nothing."""
    title, names = unit
    run = subprocess.run([COMPILER, *FLAGS], input="".join(f'#include "{name}"\n' for name in names),
                         capture_output=True, text=True, cwd=tree.ROOT)
    if run.returncode == 0:
        return ""
    errors = [line for line in run.stderr.splitlines() if "error:" in line][:5]
    return f"{title}, compiled as one:\n" + "\n".join(errors or run.stderr.splitlines()[-5:])


with ThreadPoolExecutor(tree.JOBS) as pool:
    waiting = units()
    found = [text for text in pool.map(problem, waiting.items()) if text]
print("\n".join(found + [f"units: {len(waiting)} programs, {len(found)} problems"]))
sys.exit(1 if found else 0)
