#!/usr/bin/env python3
"""Each public header compiles alone and without a warning, and is guarded against a second
inclusion. Machinery headers are held to the same, and headers of adapters whose library is here."""

import os
import subprocess
import sys

import tree

COMPILER = os.environ.get("CXX", "g++")
FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-I", str(tree.ROOT),
         "-I", str(tree.ROOT / tree.ADAPTER_HEADERS)]


def flags_of(package):
    """Where a library's headers are that the compiler does not find by itself; none if it is not here."""
    try:
        said = subprocess.run(["pkg-config", "--cflags-only-I", package], capture_output=True, text=True)
    except FileNotFoundError:
        return []
    return said.stdout.replace("-I", "-isystem ").split() if said.returncode == 0 else []


QT = flags_of("Qt6Core")
FLAGS += [*QT, "-fPIC"] if QT else []


def is_missing(path):
    """Whether the compiler does not find a header, one of another library."""
    asks = f"#if !__has_include(<{path}>)\n#error missing\n#endif\n"
    return subprocess.run([COMPILER, "-x", "c++", "-std=c++20", *QT, "-fsyntax-only", "-"], input=asks,
                          capture_output=True, text=True).returncode != 0


def lacks(name):
    """The headers of other libraries that an adapter's header includes and that are not here."""
    return [path for _, kind, path in tree.includes(name)
            if not tree.resolve(name, kind, path) and path.endswith((".h", ".hpp"))
            and is_missing(path)]


names = [name for name in tree.files()
         if name.startswith((tree.LIBRARY, tree.ADAPTER_HEADERS)) and name.endswith(".h")
         and not name.endswith("-inl.h")]
for name in [name for name in names if name.startswith(tree.ADAPTERS)]:
    missing = lacks(name)
    if missing:
        names.remove(name)
        print(f"{name}: not looked at, for want of <{missing[0]}>")
unguarded = [name for name in names if "#pragma once" not in tree.text(name)]
for name in unguarded:
    print(f"{name}:1: lacks #pragma once")
failed = tree.run_each(
    "headers", names,
    lambda name: [COMPILER, *FLAGS, "-x", "c++", "-include", name, os.devnull],
    tree.version_of(COMPILER), FLAGS)
sys.exit(1 if failed or unguarded else 0)
