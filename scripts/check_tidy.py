#!/usr/bin/env python3
"""clang-tidy over the sources of the library, the adapters and the programs, with the flags of a build
directory (the first argument). Names after it limit the run to those files. What the build leaves out
for want of another library is left out here too. With --deep before all, the analyzer follows every
way through a function; without, no more than some thousand steps, which takes a quarter of the time."""

import json
import sys
from pathlib import Path

import tree

arguments = sys.argv[1:]
depth = [] if arguments[:1] == ["--deep"] else [
    "--extra-arg=" + argument for argument in ("-Xclang", "-analyzer-config", "-Xclang", "max-nodes=10000")]
if not depth:
    del arguments[0]
if not arguments:
    sys.exit("usage: check_tidy.py [--deep] BUILD_DIRECTORY [FILE...]")
build = Path(arguments[0]).resolve()
commands = {str(Path(entry["file"]).resolve().relative_to(tree.ROOT)): entry["command"]
            for entry in json.loads((build / "compile_commands.json").read_text())
            if Path(entry["file"]).resolve().is_relative_to(tree.ROOT)}
wanted = arguments[1:] or [name for name in tree.files() if name.endswith(".cpp")
                          and name.startswith((tree.LIBRARY, tree.ADAPTERS, "examples/", "tools/"))]
OPTIONAL = (tree.ADAPTERS, "examples/browser/", "examples/hosts/", "examples/lists/")
unknown = [name for name in wanted if name not in commands]
for name in unknown:
    print(f"{name}: {build} does not build it")
unknown = [name for name in unknown if not name.startswith(OPTIONAL)]
rules = (tree.ROOT / ".clang-tidy").read_text()
failed = tree.run_each(
    "clang-tidy", [name for name in wanted if name in commands],
    lambda name: ["clang-tidy", "--quiet", "--warnings-as-errors=*", *depth, "-p", str(build), name],
    tree.version_of("clang-tidy"), rules, *depth)
sys.exit(1 if failed or unknown else 0)
