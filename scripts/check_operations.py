#!/usr/bin/env python3
"""docs/operations.md is true and complete.

Its tables have the columns selector | C++ name | header. Every row's header exists and declares the
name, once per name. Every public name of the folders below has a row: each class, each operation of
a class, each free function. `set…` goes with the property that it writes, when that has a row.
A name that exists in C++ only has "—" for its selector. `--missing` prints rows to start from."""

import re
import sys

import tree

LIST = "docs/operations.md"
FOLDERS = ["util", "deferred", "mapping", "fetched", "importing", "testing"]
ROW = re.compile(r"^\|(?P<selector>[^|]*)\|(?P<name>[^|]*)\|(?P<header>[^|]*)\|\s*$", re.MULTILINE)
TOKEN = re.compile(r"[A-Za-z_]\w*|::|\[\[|\]\]|->|&&|[{}()<>;:,=~\[\]&*]|\S")
# What every class may have without being an operation of the vocabulary.
EVERYWHERE = {"classObject", "class_", "ClassOperations", "protocolObject", "isEqual", "hash",
              "description", "copy", "mutableCopy"}
KEYWORDS = set("""alignas alignof auto bool char const constexpr consteval decltype default delete double
else enum explicit extern false final float for friend if inline int long mutable namespace noexcept
operator override private protected public requires return short signed sizeof static static_assert
struct switch template this throw true typedef typename union unsigned using virtual void volatile
while class concept""".split())


class Scope:
    def __init__(self, kind, name="", public=True):
        self.kind, self.name, self.public = kind, name, public


def skip_balanced(tokens, at, opening, closing):
    """The position behind the bracket that closes the one at `at`."""
    depth = 0
    while at < len(tokens):
        if tokens[at] == opening:
            depth += 1
        elif tokens[at] == closing:
            depth -= 1
            if depth == 0:
                return at + 1
        at += 1
    return at


def skip_angles(tokens, at):
    depth = 0
    while at < len(tokens):
        if tokens[at] == "<":
            depth += 1
        elif tokens[at] == ">":
            depth -= 1
            if depth == 0:
                return at + 1
        elif tokens[at] == "(":
            at = skip_balanced(tokens, at, "(", ")")
            continue
        elif tokens[at] in (";", "{"):
            return at
        at += 1
    return at


def public_names(source):
    """The classes, operations and free functions that a header's text declares for its users, each
    as (kind, owner, name). Reads declarations only: function bodies are stepped over."""
    source = re.sub(r"^[ \t]*#.*(?:\\\n.*)*$", "", source, flags=re.MULTILINE)
    source = re.sub(r'"(?:\\.|[^"\\\n])*"', '""', source)
    tokens = TOKEN.findall(source)
    found, scopes, statement, at = [], [Scope("namespace")], [], 0

    def visible():
        return all(scope.public for scope in scopes)

    def function_of(words):
        """The name that a statement declares as a function, or None."""
        if any(word in words for word in ("friend", "using", "typedef", "operator", "static_assert", "~")):
            return None
        for index, word in enumerate(words):
            if word == "=":
                return None
            if word == "(" and index and re.match(r"[A-Za-z_]", words[index - 1]) \
                    and words[index - 1] not in KEYWORDS and words[index - 1] != "__attribute__":
                before = words[index - 2] if index > 1 else ""
                if before in ("::",) or index < 2:
                    return None
                return words[index - 1]
        return None

    def note(words):
        name = function_of(words)
        scope = scopes[-1]
        if name and visible() and name != scope.name and not name.startswith("_"):
            found.append(("operation" if scope.kind == "class" else "function", scope.name, name))

    while at < len(tokens):
        token = tokens[at]
        if token == "template" and tokens[at + 1:at + 2] == ["<"]:
            at = skip_angles(tokens, at + 1)
            continue
        if token == "requires" and tokens[at + 1:at + 2] == ["("]:
            at = skip_balanced(tokens, at + 1, "(", ")")
            continue
        if token == "[[":
            while at < len(tokens) and tokens[at] != "]]":
                at += 1
        elif token == "(":
            end = skip_balanced(tokens, at, "(", ")")
            statement += ["(", ")"]
            at = end
            continue
        elif token in ("public", "protected", "private") and tokens[at + 1:at + 2] == [":"] \
                and scopes[-1].kind == "class":
            scopes[-1].public = token == "public"
            statement = []
            at += 2
            continue
        elif token == ";":
            note(statement)
            statement = []
        elif token == "}":
            if len(scopes) > 1:
                scopes.pop()
            statement = []
        elif token == "{":
            head = statement
            if head[:1] == ["namespace"] or head[:2] == ["inline", "namespace"] or head[:1] == ["extern"]:
                name = head[-1] if head[-1] != "namespace" else ""
                scopes.append(Scope("namespace", "", name not in ("impl", "detail")))
            elif "enum" in head:
                at = skip_balanced(tokens, at, "{", "}")
                continue
            elif ("class" in head or "struct" in head) and "(" not in head and "=" not in head:
                keyword = "class" if "class" in head else "struct"
                at_name = head.index(keyword) + 1
                name = head[at_name]
                # `struct std::…` specialises what belongs to somebody else.
                if visible() and head[at_name + 1:at_name + 2] != ["::"]:
                    found.append(("class", "", name))
                scopes.append(Scope("class", name, keyword == "struct"))
            else:
                note(head)
                at = skip_balanced(tokens, at, "{", "}")
                # An initialiser is a part of its statement; a body ends it.
                if function_of(head) or tokens[at:at + 1] != [";"]:
                    statement = []
                continue
            statement = []
        else:
            statement.append(token)
        at += 1
    return found


def names_of(header):
    inner = [name for name in tree.closure(header) if name.endswith("-inl.h") and name[:-6] == header[:-2]]
    return public_names("\n".join(tree.without_comments(name) for name in [header, *inner]))


def rows():
    """(line, selector, C++ name, header) of each row of the list."""
    content = tree.text(LIST)
    for match in ROW.finditer(content):
        selector, name, header = (match[part].strip().strip("`") for part in ("selector", "name", "header"))
        if re.fullmatch(r":?-+:?", name) or name.lower() == "c++ name":
            continue
        yield content.count("\n", 0, match.start()) + 1, selector, name, header


def simple(name):
    """`PLVDeferred::resolve(value)` is the operation `resolve` of `PLVDeferred`."""
    name = re.sub(r"[(<].*", "", name)
    owner, _, last = name.rpartition("::")
    return owner.rpartition("::")[2], last


def required():
    wanted = {}
    for header in tree.public_headers():
        if header[len(tree.LIBRARY):].split("/")[0] in FOLDERS:
            for kind, owner, name in names_of(header):
                if name not in EVERYWHERE:
                    wanted.setdefault((header, name), (kind, owner))
    return wanted


def problems():
    wanted = required()
    if not (tree.ROOT / LIST).is_file():
        return [f"{LIST} is missing, and {len(wanted)} names want a row"] if wanted else []
    found, listed = [], set()
    for line, selector, name, header in rows():
        where = f"{LIST}:{line}"
        path = header if header.startswith(tree.LIBRARY) else tree.LIBRARY + header
        owner, last = simple(name)
        if not selector or not last:
            found.append(f"{where}: a row has a selector, a name and a header")
        elif not (tree.ROOT / path).is_file():
            found.append(f"{where}: {header} does not exist")
        else:
            declared = "\n".join(tree.without_comments(each) for each in tree.closure(path)
                                 if each == path or each == path[:-2] + "-inl.h")
            for word in filter(None, (owner, last)):
                if not re.search(rf"\b{re.escape(word)}\b", declared):
                    found.append(f"{where}: {header} does not declare {word}")
            if (path, owner, last, selector) in listed:
                found.append(f"{where}: {name} has two rows for {selector}")
            listed.add((path, owner, last, selector))
    names = {(path, last) for path, _, last, _ in listed} | {(path, owner) for path, owner, _, _ in listed}
    for (header, name), (kind, owner) in sorted(missing(wanted, names).items()):
        shown = f"{owner}::{name}" if owner else name
        found.append(f"{LIST}: lacks the {kind} {shown} of {header}")
    return found


def missing(wanted, names):
    def covered(header, name):
        if (header, name) in names:
            return True
        if name.startswith("set") and len(name) > 3:
            return any((header, property) in names for property in (name[3].lower() + name[4:], name[3:]))
        return False
    return {key: value for key, value in wanted.items() if not covered(*key)}


if __name__ == "__main__":
    if "--missing" in sys.argv:
        have = {(h if h.startswith(tree.LIBRARY) else tree.LIBRARY + h, part) for _, _, name, h in rows()
                for part in simple(name)} if (tree.ROOT / LIST).is_file() else set()
        for (header, name), (kind, owner) in missing(required(), have).items():
            print(f"| `?` | `{owner + '::' if owner else ''}{name}` | `{header[len(tree.LIBRARY):]}` |")
        sys.exit(0)
    tree.report("operations", problems(), f"{len(required())} public names")
