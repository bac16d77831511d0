#!/usr/bin/env python3
"""Writes the public headers for Doxygen into a directory, with what the house leaves unsaid.

In our headers a comment `///` speaks for the declaration below it, for the overloads and for the
setter that follow it up to an empty line; each of these gets the comment here. A plain comment `//`
speaks for every declaration up to the next comment or empty line. What many classes have alike, and
what only calls another operation with the same arguments, gets a sentence of its own. Lines keep
their numbers."""

import re
import sys
from pathlib import Path

import tree

# What is said of a declaration that has no comment.
ALIKE = [
    (r"using Superclass = .*;$", "The class above."),
    (r"static const Class classObject;$", "What the class is known by: to `isKindOf`, `as` and the runtime."),
    (r"(virtual )?const Class& class_\(\) const noexcept\b", "The class of the object."),
    (r"NSObject\* protocolObject\(\) noexcept\b", "The object that adopts the protocol."),
    (r"using (\w+)::\1;$", "Made as the class above is."),
    (r"(explicit |constexpr )*(\w+)\(std::nullptr_t\)", "Null."),
    (r"(constexpr )?(\w+)\(const \2&( \w+)?\)", "A copy of the other one."),
    (r"(constexpr )?(\w+)\(\2&&( \w+)?\)", "Takes over what the other one holds."),
    (r"(\w+)& operator=\(const \1&( \w+)?\)", "Becomes a copy of the other one."),
    (r"(\w+)& operator=\(\1(&&)?( \w+)?\)", "Takes over what the other one holds."),
    (r"void swap\((\w+)& \w+\) noexcept\b", "Exchanges what the two hold."),
    (r"friend (constexpr )?bool operator==\(.*\) (noexcept )?= default;$", "Whether all members are equal."),
    (r"Iterator begin\(\) const\b", "Where a walk with `for` begins."),
    (r"Iterator end\(\) const\b", "Where a walk with `for` ends."),
]
# The same in classes of one name.
IN_CLASS = {
    # Named by nobody: a `for` over the collection uses it.
    "Iterator": [
        (r"(explicit )?Iterator\(", "A walk over the collection."),
        (r".* operator\*\(\) const\b", "What the walk has come to."),
        (r".* operator->\(\) const\b", "What the walk has come to."),
        (r"Iterator& operator\+\+\(\)", "Goes on."),
        (r"bool operator!=\(const Iterator&\)", "Whether anything is left, whatever the other one is."),
    ],
    "ValueConversion": [
        (r"static bool holds\(const Value&", "Whether the value is one."),
        (r"static .* fromValue\(const Value&", "What the value is in C++. Requires: `holds`."),
        (r"static Value toValue\(", "The value that stands for it."),
        (r"static std::string_view name\(\)", "For the text of the error."),
    ],
}
CONSTRUCTOR = "For the class and its descendants."
# A body that is a call with the same arguments, in the same order.
FORWARDS = re.compile(r".*?(?P<name>[\w\]\[]+)\((?P<parameters>[^()]*)\) (const )?(noexcept )?"
                      r"\{ (return )?(?P<called>[a-z]\w*)\((?P<arguments>[\w, ]*)\); \}$")
COMMENT = re.compile(r"^( *)///? ?(.*)$")
RULER = re.compile(r"^ *// ----")
NAME = re.compile(r"(operator *[^\s(]+|~?\w+) *(?:\(|=|\{|;|$)")
TYPE = re.compile(r"^( *)(?:template <.*> )?(?:class|struct)\b(?: \[\[.*?\]\])? *(\w+)[^;]*$")
# No declarations, or such as have no comment of their own.
OTHER = re.compile(r"^ *(#|\}|public:|protected:|private:|friend (class|struct) |using Above::|using Subclass|namespace "
                   r"|extern template |static_assert|case |[|&]{2})")


def without_private(lines):
    """Doxygen leaves private members out, and still leads to the list of nested classes among them."""
    hidden = None
    for line in lines:
        found = re.match(r"^( *) (public|protected|private):$", line)
        if found and hidden not in (None, found[1]):  # of a class among the private members
            found = None
        elif found:
            hidden = found[1] if found[2] == "private" else None
        elif hidden is not None and line.startswith(hidden + "}"):
            hidden = None
        yield "" if hidden is not None and not found else line


def without_others(lines):
    """What the standard library is told of a type (its hash, what its coroutines are) is no name of ours;
    the definition of a private member of a template says nothing."""
    others = re.compile(r"struct std::|const impl::\w+ \w+<.*>::\w+\{")
    dropped = False
    for line, after in zip(lines, lines[1:] + [""]):
        dropped = dropped or bool(others.match(line) or (line.startswith("template <") and others.match(after)))
        yield "" if dropped else line
        dropped = dropped and not line.endswith("};")


def as_written(lines):
    """Comments in which nothing is more than text to Doxygen; what stands between backticks is code. It
    leaves alone by itself what stands between double quotes."""
    is_code = is_quoted = is_quoted_code = False
    for line in lines:
        found = re.match(r"(.*?///?<? )(.*)$", line)
        if not found or found[1].count('"') % 2 == 1:
            is_code = is_quoted = is_quoted_code = False
        elif not found[2].startswith("    "):
            text = ""
            for before, character in zip(" " + found[2], found[2]):
                if character == '"' and before != "\\":
                    is_quoted, is_quoted_code = not is_quoted, is_code
                if character == "`" and (not is_quoted or is_quoted_code):
                    is_code = not is_code
                    is_quoted = False
                    text += "<code>" if is_code else "</code>"
                elif not is_quoted and character in ("\\@<>#%&*_-" if is_code else "\\@<>#%&"):
                    text += "\\" + character
                else:
                    text += character
            line = found[1] + text
        yield line


def with_file(lines):
    """The comment that opens a header, and is of no declaration, is that of the file; and Doxygen shows
    macros of files only that have one."""
    if any(line.startswith("#define JN_") for line in lines):
        return ["/** \\file */" if line == "#pragma once" else line for line in lines]
    first = next((at for at, line in enumerate(lines) if line.startswith("///")), 0)
    behind = next((at for at in range(first, len(lines)) if not lines[at].startswith("///")), 0)
    is_of_file = first and lines[first - 1] == "" \
        and (lines[behind] == "" or lines[behind].startswith("namespace JNFoundation"))
    return [*lines[:first - 1], "/// \\file", *lines[first:]] if is_of_file else lines


class Scopes:
    """The classes around a line, and whether it is among their protected members."""

    def __init__(self):
        self.open = []

    def pass_line(self, line):
        found = TYPE.match(line)
        if found and line.endswith("{"):
            self.open.append([found[1], found[2], False])
        elif self.open and line.startswith(self.open[-1][0] + "}"):
            self.open.pop()
        elif self.open and re.match(r" *(public|protected|private):$", line):
            self.open[-1][2] = "protected:" in line

    def sentence(self, line):
        """What there is to say of a declaration without a comment; none if it needs one."""
        name, is_protected = (self.open[-1][1:] if self.open else ("", False))
        declared = line.strip()
        if declared.endswith("= delete;"):
            return ""
        for pattern, sentence in IN_CLASS.get(name, []) + ALIKE:
            if re.match(pattern, declared):
                return sentence
        if is_protected and re.match(rf"(explicit |constexpr )?{name}\(", declared):
            return CONSTRUCTOR
        found = FORWARDS.match(declared)
        if found and not found["called"].startswith("raise"):
            names = [re.search(r"(\w*)(?: = .*)?$", one)[1] for one in found["parameters"].split(", ")]
            if ", ".join(names) == found["arguments"]:
                return f"The same as `{found['called']}`."
        return ""


def filtered(lines):
    # A name is shown as a user writes it, without the namespace of the version.
    lines = [line.replace(f"::inline {tree.inline_namespace()}", "")
             for line in with_file(list(as_written(without_others(list(without_private(lines))))))]
    scopes, comment, of_all, first, indent, depth = Scopes(), [], False, "", "", None
    head = ""
    for number, line in enumerate(lines):
        if head:  # of a class, over several lines
            head = joined_head(head + " " + line.strip(), scopes)
            yield line
            continue
        is_type = TYPE.match(line)
        if depth is not None and not (depth == 0 and is_type):  # in the middle of a declaration
            depth = depth_behind(line, depth)
            yield line
            continue
        depth = None
        head = joined_head(line, scopes) if is_type else ""
        if not is_type:
            scopes.pass_line(line)
        found = COMMENT.match(line)
        if found and not RULER.match(line):
            if first:
                comment, first = [], ""
            comment.append(found[2])
            indent = found[1]
            of_all = not line.lstrip().startswith("///")
            if of_all and is_above_declaration(lines, number):
                line = line.replace("//", "///", 1)
        elif not line.strip() or RULER.match(line) or OTHER.match(line) or is_type:
            comment, first = [], ""
        elif not comment or (line.startswith(indent) and not line.startswith(indent + " ")):
            depth = depth_behind(line, 0)
            name = name_of(lines, number)
            text = ""
            if comment and not first:
                first = name
            elif "///<" not in line and not name.startswith("~"):
                text = " ".join(comment) if comment and of_all else scopes.sentence(line)
                if not text and comment and is_with(name, first) and not line.endswith("= delete;"):
                    text = f"{'With' if name == first else 'Sets'} `{first}`: {' '.join(comment)}"
            if text:
                space = line[:len(line) - len(line.lstrip())]
                line = f"{space}/** {text.replace('*/', '* /')} */ {line.lstrip()}"
        yield line


def joined_head(head, scopes):
    """What is known of a class's head, empty once it is whole."""
    if not head.endswith(("{", ";", "}")):
        return head
    scopes.pass_line(head)
    return ""


def is_with(name, first):
    """Whether the comment of the first declaration is that of the other one as well."""
    readers = (first, re.sub("^is(?=[A-Z])", "", first))
    return name == first or name in ["set" + reader[:1].upper() + reader[1:] for reader in readers]


def depth_behind(line, depth):
    """How many brackets are open behind the line; None where a declaration ends with it."""
    code = re.sub(r"/\*\*.*?\*/ ?| *///?<? .*$|'\\?.'|\"(\\.|[^\"])*\"", "", line)
    for character in code:
        depth += (character in "({[") - (character in ")}]")
    return None if depth < 0 or (depth == 0 and code.endswith((";", "}"))) else depth


def is_above_declaration(lines, number):
    for line in lines[number + 1:]:
        if not COMMENT.match(line):
            return bool(line.strip()) and not OTHER.match(line)
    return False


def name_of(lines, number):
    """The name that the declaration, which may go over several lines, declares."""
    text = " ".join(line.strip() for line in lines[number:number + 4])
    text = re.sub(r"^template <.*?> (?=\w)|\[\[.*?\]\] ", "", text)
    if text.startswith("requires("):
        depth = 0
        for at, character in enumerate(text):
            depth += (character == "(") - (character == ")")
            if character == ")" and depth == 0:
                text = text[at + 1:].lstrip()
                break
    kind = re.match(r"(?:enum class|enum|class|struct|using) (\w+)", text)
    found = kind or NAME.search(text)
    return found[1] if found else "it"


if __name__ == "__main__":
    target = Path(sys.argv[1])
    target.mkdir(parents=True, exist_ok=True)
    # Doxygen shows functions of a namespace only that has a comment.
    (target / "namespace.h").write_text(
        "/// \\namespace JNFoundation\n/// Everything that the library declares, macros excepted.\n")
    for name in tree.files():
        shown = name.removeprefix(tree.ADAPTER_HEADERS)
        if name in tree.public_headers() or (name != shown and name.endswith(".h")):
            copy = target / shown
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_text("\n".join(filtered(tree.text(name).split("\n"))))
