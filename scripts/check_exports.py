#!/usr/bin/env python3
"""cmake/exports.txt lists what a shared library shows of JNFoundation::impl: the names that public
headers define there, or declare as functions and variables, since the code of users calls these.
`--fix` writes it."""

import re
import sys

import tree

PAGE = "cmake/exports.txt"
HEAD = "# Of JNFoundation::impl a shared library shows these; scripts/check_exports.py --fix writes them.\n"
TOKEN = re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'|[A-Za-z_]\w*|::|[{};()<>=,]|\S')
NAMESPACES = ["JNFoundation", "impl"]


def named(tokens):
    """The namespaces that these tokens open, without inline ones."""
    return [token for before, token in zip([""] + tokens, tokens)
            if token not in ("::", "inline") and before != "inline"]


def declarations(name):
    """(namespace, tokens, has a body) of what stands in namespaces of a header."""
    source = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*|\[\[\w+\]\]", "", tree.without_comments(name),
                    flags=re.MULTILINE)
    spaces, statement, depth = [[]], [], 0
    for token in TOKEN.findall(source):
        if depth:
            depth += {"{": 1, "}": -1}.get(token, 0)
            if depth == 0:
                yield spaces[-1], statement, True
                statement = []
        elif token == "{" and statement[:1] == ["namespace"]:
            spaces.append(spaces[-1] + named(statement[1:]))
            statement = []
        elif token == "{":
            depth = 1
        elif token == "}":
            spaces.pop()
        elif token == ";":
            if statement:
                yield spaces[-1], statement, False
            statement = []
        else:
            statement.append(token)


def without_template(statement):
    while statement[:1] == ["template"]:
        depth = 0
        for place, token in enumerate(statement):
            depth += {"<": 1, ">": -1}.get(token, 0)
            if token == ">" and depth == 0:
                statement = statement[place + 1:]
                break
        else:
            return []
    return statement


def declared(statement, has_body):
    """The name that a declaration brings, or None for one that brings no symbols."""
    statement = without_template(statement)
    if not statement or statement[0] in ("using", "typedef", "enum", "concept", "friend", "requires"):
        return None
    if statement[0] in ("class", "struct"):
        return statement[1] if has_body else None
    for place, token in enumerate(statement[1:]):
        if token in "(=<[" and re.match(r"(?!(?:decltype|requires|alignas|noexcept)$)[A-Za-z_]\w*$",
                                       statement[place]):
            if token != "<" or "=" in statement[place:]:
                return statement[place]
    words = [token for token in statement if re.match(r"[A-Za-z_]\w*$", token)]
    return words[-1] if words and statement[0] in ("extern", "inline", "constexpr") else None


def names():
    found = set()
    for header in tree.public_headers():
        for spaces, statement, has_body in declarations(header):
            name = declared(statement, has_body) if spaces == NAMESPACES else None
            if name:
                found.add(name)
    return sorted(found)


def problems(fix=False):
    wanted = HEAD + "".join(name + "\n" for name in names())
    if fix:
        (tree.ROOT / PAGE).write_text(wanted)
    present = tree.text(PAGE) if (tree.ROOT / PAGE).is_file() else ""
    listed, needed = set(present.splitlines()), set(wanted.splitlines())
    return [f"{PAGE}:1: lacks {name}, which a public header has in JNFoundation::impl"
            for name in sorted(needed - listed)] + \
           [f"{PAGE}:1: {name} is in no public header's JNFoundation::impl"
            for name in sorted(listed - needed)]


if __name__ == "__main__":
    tree.report("exports", problems("--fix" in sys.argv), f"{len(tree.public_headers())} public headers")
