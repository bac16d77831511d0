#!/usr/bin/env python3
"""Every C++ file reads as clang-format writes it. `--fix` rewrites the ones that do not."""

import subprocess
import sys

import tree

names = tree.cpp_files()
if "--fix" in sys.argv:
    sys.exit(subprocess.run(["clang-format", "-i", *names], cwd=tree.ROOT).returncode)
style = (tree.ROOT / ".clang-format").read_text()
failed = tree.run_each("format", names,
                       lambda name: ["clang-format", "--dry-run", "-Werror", name],
                       tree.version_of("clang-format"), style, limit=3)
if failed:
    print("scripts/check_format.py --fix formats every file; clang-format -i FILE formats one")
sys.exit(1 if failed else 0)
