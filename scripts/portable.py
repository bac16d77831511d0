#!/usr/bin/env python3
"""Compiles the library with other compilers and for other systems than the everyday one, and runs
tests for other processors under emulation. Arguments choose among the steps; see docs/portability.md.
"""

import os
import re
import shlex
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/portable"
JOBS = os.environ.get("JOBS") or str(os.cpu_count() or 2)

# Lowest first, as cmake/Floors.cmake builds them.
FLOORS = ["platform/text", "platform/value", "platform/dispatch", "platform/query", "platform/json",
          "platform/net", "platform/store", "util", "deferred", "mapping", "fetched", "importing",
          "testing"]
STRICT = ["-std=c++20", f"-I{ROOT}", "-Wall", "-Wextra", "-Wconversion", "-Werror"]
# Several sources are one here, and all of them headers to the compiler.
GNU = ["-Wno-subobject-linkage", "-Wno-psabi"]
COMPILERS = {
    "g++": ["g++", *GNU],
    "clang++-16": ["clang++-16"],
    # The algorithms of an older standard library use what a newer compiler knows to be deprecated.
    "clang++-19": ["clang++-19", "-Wno-deprecated-declarations"],
    "clang++-19 with libc++": ["clang++-19", "-stdlib=libc++"],
}
WINDOWS = ["platform/text", "platform/value", "platform/dispatch", "util", "deferred"]
THIRD_PARTY = ["sqlite3.h", "utf8proc.h", "pcre2.h", "pugixml.hpp", "pugiconfig.hpp", "simdjson.h"]
PROCESSORS = {"arm64": "aarch64-linux-gnu", "armhf": "arm-linux-gnueabihf"}
PROCESSOR_PACKAGES = ["libsqlite3-dev", "libsqlite3-0", "libutf8proc-dev", "libutf8proc2",
                      "libpcre2-dev", "libpcre2-8-0", "libpugixml-dev", "libpugixml1v5",
                      "libsimdjson-dev", "libsimdjson14", "libgtest-dev"]
PROCESSOR_TESTS = ["value", "text", "deferred", "mapping", "util"]


class Failed(Exception):
    pass


def run(command, **options):
    """Returns: what the command printed. Fails: raises Failed with the end of that."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          stdin=subprocess.DEVNULL, **options)
    if done.returncode != 0:
        lines = [line for line in done.stdout.splitlines()
                 if re.search(r"error|warning|FAILED|Failure|E:", line)] or done.stdout.splitlines()
        raise Failed(shlex.join(map(str, command))[:300] + "\n  " + "\n  ".join(lines[-15:]))
    return done.stdout


def as_one_source(name, floors):
    """A file that includes every source of the floors."""
    sources = [source for floor in floors
               for source in sorted((ROOT / "JNFoundation" / floor).rglob("*.cpp"))]
    path = BUILD / f"{name}.cpp"
    path.write_text("".join(f'#include "{source.relative_to(ROOT)}"\n' for source in sources))
    return path


def third_party_headers():
    """A folder with the headers of the libraries that stand below, and nothing else of the system."""
    folder = BUILD / "headers"
    folder.mkdir(exist_ok=True)
    for name in THIRD_PARTY:
        link = folder / name
        if not link.exists():
            link.symlink_to(f"/usr/include/{name}")
    return folder


def compilers():
    source = as_one_source("library", FLOORS)
    for name, command in COMPILERS.items():
        if not shutil.which(command[0]):
            raise Failed(f"{command[0]} is not there")
        run([*command, *STRICT, "-fsyntax-only", source])
        print(f"  {name}: the whole library without a warning")


def windows():
    source = as_one_source("windows", WINDOWS)
    run(["x86_64-w64-mingw32-g++-posix", "-std=c++20", f"-I{ROOT}", f"-I{third_party_headers()}",
         "-Wall", "-Wextra", *GNU, "-O1", "-Wa,-mbig-obj", "-c", source, "-o", BUILD / "windows.o"])
    host = BUILD / "host.cpp"
    host.write_text("#include <JNFoundation/adapters/WindowsHost.h>\n")
    run(["x86_64-w64-mingw32-g++-posix", "-std=c++20", f"-I{ROOT}", f"-I{ROOT}/adapters/include",
         "-Wall", "-Wextra", "-Werror", "-fsyntax-only", host])
    print(f"  mingw-w64 compiles {', '.join(floor.rpartition('/')[2] for floor in WINDOWS)}")


def objective_c():
    headers = sorted(path.relative_to(ROOT) for path in (ROOT / "JNFoundation").rglob("*.h")
                     if "impl" not in path.parts)
    source = BUILD / "beside.mm"
    source.write_text(
        "#import <Foundation/Foundation.h>\n"
        + "".join(f"#include <{header}>\n" for header in headers)
        + "int main() {\n"
          '  NSString* theirs = @"text";\n'
          "  JNFoundation::Ref<JNFoundation::NSString> ours = [theirs UTF8String];\n"
          "  BOOL isThere = nil == theirs ? NO : YES;\n"
          '  NSLog(@"%d %lu", isThere, (unsigned long)NSNotFound);\n'
          '  JNFoundation::NSLog("%@ %ld", ours, long(JNFoundation::NSNotFound));\n'
          "  return 0;\n"
          "}\n")
    flags = [flag for flag in run(["gnustep-config", "--objc-flags"]).split()
             if re.match(r"-[ID]|-fexceptions|-fobjc|-fconstant", flag)]
    run(["g++", "-std=c++20", f"-I{ROOT}", *flags, "-fsyntax-only", "-x", "objective-c++", source])
    print(f"  Objective-C++ includes our {len(headers)} headers beside GNUstep's Foundation")


def libraries_for(architecture):
    """A folder with another architecture's libraries, from the same archive as the system's."""
    place = BUILD / architecture
    root = place / "root"
    if (root / "usr").is_dir():
        return root
    for folder in ("apt/lists/partial", "apt/cache/archives/partial", "apt/sources", "packages"):
        (place / folder).mkdir(parents=True, exist_ok=True)
    (place / "apt/status").touch()
    listed = Path("/etc/apt/sources.list.d/debian.sources")
    shutil.copy(listed if listed.exists() else "/etc/apt/sources.list", place / "apt/sources")
    options = ["-qq", "-o", f"APT::Architecture={architecture}",
               "-o", f"APT::Architectures::={architecture}", "-o", "APT::Sandbox::User=root",
               "-o", f"Dir::State::Lists={place}/apt/lists",
               "-o", f"Dir::State::status={place}/apt/status", "-o", f"Dir::Cache={place}/apt/cache",
               "-o", "Dir::Etc::SourceList=/dev/null",
               "-o", f"Dir::Etc::SourceParts={place}/apt/sources", "-o", "Acquire::Retries=3"]
    try:
        run(["apt-get", *options, "update"])
    except Failed as failure:
        # A mirror may be at odds with itself over one list of several; the others do.
        print(f"  {architecture}: {str(failure).splitlines()[-1].strip()}")
    run(["apt-get", *options, "download", *PROCESSOR_PACKAGES], cwd=place / "packages")
    root.mkdir(exist_ok=True)
    for package in sorted((place / "packages").glob("*.deb")):
        run(["dpkg", "-x", package, root])
    return root


def processor(architecture):
    root, triplet = libraries_for(architecture), PROCESSORS[architecture]
    source = as_one_source("library", FLOORS)
    run([f"{triplet}-g++", *STRICT, *GNU, f"-I{third_party_headers()}", "-fsyntax-only", source])
    print(f"  {triplet}: the whole library without a warning")
    build = BUILD / architecture / "build"
    run(["cmake", "--toolchain", ROOT / "cmake/CrossDebian.cmake", "-D", f"JN_TRIPLET={triplet}",
         "-D", f"JN_SYSROOT={root}", "-S", ROOT, "-B", build, "-G", "Ninja",
         "-D", "CMAKE_BUILD_TYPE=Debug", "-D", "CMAKE_CXX_FLAGS_DEBUG=-O1 -Wno-psabi",
         "-D", "JN_TEST_OPTIONS=-O0", "-D", "CMAKE_UNITY_BUILD=ON",
         "-D", "CMAKE_UNITY_BUILD_BATCH_SIZE=12", "-D", "JN_BUILD_EXAMPLES=OFF",
         "-D", "JN_BUILD_TOOLS=OFF", "-D", "JN_ADAPTERS=", "-D", "JN_INSTALL=OFF"])
    programs = [f"test_{name}" for name in PROCESSOR_TESTS]
    run(["cmake", "--build", build, "--parallel", JOBS, "--target", *programs])
    emulator = {"arm64": "qemu-aarch64", "armhf": "qemu-arm"}[architecture]
    libraries = f"{root}/usr/lib/{triplet}:/usr/{triplet}/lib"
    failures = []
    for program in programs:
        # A test that watches the program die runs it once more, by the name that it was called by.
        launcher = build / f"run_{program}"
        launcher.write_text(f'#!/bin/sh\nexec {emulator} -0 "$0" -L /usr/{triplet} '
                            f'-E LD_LIBRARY_PATH={libraries} {build / program} "$@"\n')
        launcher.chmod(0o755)
        started = time.monotonic()
        try:
            said = run([launcher, "--gtest_brief=1"], cwd=ROOT, timeout=3600)
        except Failed as failure:
            failures.append(str(failure))
            said = "failed"
        print(f"  {triplet} {program}: {said.strip().splitlines()[-1]}, "
              f"{time.monotonic() - started:.0f} s", flush=True)
    if failures:
        raise Failed("\n  ".join(failures))


STEPS = {"compilers": compilers, "windows": windows, "objective-c": objective_c,
         "arm64": lambda: processor("arm64"), "armhf": lambda: processor("armhf")}


def main():
    chosen = sys.argv[1:] or list(STEPS)
    unknown = [name for name in chosen if name not in STEPS]
    if unknown:
        sys.exit(f"portable: no step {', '.join(unknown)}; there are {', '.join(STEPS)}")
    BUILD.mkdir(parents=True, exist_ok=True)
    failed = []
    for name in chosen:
        started = time.monotonic()
        print(name, flush=True)
        try:
            STEPS[name]()
        except (Failed, subprocess.TimeoutExpired, OSError) as failure:
            failed.append(name)
            print(f"  failed: {failure}")
        print(f"  ({time.monotonic() - started:.0f} s)", flush=True)
    if failed:
        sys.exit(f"portable: {', '.join(failed)} failed")


main()
