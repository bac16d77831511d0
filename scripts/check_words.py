#!/usr/bin/env python3
"""Nothing in the tree leans on what its readers do not have: a directory of one machine, a document
that is not here, unfinished business without an issue to follow."""

import re

import tree

# Spelled in pieces, so that the list does not find itself.
UNWELCOME = [
    (r"/wo" r"rk/", "a directory of one machine"),
    (r"/tm" r"p/jn\b", "a directory of one machine"),
    (r"/ho" r"me/\w", "a directory of one machine"),
    (r"/ro" r"ot/", "a directory of one machine"),
    (r"\bPa" r"rts? \d", "a document that is not here"),
    (r"\b[Tt]he spe" r"c(ification)?\b", "a document that is not here"),
    (r"\bspe" r"c\.md|sha" r"red/\w+\.md|\bbri" r"ef\.md", "a document that is not here"),
    (r"\bTO" r"DO\b|\bFIX" r"ME\b|\bXX" r"X\b", "unfinished business"),
]
ENDINGS = (".h", ".cpp", ".md", ".py", ".cmake", ".txt", ".json", ".yml", "run", ".in", ".clang-tidy")
LONGEST = 1_000_000


def problems():
    found = []
    for name in tree.files():
        if not name.endswith(ENDINGS) or (tree.ROOT / name).stat().st_size > LONGEST:
            continue
        for number, line in enumerate(tree.text(name).splitlines(), 1):
            for pattern, why in UNWELCOME:
                if re.search(pattern, line):
                    found.append(f"{name}:{number}: {why}: {line.strip()[:80]}")
    return found


if __name__ == "__main__":
    tree.report("words", problems(), f"{len(tree.files())} files")
