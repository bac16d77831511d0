#!/usr/bin/env python3
"""JNFoundation/Forward.h declares every class and enumeration that the library's public headers define
in its namespace, as they define it. `--fix` writes it."""

import re
import sys

import check_exports
import check_floors
import tree

PAGE = tree.LIBRARY + "Forward.h"
TYPES = tree.LIBRARY + "platform/value/Types.h"
HEAD = f"""#pragma once

#include <cstdint>

#include <{TYPES}>

/// Every class and enumeration of the library, declared and not defined, for headers that name them
/// only in declarations: as references and pointers, in parameters and in results. What makes,
/// copies or calls one includes its own header. `scripts/check_forward.py --fix` writes this one.
///
///     Ref<NSArray> titlesOfBooks(const Ref<NSManagedObjectContext>& shelf);
"""


def forward(statement):
    """How a statement's class or enumeration is declared beforehand, and its name; None if it brings
    none, or specialises one."""
    rest = check_exports.without_template(statement)
    template = " ".join(statement[:len(statement) - len(rest)])
    if not rest or rest[0] not in ("class", "struct", "enum") or "=" in template:
        return None
    if rest[0] == "enum":
        text = " ".join(rest).replace(" :: ", "::")
        return text + ";", rest[2 if rest[1] in ("class", "struct") else 1]
    # What follows the name is the head of a definition, of a specialisation or of a nested class.
    if rest[2:3] not in ([], ["final"], [":"]) or template.replace(" ", "") == "template<>":
        return None
    head = re.sub(r"\s+", " ", template).replace("< ", "<").replace(" >", ">").replace(" ,", ",")
    head = head.replace(" . . .", "...")
    return f"{head}\n{rest[0]} {rest[1]};".lstrip(), rest[1]


def folder(header):
    return check_floors.folder_of(header) or ""


def classes():
    """The declarations of each folder, the lowest first."""
    defined, templates, found = {}, {}, {}
    for header in tree.public_headers():
        if header in (PAGE, TYPES) or folder(header) in ("", "testing"):
            continue
        for spaces, statement, has_body in check_exports.declarations(header):
            declaration = forward(statement) if spaces == check_exports.NAMESPACES[:1] else None
            if not declaration:
                continue
            text, name = declaration
            if has_body:
                defined[name] = (folder(header), text)
            elif text.startswith("template"):
                templates.setdefault(name, (folder(header), text))
    # A template may be defined by its specialisations alone.
    for name, declaration in templates.items():
        defined.setdefault(name, declaration)
    for name in sorted(defined):
        place, text = defined[name]
        found.setdefault(place, []).append(text)
    order = [place for floor in check_floors.FLOORS for place in floor]
    return sorted(found.items(), key=lambda item: order.index(item[0]))


def page():
    body = "".join(f"\n// {place}\n" + "".join(text + "\n" for text in texts) for place, texts in classes())
    return HEAD + f"namespace JNFoundation::inline {tree.inline_namespace()} {{\n{body}\n}}  // namespace JNFoundation\n"


def problems(fix=False):
    wanted = page()
    if fix:
        (tree.ROOT / PAGE).write_text(wanted)
    present = (tree.ROOT / PAGE).read_text() if (tree.ROOT / PAGE).is_file() else ""
    listed, needed = present.splitlines(), wanted.splitlines()
    found = [f"{PAGE}:1: lacks {line}" for line in needed if line and line not in listed]
    found += [f"{PAGE}:{number}: no public header defines this: {line}"
              for number, line in enumerate(listed, 1) if line and line not in needed]
    if not found and present != wanted:
        found.append(f"{PAGE}:1: is not in order; scripts/check_forward.py --fix writes it")
    return found


if __name__ == "__main__":
    tree.report("forward", problems("--fix" in sys.argv), f"{len(tree.public_headers())} public headers")
