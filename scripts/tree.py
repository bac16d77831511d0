"""What the checks know about the tree: its files, what includes what, and results kept by content."""

import functools
import hashlib
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(os.environ.get("JN_CHECKED_TREE", Path(__file__).resolve().parent.parent))
LIBRARY = "JNFoundation/"
# What stands above the library and has other libraries beside it; its headers are included as the
# library's own are.
ADAPTERS = "adapters/"
ADAPTER_HEADERS = "adapters/include/"
JOBS = int(os.environ.get("JOBS") or os.cpu_count() or 2)

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"\n]+)[>"]', re.MULTILINE)


@functools.cache
def files():
    """Every file of the project, as paths relative to its root: tracked, or new and not ignored."""
    listed = subprocess.run(
        ["git", "-c", f"safe.directory={ROOT}", "ls-files", "-z", "--cached", "--others",
         "--exclude-standard"], cwd=ROOT, capture_output=True, text=True)
    if (ROOT / ".git").exists() and listed.returncode == 0:
        found = [name for name in listed.stdout.split("\0") if name and (ROOT / name).is_file()]
    else:
        found = [str(path.relative_to(ROOT)) for path in ROOT.rglob("*")
                 if path.is_file() and path.relative_to(ROOT).parts[0] != "build"]
    return sorted(set(found))


def cpp_files():
    return [name for name in files() if name.endswith((".h", ".cpp"))]


def public_headers():
    """The headers that a user may include. A -inl.h is a part of the header that includes it."""
    return [name for name in files() if name.startswith(LIBRARY) and name.endswith(".h")
            and "/impl/" not in name and not name.endswith("-inl.h")]


@functools.cache
def text(name):
    return (ROOT / name).read_text(encoding="utf-8", errors="replace")


def version():
    """The release that the tree is of."""
    return ".".join(re.findall(r"(?m)^#define JN_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$",
                               text(LIBRARY + "Version.h")))


def abi():
    """The versions that break no program, as one: until 1.0 a minor one may break it, then a major one."""
    major, minor, _ = version().split(".")
    return f"{major}.{minor}" if major == "0" else major


def inline_namespace():
    return "v" + abi().replace(".", "_")


@functools.cache
def without_comments(name):
    """The file's text with comments blanked, line numbers kept."""
    def blank(match):
        found = match.group(0)
        return re.sub(r"[^\n]", " ", found) if found.startswith("/") else found
    return re.sub(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])*\'',
                  blank, text(name), flags=re.DOTALL)


@functools.cache
def includes(name):
    """(line, '<' or '"', path as written) of each include directive of the file."""
    source = without_comments(name)
    return [(source.count("\n", 0, match.start()) + 1, match.group(1), match.group(2))
            for match in INCLUDE.finditer(source)]


def resolve(name, kind, path):
    """The project's file that an include means, or None for a file from elsewhere."""
    candidates = [os.path.normpath(os.path.join(os.path.dirname(name), path))] if kind == '"' else []
    candidates += [path, ADAPTER_HEADERS + path, "tests/" + path]
    for candidate in candidates:
        if (ROOT / candidate).is_file():
            return candidate
    return None


def closure(name):
    """The file and all the project's files that it includes, directly or not."""
    reached, waiting = set(), [name]
    while waiting:
        current = waiting.pop()
        if current in reached:
            continue
        reached.add(current)
        for _, kind, path in includes(current):
            found = resolve(current, kind, path)
            if found:
                waiting.append(found)
    return sorted(reached)


def content_key(name, *more):
    """A digest that changes when the file, anything of the project it includes, or `more` does."""
    digest = hashlib.sha256()
    for part in more:
        digest.update(str(part).encode() + b"\0")
    for part in closure(name):
        digest.update(part.encode() + b"\0" + (ROOT / part).read_bytes() + b"\0")
    return digest.hexdigest()


def version_of(program):
    return subprocess.run([program, "--version"], capture_output=True, text=True).stdout


def readable(output, limit, shown):
    """A tool's output without its counts, without findings that were shown before (a header's come
    up in every source that includes it), at most `limit` lines of each finding. Where one line of
    each is enough, one finding is."""
    kept = []
    for finding in re.split(r"^(?=\S[^:\n]*:\d+:\d+: (?:error|warning): )", output, flags=re.MULTILINE):
        finding = re.sub(r"^\d+ warnings?( and \d+ errors?)? generated\.\n", "", finding, flags=re.MULTILINE)
        lines = finding.rstrip().splitlines()
        if not lines or lines[0] in shown:
            continue
        shown.add(lines[0])
        if limit == 1 and kept:
            continue
        kept += lines[:limit]
        if len(lines) > limit > 1:
            kept.append(f"... {len(lines) - limit} more lines")
    return "\n".join(kept)


def run_each(title, names, command_for, *key_parts, limit=12):
    """Runs a command per file, several at a time. A file that passed with this very content before
    is not run again; failures are never kept. Returns the number of files that failed."""
    record = ROOT / "build" / "checks" / (title + ".json")
    try:
        passed = set(json.loads(record.read_text()))
    except (OSError, ValueError):
        passed = set()
    keys = {name: content_key(name, *key_parts) for name in names}
    waiting = [name for name in names if keys[name] not in passed]

    def run(name):
        done = subprocess.run(command_for(name), cwd=ROOT, capture_output=True, text=True)
        return name, done.returncode, done.stdout + done.stderr

    failed, shown = 0, set()
    with ThreadPoolExecutor(JOBS) as pool:
        for name, status, output in pool.map(run, waiting):
            if status == 0:
                passed.add(keys[name])
            else:
                failed += 1
                findings = readable(output, limit, shown)
                print(f"{name}:\n{findings}\n" if findings else f"{name}: as above\n", flush=True)
    record.parent.mkdir(parents=True, exist_ok=True)
    temporary = record.with_suffix(f".{os.getpid()}")
    temporary.write_text(json.dumps(sorted(passed & set(keys.values()))))
    temporary.replace(record)
    print(f"{title}: {len(names)} files, {len(waiting)} looked at, {failed} failed")
    return failed


def report(title, problems, looked_at):
    """Prints the problems and ends the program, with status 1 if there are any."""
    for problem in problems:
        print(problem)
    print(f"{title}: {looked_at}, {len(problems)} problems")
    sys.exit(1 if problems else 0)
