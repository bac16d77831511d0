#!/usr/bin/env python3
"""Every test source is one that a test program is made of, holds tests that can run, and mirrors a
folder of the library, so that none is left out without a word."""

import re

import tree

# Folders of tests/ that mirror no folder of the library, and what runs them.
OTHERS = ["adapters/", "refusals/", "regressions/", "package/", "scripts/", "support/",
          "tools/", "browser/", "debugging/"]
TYPED = re.compile(r"^INSTANTIATE_TYPED_TEST_SUITE_P\(", re.MULTILINE)
TEST = re.compile(r"^\s*(TYPED_TEST|TYPED_TEST_P|TEST|TEST_F|TEST_P)\s*\(\s*(\w+)\s*,\s*(\w+)",
                  re.MULTILINE)


def undeclared_folders():
    """Sources of the library that no jn_floor of the build takes in."""
    if not (tree.ROOT / "CMakeLists.txt").is_file():
        return []
    declared = re.findall(r"^jn_floor\(\w+ (\S+?)[ )]", tree.text("CMakeLists.txt"), re.MULTILINE)
    return [f"{name}:1: CMakeLists.txt has no jn_floor for this folder" for name in tree.files()
            if name.startswith(tree.LIBRARY) and name.endswith(".cpp")
            and not name[len(tree.LIBRARY):].startswith(tuple(folder + "/" for folder in declared))]


def bodies_of(name):
    """The files of tests that a source is one home of, among others: its -inl.h."""
    found = [tree.resolve(name, kind, path) for _, kind, path in tree.includes(name)
             if path.endswith("-inl.h")]
    return [body for body in found if body and body.startswith("tests/")]


def undeclared_adapters():
    """Sources of adapters, and their tests, that the build of the adapters does not name."""
    page = tree.ADAPTERS + "CMakeLists.txt"
    declared = tree.text(page) if (tree.ROOT / page).is_file() else ""
    folders = re.findall(r"^jn_adapter\(\w+ (\S+?)[ )]", declared, re.MULTILINE)
    named = re.findall(r"\w+Test\.cpp", declared)
    found = []
    for name in tree.files():
        folder, _, last = name.rpartition("/")
        if name.startswith(tree.ADAPTERS) and name.endswith(".cpp") \
                and folder.removeprefix(tree.ADAPTERS) not in folders:
            found.append(f"{name}:1: {page} has no jn_adapter for this folder")
        if folder == "tests/adapters" and name.endswith("Test.cpp") and last not in named:
            found.append(f"{name}:1: {page} has no jn_adapter_test with it")
    return found


def problems():
    library_folders = {name[len(tree.LIBRARY):].rsplit("/", 1)[0] + "/"
                       for name in tree.files() if name.startswith(tree.LIBRARY)}
    found, seen = undeclared_folders() + undeclared_adapters(), {}
    for name in tree.files():
        if not name.startswith("tests/") or not name.endswith(".cpp"):
            continue
        folder = name[len("tests/"):].rsplit("/", 1)[0] + "/"
        if folder not in library_folders and not folder.startswith(tuple(OTHERS)):
            found.append(f"{name}:1: the library has no folder {folder}, so that nothing builds it")
        source = "\n".join(tree.without_comments(part) for part in [name, *bodies_of(name)])
        tests = TEST.findall(source)
        if name.endswith("Test.cpp") and not tests and not TYPED.search(source):
            found.append(f"{name}:1: holds no test")
        if tests and not name.endswith("Test.cpp"):
            found.append(f"{name}:1: holds tests, so its name must end with Test.cpp")
        for _, suite, test in tests:
            if test.startswith("DISABLED_") or suite.startswith("DISABLED_"):
                found.append(f"{name}:1: {suite}.{test} is switched off")
            # Two suites of one name in two files of one program are one suite to GoogleTest.
            other = seen.setdefault((folder, suite, test), name)
            if other != name:
                found.append(f"{name}:1: {suite}.{test} is also in {other}")
        if re.search(r"\bsleep(_for|_until)?\s*\(|\busleep\s*\(", tree.without_comments(name)):
            found.append(f"{name}:1: a test sleeps; use a clock driven by hand")
    return found


if __name__ == "__main__":
    tests = [name for name in tree.files() if name.startswith("tests/") and name.endswith("Test.cpp")]
    tree.report("registered", problems(), f"{len(tests)} test files")
