#!/usr/bin/env python3
"""Runs a program in a directory of its own and holds what it prints against a file. A line `--- again`
in that file begins what a further run prints, in the same directory."""

import difflib
import subprocess
import sys
import tempfile
from pathlib import Path

program, expectations = sys.argv[1], Path(sys.argv[2])
with tempfile.TemporaryDirectory() as directory:
    for number, expected in enumerate(expectations.read_text().split("--- again\n"), 1):
        done = subprocess.run([Path(program).resolve()], cwd=directory, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=60)
        if done.returncode != 0 or done.stdout != expected:
            print(f"run {number} ended with status {done.returncode}")
            sys.stdout.writelines(difflib.unified_diff(
                expected.splitlines(keepends=True), done.stdout.splitlines(keepends=True),
                "expected", "printed"))
            sys.exit(1)
