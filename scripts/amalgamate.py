#!/usr/bin/env python3
"""The library in two files, for projects that would rather have it among their own sources:
JNFoundation.h is every public header, JNFoundation.cpp every source with its machinery. They are
written to build/amalgamation, or to the directory that is named, and need what the library needs:
SQLite, simdjson, utf8proc, PCRE2 and pugixml."""

import re
import sys
from pathlib import Path

import check_floors
import tree

CONDITION = re.compile(r"[ \t]*#[ \t]*(if|ifdef|ifndef|endif)\b")


class Page:
    """One of the two files: each file of the library where it is first needed, each header of
    another library once."""

    def __init__(self, taken=(), foreign=()):
        self.lines = []
        self.taken = set(taken)
        self.foreign = set(foreign)

    def add(self, name):
        if name in self.taken:
            return
        self.taken.add(name)
        kept, depth = [], 0

        def flush():
            while kept and not kept[0].strip():
                del kept[0]
            if any(line.strip() for line in kept):
                self.lines += [f"// {name}", "", *kept, ""]
            kept.clear()

        for line in tree.text(name).splitlines():
            condition, include = CONDITION.match(line), tree.INCLUDE.match(line)
            if condition:
                depth += -1 if condition[1] == "endif" else 1
            if line == "#pragma once":
                continue
            if include:
                own = tree.resolve(name, include[1], include[2])
                if own:
                    flush()
                    self.add(own)
                    continue
                if not depth and include[2] in self.foreign:
                    continue
                if not depth:
                    self.foreign.add(include[2])
            kept.append(line)
        flush()

    def text(self, head):
        body = re.sub(r"\n{3,}", "\n\n", "\n".join(self.lines)).rstrip() + "\n"
        return head + "\n" + body


def sources():
    """Every source, the lowest floor's first."""
    folders = [folder for floor in check_floors.FLOORS for folder in floor]
    own = [name for name in tree.files() if name.startswith(tree.LIBRARY) and name.endswith(".cpp")]
    return sorted(own, key=lambda name: (folders.index(check_floors.folder_of(name)), name))


def main():
    directory = Path(sys.argv[1]) if len(sys.argv) > 1 else tree.ROOT / "build" / "amalgamation"
    directory.mkdir(parents=True, exist_ok=True)
    version = tree.version()
    licence = "".join(f"// {line}".rstrip() + "\n" for line in tree.text("LICENSE").splitlines())
    title = f"// JNFoundation {version} in two files, written by its scripts/amalgamate.py.\n//\n{licence}"
    header = Page()
    for name in tree.public_headers():
        header.add(name)
    source = Page(header.taken, header.foreign)
    for name in sources():
        source.add(name)
    for page, head, name in [(header, title + "\n#pragma once\n", "JNFoundation.h"),
                             (source, title + '\n#include "JNFoundation.h"\n', "JNFoundation.cpp")]:
        text = page.text(head)
        (directory / name).write_text(text)
        print(f"{directory / name}: {text.count(chr(10))} lines")


if __name__ == "__main__":
    main()
