#!/usr/bin/env python3
"""Every C++ file reads as clang-format writes it.

`--fix [FILE...]` rewrites the files, or all; it also writes a source's own header in quotes, which is
how clang-format knows that it belongs at the top."""

import subprocess
import sys

import tree

names = tree.cpp_files()
if "--fix" in sys.argv:
    names = [name for name in sys.argv[1:] if name != "--fix"] or names
    for name in names:
        own = name[:-len(".cpp")] + ".h"
        if name.endswith(".cpp") and f"#include <{own}>" in tree.text(name):
            (tree.ROOT / name).write_text(tree.text(name).replace(f"#include <{own}>", f'#include "{own}"'))
    sys.exit(subprocess.run(["clang-format", "-i", *names], cwd=tree.ROOT).returncode)
style = (tree.ROOT / ".clang-format").read_text()
failed = tree.run_each("format", names,
                       lambda name: ["clang-format", "--dry-run", "-Werror", name],
                       tree.version_of("clang-format"), style, limit=1)
if failed:
    print("scripts/check_format.py --fix formats every file; clang-format -i FILE formats one")
sys.exit(1 if failed else 0)
