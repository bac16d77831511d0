#!/usr/bin/env python3
"""Writes the public headers for Doxygen into a directory, with what the house leaves unsaid.

In our headers one comment speaks for the declarations that follow each other below it, up to an empty
line: a property's setter stands below its reader, an overload below the operation. Each of these gets
the comment here, with the name of the first in front. What every class has alike gets a sentence of
its own. Lines keep their numbers."""

import re
import sys
from pathlib import Path

import tree

ALIKE = [
    (re.compile(r"^ *using Superclass = .*;$"), "The class above."),
    (re.compile(r"^ *static const Class classObject;$"), "What the class is known by: to `isKindOf`, `as` and the runtime."),
    (re.compile(r"^ *const Class& class_\(\) const noexcept\b.*[;}]$"), "The class of the object."),
    (re.compile(r"^ *NSObject\* protocolObject\(\) noexcept\b.*[;}]$"), "The object that adopts the protocol."),
]
COMMENT = re.compile(r"^( *)///? ?(.*)$")
RULER = re.compile(r"^ *// ----")
NAME = re.compile(r"(operator *[^\s(]+|~?\w+) *(?:\(|=|\{|;|$)")
TYPE = re.compile(r"^ *(template <.*> )?(class|struct)\b[^;]*$")
# No declarations, or such as have no comment of their own.
OTHER = re.compile(r"^ *(#|\}|public:|protected:|private:|friend |using Above::|using Subclass|namespace |extern |static_assert|case )")


def without_private(lines):
    """Doxygen leaves private members out, and still leads to the list of nested classes among them."""
    hidden = None
    for line in lines:
        found = re.match(r"^( *) (public|protected|private):$", line)
        if found:
            hidden = found[1] if found[2] == "private" else None
        elif hidden is not None and line.startswith(hidden + "}"):
            hidden = None
        yield "" if hidden is not None and not found else line


def filtered(lines):
    lines = list(without_private(lines))
    comment, first, indent, isOpen = [], "", "", False
    for number, line in enumerate(lines):
        if isOpen:  # in the middle of a declaration
            isOpen = not ends(line, indent)
            yield line
            continue
        for pattern, sentence in ALIKE:
            if pattern.match(line):
                line += f" ///< {sentence}"
                break
        else:
            found = COMMENT.match(line)
            if found and not RULER.match(line):
                if first:
                    comment, first = [], ""
                comment.append(found[2])
                indent = found[1]
                # What is said of a group in a plain comment, directly above, is said of its members.
                if not line.lstrip().startswith("///"):
                    line = line.replace("//", "///", 1) if is_above_declaration(lines, number) else line
            elif not line.strip() or RULER.match(line) or OTHER.match(line):
                comment, first = [], ""
            elif TYPE.match(line):  # its members come next
                comment, first = [], ""
            elif comment and line.startswith(indent) and not line.startswith(indent + " "):
                if not first:
                    first = name_of(lines, number)
                elif "///<" not in line:
                    text = " ".join(comment).replace("*/", "* /")
                    line = f"{indent}/** With `{first}`: {text} */ {line.lstrip()}"
                isOpen = not ends(line, indent)
        yield line


def ends(line, indent):
    """Whether a declaration ends with the line."""
    code = re.sub(r" *///?<?.*$", "", line) if "/**" not in line else line
    return code.endswith((";", "},")) or code == indent + "}" or (code.endswith("}") and "{" in code) \
        or code.startswith(indent + "}")


def is_above_declaration(lines, number):
    for line in lines[number + 1:]:
        if not COMMENT.match(line):
            return bool(line.strip()) and not OTHER.match(line)
    return False


def name_of(lines, number):
    """The name that the declaration, which may go over several lines, declares."""
    text = " ".join(line.strip() for line in lines[number:number + 4])
    text = re.sub(r"^template <.*?> |^requires\(.*?\) |\[\[.*?\]\] ", "", text)
    kind = re.match(r"(?:enum class|enum|class|struct|using) (\w+)", text)
    found = kind or NAME.search(text)
    return found[1] if found else "it"


if __name__ == "__main__":
    for name in tree.files():
        shown = name.removeprefix(tree.ADAPTER_HEADERS)
        if name in tree.public_headers() or (name != shown and name.endswith(".h")):
            copy = Path(sys.argv[1]) / shown
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_text("\n".join(filtered(tree.text(name).split("\n"))))
