#!/usr/bin/env python3
"""Every way in which a project comes to the library, each tried with a project that is built and
run (tests/package/). Without arguments all of them, else those that are named. One line for each;
their output is in build/logs/package-WAY.log."""

import json
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

import check_floors
import tree

ROOT = tree.ROOT
JOBS = str(tree.JOBS)
VERSION = tree.version()
ABI = tree.abi()
# What is compiled at once makes a build of everything some minutes long at most.
UNITY = ["-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=40"]
BARE = ["-DJN_BUILD_TESTS=OFF", "-DJN_BUILD_EXAMPLES=OFF", "-DJN_BUILD_TOOLS=OFF"]


class Failure(Exception):
    pass


class Way:
    """A way that is being tried: its log, and what it says of itself."""

    def __init__(self, name):
        self.name = name
        self.notes = []
        log = ROOT / "build" / "logs" / f"package-{name}.log"
        log.parent.mkdir(parents=True, exist_ok=True)
        self.log = log.open("w")

    def run(self, *command, cwd=ROOT, environment=None):
        """The command's output. Fails: raises Failure with the end of it."""
        done = subprocess.run([str(part) for part in command], cwd=cwd, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, env={**os.environ, **(environment or {})})
        self.log.write(f"$ {' '.join(map(str, command))}\n{done.stdout}\n")
        self.log.flush()
        if done.returncode:
            errors = [line for line in done.stdout.splitlines() if "rror" in line][:12]
            raise Failure("\n".join([f"{command[0]} ended with {done.returncode}",
                                     *(errors or done.stdout.splitlines()[-20:]), self.log.name]))
        return done.stdout

    def note(self, text):
        self.notes.append(text)


def build(way, kind, *more):
    """Builds the library, shared or otherwise static, and returns the directory."""
    directory = ROOT / "build" / f"package-{kind}"
    way.run("cmake", "-S", ROOT, "-B", directory, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            f"-DBUILD_SHARED_LIBS={'ON' if kind == 'shared' else 'OFF'}", *UNITY, *BARE, *more)
    way.run("cmake", "--build", directory, "--parallel", JOBS)
    return directory


def shared_libraries(directory):
    """The shared libraries that were built there, without the copies that were installed from it."""
    return sorted(path for path in directory.rglob("libJNFoundation*.so")
                  if "package" not in path.relative_to(directory).parts)


def components(directory):
    """The components that were built there, or installed."""
    found = {path.stem.removeprefix("JNFoundation") for path in directory.rglob("JNFoundation*.pc")}
    return sorted(found - {""})


def consume(way, how, directory, parts, *more):
    """Builds and runs the project of tests/package/."""
    compiler = os.environ.get("CXX", "c++")
    return way.run("cmake", f"-DWAY={how}", f"-DSOURCE={ROOT}", f"-DBUILD={directory}", "-DGENERATOR=Ninja",
                   f"-DCOMPILER={compiler}", f"-DLAUNCHER={shutil.which('ccache') or ''}",
                   "-DCONFIGURATION=Release", f"-DVERSION={VERSION}", f"-DCOMPONENTS={' '.join(parts)}",
                   *more, "-P", ROOT / "tests" / "package" / "run.cmake")


def check_exports(way, library):
    """A shared library shows the namespace, of its machinery what headers need, and nothing else."""
    mine = f"JNFoundation_{ABI}"
    space = "".join(f"{len(name)}{name}" for name in ("JNFoundation", tree.inline_namespace()))
    machinery = {line for line in tree.text("cmake/exports.txt").splitlines() if line[0] != "#"}
    shown = []
    for line in way.run("nm", "-D", "--defined-only", library).splitlines():
        symbol, _, version = line.split()[-1].partition("@@")
        if symbol == mine:
            continue
        if space not in symbol or version != mine:
            raise Failure(f"{library.name} shows {line}")
        hidden = re.match(rf"_Z[A-Z]*[A-Za-z0-9_]*?N[KRO]*{space}4impl(\d+)(\w+)", symbol)
        if hidden and hidden[2][:int(hidden[1])] not in machinery:
            raise Failure(f"{library.name} shows machinery: {symbol}")
        shown.append(symbol)
    soname = re.search(r"SONAME.*\[(.*)\]", way.run("readelf", "-d", library))[1]
    wanted = f"{library.name.split('.')[0]}.so.{ABI}"
    if soname != wanted or not shown:
        raise Failure(f"{library.name} is called {soname} and shows {len(shown)} symbols")
    return f"{soname} shows {len(shown)} symbols"


def way_static(way):
    directory = build(way, "static")
    consume(way, "installed", directory, components(directory))
    way.note("find_package with " + ", ".join(components(directory)))


def way_readme(way):
    """The commands of README.md, word for word but for the place."""
    directory = ROOT / "build" / "package-readme"
    shutil.rmtree(directory, ignore_errors=True)
    said = tree.text("README.md").split("## Use it\n", 1)[1]
    commands = re.search(r"```sh\n(.*?)```", said, re.DOTALL)[1]
    way.run("bash", "-e", "-c", commands.replace("/where/you/like", str(directory / "prefix")))
    prefix = directory / "prefix"
    consume(way, "installed", directory, components(prefix), f"-DPREFIX={prefix}")


def way_pkgconfig(way):
    directory = build(way, "static")
    consume(way, "pkgconfig", directory, components(directory))
    way.note("static, by the flags of pkg-config alone")


def way_shared(way):
    directory = build(way, "shared")
    for library in shared_libraries(directory):
        way.note(check_exports(way, library))
    consume(way, "installed", directory, components(directory))
    consume(way, "pkgconfig", directory, components(directory))


def way_fetched(way):
    options = " ".join([*UNITY, "-DJN_ADAPTERS=", "-DFETCHCONTENT_FULLY_DISCONNECTED=ON"])
    consume(way, "fetched", ROOT / "build" / "package-tree", ["Testing"], f"-DOPTIONS={options}")


def way_subdirectory(way):
    options = " ".join([*UNITY, "-DJN_ADAPTERS="])
    consume(way, "subdirectory", ROOT / "build" / "package-tree", ["Testing"], f"-DOPTIONS={options}")


def way_bundled(way):
    """A copy of SQLite in the library, by names of its own: a program may have another one."""
    source = os.environ.get("JN_SQLITE_SOURCE")
    if not source:
        way.note("not tried: JN_SQLITE_SOURCE names no directory with sqlite3.c")
        return
    directory = build(way, "bundled", "-DJN_SQLITE=bundled", f"-DJN_SQLITE_SOURCE={source}", "-DJN_ADAPTERS=")
    symbols = way.run("nm", "-g", directory / "libJNFoundation.a")
    strangers = sorted(set(re.findall(r" [^U] (sqlite3_?\w*)$", symbols, re.MULTILINE)))
    asked = sorted(set(re.findall(r" U (sqlite3_\w+)$", symbols, re.MULTILINE)))
    renamed = set(re.findall(r" T (jn_sqlite3_\w+)$", symbols, re.MULTILINE))
    if strangers or asked or not renamed:
        raise Failure(f"under SQLite's own names: {strangers}, wanted: {asked}")
    consume(way, "installed", directory, ["Testing"])
    way.note(f"{len(renamed)} functions of SQLite renamed")


def way_amalgamation(way):
    directory = ROOT / "build" / "package-amalgamation"
    consume(way, "amalgamation", directory, ["Testing"])
    text = directory / "package" / "amalgamation" / "tree"
    way.note(" and ".join(f"{name} of {(text / name).stat().st_size // 1024} KiB"
                          for name in ["JNFoundation.h", "JNFoundation.cpp"]))


def copy_of_tree(to):
    for name in tree.files():
        (to / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(ROOT / name, to / name)


def way_debian(way):
    directory = ROOT / "build" / "package-debian"
    shutil.rmtree(directory, ignore_errors=True)
    source = directory / f"jnfoundation-{VERSION}"
    copy_of_tree(source)
    way.run("tar", "-czf", f"jnfoundation_{VERSION}.orig.tar.gz", source.name, cwd=directory)
    shutil.copytree(source / "packaging" / "debian", source / "debian")
    environment = {"DEB_BUILD_OPTIONS": f"parallel={JOBS}"}
    if shutil.which("ccache"):
        # The build has a home directory of its own.
        environment["CCACHE_DIR"] = way.run("ccache", "--get-config", "cache_dir").strip()
    way.run("dpkg-buildpackage", "--no-sign", cwd=source, environment=environment)
    for package in sorted(directory.glob("*.deb")):
        if "-dbgsym" not in package.name:
            way.run("dpkg", "-x", package, directory / "root")
            way.note(f"{package.name.split('_')[0]} of {package.stat().st_size // 1024} KiB")
    prefix = directory / "root" / "usr"
    for how in ["installed", "pkgconfig"]:
        consume(way, how, directory, components(prefix), f"-DPREFIX={prefix}")
    library = next(prefix.rglob("libJNFoundation.so"))
    said = way.run(prefix / "bin" / "jnmap", "--version",
                   environment={"LD_LIBRARY_PATH": str(library.parent)})
    if said != f"jnmap {VERSION}\n":
        raise Failure(f"jnmap --version says {said}")
    if not (ROOT / "packaging/debian/changelog").read_text().startswith(f"jnfoundation ({VERSION}-"):
        raise Failure("packaging/debian/changelog is of another version")


def way_vcpkg(way):
    """The port, with its functions played by tests/package/vcpkg.cmake: vcpkg itself would fetch."""
    port = ROOT / "packaging" / "vcpkg" / "jnfoundation"
    manifest = json.loads((port / "vcpkg.json").read_text())
    if manifest["version-semver"] != VERSION:
        raise Failure("packaging/vcpkg/jnfoundation/vcpkg.json is of another version")
    directory = ROOT / "build" / "package-vcpkg"
    shutil.rmtree(directory / "packages", ignore_errors=True)
    way.run("cmake", f"-DCURRENT_PORT_DIR={port}", f"-DCURRENT_PACKAGES_DIR={directory / 'packages'}",
            f"-DBUILD={directory}", f"-DJOBS={JOBS}", "-DFEATURES=core",
            "-P", ROOT / "tests" / "package" / "vcpkg.cmake")
    consume(way, "installed", directory, ["Testing"], f"-DPREFIX={directory / 'packages'}")
    way.note("the port's own steps, without its registry")


def way_conan(way):
    directory = ROOT / "build" / "package-conan"
    if not shutil.which("conan"):
        recipe = ROOT / "packaging" / "conan" / "conanfile.py"
        said = way.run(sys.executable, ROOT / "tests" / "package" / "recipe.py", recipe, directory, JOBS)
        if said.splitlines()[-1] != f"jnfoundation {VERSION}":
            raise Failure(f"the recipe is of another version: {said.splitlines()[-1]}")
        consume(way, "installed", directory, ["Testing"], f"-DPREFIX={directory / 'package'}")
        way.note("the recipe's own steps, without Conan")
        return
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    # The libraries beneath are the system's, so that nothing is fetched.
    beneath = ["sqlite3/3.40.1", "simdjson/3.0.1", "utf8proc/2.8.0", "pcre2/10.42", "pugixml/1.13"]
    (directory / "profile").write_text("\n".join(
        ["include(default)", "[settings]", "compiler.cppstd=20", "[platform_requires]", *beneath,
         "[platform_tool_requires]", "pkgconf/2.0.3", "[conf]", "tools.cmake.cmaketoolchain:generator=Ninja",
         "tools.cmake.cmaketoolchain:extra_variables=" + json.dumps(
             {"CMAKE_UNITY_BUILD": "ON", "CMAKE_UNITY_BUILD_BATCH_SIZE": "40"}),
         f"tools.build:jobs={JOBS}", ""]))
    home = {"CONAN_HOME": str(directory / "home")}
    way.run("conan", "profile", "detect", environment=home)
    way.run("conan", "create", ROOT / "packaging" / "conan", "--no-remote", "-pr:a", directory / "profile",
            environment=home)
    installed = next((directory / "home").rglob("JNFoundationConfig.cmake")).parents[3]
    consume(way, "installed", directory, ["Testing"], f"-DPREFIX={installed}")
    way.note("conan create with the system's libraries beneath")


def section_sizes(objects):
    """Code with constant data, and data that changes, in bytes."""
    said = subprocess.run(["size", "-t", *map(str, objects)], capture_output=True, text=True, check=True)
    text, data, bss = map(int, said.stdout.splitlines()[-1].split()[:3])
    return text, data + bss


def way_sizes(way):
    """What each part comes to, as the table of docs/packaging.md has it."""
    static, shared = build(way, "static"), build(way, "shared")
    rows = []
    for directory in sorted((static / "CMakeFiles").glob("jn_*.dir")):
        objects = sorted(directory.rglob("*.o"))
        if objects:
            rows.append((directory.name[3:-4], *section_sizes(objects)))
    folders = [folder.rsplit("/", 1)[-1] for floor in check_floors.FLOORS for folder in floor]
    rows.sort(key=lambda row: folders.index(row[0]))
    lines = ["| part | code, KiB | data, KiB |", "|---|---|---|"]
    lines += [f"| `{name}` | {text // 1024} | {data / 1024:.1f} |" for name, text, data in rows]
    for library in shared_libraries(shared):
        text, data = section_sizes([library])
        lines.append(f"| `{library.name}` | {text // 1024} | {data / 1024:.1f} |")
    (ROOT / "build" / "sizes.md").write_text("\n".join(lines) + "\n")
    way.note("see build/sizes.md")


WAYS = {name.removeprefix("way_"): function for name, function in list(globals().items())
        if name.startswith("way_")}


def main():
    wanted = sys.argv[1:] or list(WAYS)
    unknown = [name for name in wanted if name not in WAYS]
    if unknown:
        sys.exit(f"no way is called {', '.join(unknown)}; there are {', '.join(WAYS)}")
    failed = []
    for name in wanted:
        started, way = time.monotonic(), Way(name)
        try:
            WAYS[name](way)
            outcome = "works"
        except Failure as failure:
            failed.append(name)
            outcome = f"FAILS: {failure}"
        notes = f" ({'; '.join(way.notes)})" if way.notes else ""
        print(f"{name}: {outcome}{notes}, {time.monotonic() - started:.0f} s", flush=True)
    if failed:
        sys.exit(f"these ways failed: {', '.join(failed)}")


if __name__ == "__main__":
    main()
