#!/usr/bin/env python3
"""A file includes files of its own folder and of the floors below it, never above or beside, except
that tests may use testing/ on every floor; each third-party library is called by one folder, and no
public header shows one or includes machinery. Nothing of the library is defined in two headers: what
their sources make of it would be one to the linker."""

import re

import tree

# Lowest first. Folders on one floor do not know each other.
FLOORS = [
    ["platform/text"],
    ["platform/value"],
    ["platform/dispatch", "platform/query", "platform/json", "platform/net"],
    ["platform/store"],
    ["util"],
    ["deferred", "mapping"],
    ["fetched", "importing"],
    ["testing"],
]
FLOOR_OF = {folder: number for number, floor in enumerate(FLOORS) for folder in floor}

# Parts of a folder that must stay exchangeable: neither includes the other.
APART = [("platform/store/sqlite", "platform/store/memory")]

# What a library's headers look like, and the paths of the only files that may include them.
THIRD_PARTY = [
    (r"sqlite3(ext)?\.h", r"platform/store/sqlite/"),
    (r"simdjson(\.h|/)", r"platform/json/"),
    (r"pugi(xml|config)\.hpp", r"platform/store/(\w+/)*\w*Model\w*(Reader|Writer)"),
    (r"utf8proc\.h", r"platform/text/"),
    (r"pcre2(posix)?\.h", r"platform/text/"),
]

# The same of the adapters, whose own headers may show their library.
OF_ADAPTERS = [
    (r"asio/", r"include/JNFoundation/adapters/AsioHost\.h$"),
    (r"boost/(asio|system)/", r"include/JNFoundation/adapters/BoostAsioHost\.h$"),
    (r"rxcpp/", r"include/JNFoundation/adapters/RxCpp\.h$"),
    (r"QtCore/", r"qt/|include/JNFoundation/adapters/(QtValue|FetchedResults\w+)\.h$"),
    (r"glib\.h$", r"glib/"),
    # The systems that a header alone is the host for.
    (r"windows\.h$", r"include/JNFoundation/adapters/WindowsHost\.h"),
    (r"CoreFoundation/", r"include/JNFoundation/adapters/CFRunLoopHost\.h"),
    (r"android/|sys/(event|timer)fd\.h$|unistd\.h$",
     r"include/JNFoundation/adapters/AndroidHost\.h"),
]

# The same of what is built around the library: who looks past it at what it made.
AROUND = ("tests/", "tools/", "examples/")
OF_AROUND = [
    (r"sqlite3(ext)?\.h", r"(tests/platform/store|tools)/"),
]

STANDARD = set("""
algorithm any array atomic barrier bit bitset charconv chrono compare complex concepts
condition_variable coroutine deque exception execution filesystem forward_list fstream functional
future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map
memory memory_resource mutex new numbers numeric optional ostream queue random ratio regex
scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
streambuf string string_view syncstream system_error thread tuple type_traits typeindex typeinfo
unordered_map unordered_set utility valarray variant vector version
cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef
cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
""".split())
# The operating system, for the sources that are the platform.
SYSTEM = re.compile(r"(sys|netinet|arpa|linux|mach|asm)/[\w/]+\.h$|"
                    r"(unistd|pthread|fcntl|poll|signal|dirent|errno|time|sched|cxxabi|execinfo|dlfcn)\.h$")
# What a public header may include of the operating system: it declares one variable, and the standard
# library's own headers include it as well.
SHOWN_SYSTEM = {"sys/single_threaded.h"}


def folder_of(name):
    """The floor's folder that a file of the library or its mirror in tests/ belongs to."""
    for prefix in (tree.LIBRARY, "tests/"):
        if name.startswith(prefix):
            rest = name[len(prefix):]
            for folder in FLOOR_OF:
                if rest.startswith(folder + "/"):
                    return folder
    return None


def own_header(source):
    """How a source of the library or of an adapter includes the header of its class."""
    if source.startswith(tree.ADAPTERS):
        return f"{tree.LIBRARY}adapters/{source.rsplit('/', 1)[1][:-len('.cpp')]}.h"
    return source[:-len(".cpp")] + ".h"


def may_know(name, folder, other):
    if name.startswith("tests/") and other == "testing":
        return True
    return folder == other or FLOOR_OF[other] < FLOOR_OF[folder]


def problems_of_project_include(name, folder, kind, path):
    """What is wrong with including a file of the project."""
    is_library = name.startswith(tree.LIBRARY)
    is_adapter = name.startswith(tree.ADAPTERS)
    target = tree.resolve(name, kind, path)
    if target is None:
        return [f"{path} does not exist"]
    found = []
    # clang-format keeps a source's own header at the top only where it is written in quotes.
    is_own = name.endswith(".cpp") and path == own_header(name)
    if target.startswith((tree.LIBRARY, tree.ADAPTER_HEADERS)) and kind == '"' and not is_own:
        found.append(f"write it as <{target.removeprefix(tree.ADAPTER_HEADERS)}>")
    elif is_library and not target.startswith(tree.LIBRARY):
        found.append(f"the library must not know {target}")
    elif is_adapter and not target.startswith((tree.LIBRARY, tree.ADAPTERS)):
        found.append(f"an adapter must not know {target}")
    other = folder_of(target) if target.startswith(tree.LIBRARY) else None
    if folder and other and not may_know(name, folder, other):
        found.append(f"{folder} is not above {other}")
    if folder and target.startswith(tree.LIBRARY) and not other:
        found.append(f"{target} stands above every folder")
    for pair in APART:
        for here, there in (pair, pair[::-1]):
            if name.startswith(f"{tree.LIBRARY}{here}/") and target.startswith(f"{tree.LIBRARY}{there}/"):
                found.append(f"{here} and {there} must not know each other")
    if "/impl/" in target and target.startswith(tree.LIBRARY):
        if is_library and name.endswith(".h") and "/impl/" not in name:
            found.append("a public header must not include machinery")
        # What a structure costs by itself is measured at the structure.
        if not name.startswith("benchmarks/") and (folder != other or not folder):
            found.append(f"the machinery of {other} is its own")
    return found


def problems_of_foreign_include(name, path):
    """What is wrong with including a file from outside the project."""
    if name.startswith(tree.ADAPTERS):
        homes = [home for pattern, home in OF_ADAPTERS if re.match(pattern, path)]
        if homes and not re.match(homes[0], name[len(tree.ADAPTERS):]):
            return [f"{path} has one home, {homes[0]}"]
        if homes or path in STANDARD or path in SHOWN_SYSTEM:
            return []
        return [f"{path} is neither standard nor a library that has an adapter"]
    if name.startswith(AROUND):
        return [f"{path} has one home, {home}" for pattern, home in OF_AROUND
                if re.match(pattern, path) and not re.match(home, name)]
    if not name.startswith(tree.LIBRARY):
        return []
    in_library = name[len(tree.LIBRARY):]
    shown = name.endswith(".h") and "/impl/" not in name
    for pattern, home in THIRD_PARTY:
        if re.match(pattern, path):
            found = []
            if not re.match(home, in_library):
                found.append(f"{path} has one home, {home}")
            if shown:
                found.append(f"a public header must not show {path}")
            return found
    if path in STANDARD:
        return []
    if path in SHOWN_SYSTEM:
        return []
    if SYSTEM.match(path):
        return [f"a public header must not include {path} of the system"] if shown else []
    return [f"{path} is neither standard nor one of the libraries that we chose"]


DEFINITION = re.compile(r"^(?:class|struct|union|enum class) (\w+)\b(?!::)[^;{()]*\{", re.MULTILINE)
NAMESPACE = re.compile(r"^namespace ([\w:]+(?:inline [\w:]+)?) \{", re.MULTILINE)


def twins():
    """What two headers of the library define under one name."""
    homes = {}
    found = []
    for name in tree.cpp_files():
        if not name.startswith(tree.LIBRARY) or not name.endswith(".h"):
            continue
        text = tree.text(name)
        spaces = list(NAMESPACE.finditer(text))
        for definition in DEFINITION.finditer(text):
            around = [space[1] for space in spaces if space.start() < definition.start()]
            full = f"{around[-1] if around else ''}::{definition[1]}"
            line = text.count("\n", 0, definition.start()) + 1
            home = homes.setdefault(full, name)
            if home != name:
                found.append(f"{name}:{line}: {full} is defined in {home} as well")
    return found


def namespaces():
    """What opens the library's namespace without the inline one, which goes with its version."""
    wanted = f"JNFoundation::inline {tree.inline_namespace()}"
    return [f"{name}:{tree.text(name).count(chr(10), 0, space.start()) + 1}: namespace {space[1]}, not {wanted}"
            for name in tree.cpp_files() if name.startswith((tree.LIBRARY, tree.ADAPTERS))
            for space in NAMESPACE.finditer(tree.text(name))
            if space[1].startswith("JNFoundation") and not space[1].startswith(wanted)]


def problems():
    found = twins()
    if (tree.ROOT / tree.LIBRARY / "Version.h").is_file():
        found += namespaces()
    for name in tree.cpp_files():
        folder = folder_of(name)
        if name.startswith(tree.LIBRARY) and not folder and name.count("/") > 1:
            found.append(f"{name}:1: no floor has this folder; add it to scripts/check_floors.py")
        if name.startswith("tests/package/"):
            continue
        for line, kind, path in tree.includes(name):
            ours = path.startswith(tree.LIBRARY) or tree.resolve(name, kind, path) is not None
            if ours:
                wrong = problems_of_project_include(name, folder, kind, path)
            else:
                wrong = problems_of_foreign_include(name, path)
            found += [f"{name}:{line}: {what}" for what in wrong]
        own = own_header(name)
        if name.startswith((tree.LIBRARY, tree.ADAPTERS)) and name.endswith(".cpp") \
                and tree.resolve(name, "<", own):
            first = tree.includes(name)[:1]
            if not first or first[0][2] != own:
                found.append(f"{name}:1: a source includes its own header first, \"{own}\"")
    return found


if __name__ == "__main__":
    tree.report("floors", problems(), f"{len(tree.cpp_files())} files")
