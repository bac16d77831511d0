#!/usr/bin/env python3
"""Each public header compiles alone and without a warning, and is guarded against a second
inclusion. Machinery headers are held to the same."""

import os
import sys

import tree

COMPILER = os.environ.get("CXX", "g++")
FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-I", str(tree.ROOT)]

names = [name for name in tree.files()
         if name.startswith(tree.LIBRARY) and name.endswith(".h") and not name.endswith("-inl.h")]
unguarded = [name for name in names if "#pragma once" not in tree.text(name)]
for name in unguarded:
    print(f"{name}:1: lacks #pragma once")
failed = tree.run_each(
    "headers", names,
    lambda name: [COMPILER, *FLAGS, "-x", "c++", "-include", name, os.devnull],
    tree.version_of(COMPILER), FLAGS)
sys.exit(1 if failed or unguarded else 0)
