#!/usr/bin/env python3
"""The C++ of README.md and the guides is code that the build compiles. A block that follows
`<!-- from: FILE -->` equals what stands in that file between `// begin` and `// end`; any other C++
block is a mistake. `--fix` copies the files' text into the pages."""

import re
import sys
import textwrap

import tree

BLOCK = re.compile(r"(?:<!-- from: (?P<file>\S+) -->\n)?```(?:cpp|c\+\+)\n(?P<code>.*?)```", re.DOTALL)


def snippet(name):
    match = re.search(r"^[ \t]*// begin\n(.*?)^[ \t]*// end$", tree.text(name), re.DOTALL | re.MULTILINE)
    return textwrap.dedent(match.group(1)) if match else None


def problems(fix=False):
    found = []
    for page in tree.files():
        if page != "README.md" and not (page.startswith("docs/") and page.endswith(".md")):
            continue
        content = tree.text(page)
        fixes = []
        for match in BLOCK.finditer(content):
            line = content.count("\n", 0, match.start()) + 1
            name = match["file"]
            if not name:
                found.append(f"{page}:{line}: this block is compiled by nothing; say <!-- from: FILE -->")
                continue
            code = snippet(name) if (tree.ROOT / name).is_file() else None
            if code is None:
                found.append(f"{page}:{line}: {name} has no text between // begin and // end")
            elif code != match["code"]:
                if fix:
                    fixes.append((match.span("code"), code))
                else:
                    found.append(f"{page}:{line}: differs from {name}; scripts/check_readme.py --fix")
        for (start, end), code in reversed(fixes):
            content = content[:start] + code + content[end:]
        if fixes:
            (tree.ROOT / page).write_text(content)
    return found


if __name__ == "__main__":
    tree.report("readme", problems("--fix" in sys.argv), "the pages' C++ blocks")
