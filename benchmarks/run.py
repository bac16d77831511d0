#!/usr/bin/env python3
"""Runs every benchmark program, ours and the others, and puts the figures side by side.

The programs run as child processes, interleaved over several rounds, so that what the machine
does meanwhile meets all of them; each figure is the median over the rounds. The rows with a figure
of ours go to build/bench.json. README.md in this folder says how a program reports.
"""

import argparse
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

from figures import FIGURES

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
FEED = "records.json"
# Programs that nothing is judged by sit out the rounds after these.
ROUNDS_OF_UNJUDGED = 3
SECONDS_PER_PROGRAM = 900


def programs(build_directory):
    """The commands to run, by a name for messages: the built programs, then the scripts."""
    found = {}
    for path in sorted((build_directory / "benchmarks").glob("bench_*")):
        if path.is_file() and os.access(path, os.X_OK):
            found[path.name] = [str(path)]
    node = shutil.which("node")
    if node:
        found["v8.mjs"] = [node, str(HERE / "peers/v8.mjs")]
    python = python_with("sqlalchemy")
    if python:
        found["sqlalchemy_orm.py"] = [python, str(HERE / "peers/sqlalchemy_orm.py"),
                                      "--feed", FEED]
    return found


def python_with(module):
    """The first Python here that has the module: Debian's packages serve only Debian's Python."""
    for python in (sys.executable, "/usr/bin/python3"):
        if os.path.exists(python):
            check = subprocess.run([python, "-c", f"import {module}"], capture_output=True)
            if check.returncode == 0:
                return python
    return None


class Measurements:
    """The figures of each row and side, one for each round in which it ran."""

    def __init__(self, figures):
        self._figures = {figure.id: figure for figure in figures}
        self._values = {}
        self.failures = []

    def run(self, name, command, directory):
        """Runs a program once. Returns the (id, side) pairs that it has measured."""
        # Ids are letters and hyphens, the same in every dialect of regular expressions.
        pattern = "^(" + "|".join(self._figures) + ")/"
        try:
            done = subprocess.run(
                command + ["--benchmark_format=json", "--benchmark_min_time=0.5",
                           "--benchmark_filter=" + pattern],
                cwd=directory, capture_output=True, text=True, timeout=SECONDS_PER_PROGRAM)
        except subprocess.TimeoutExpired:
            self.failures.append(f"{name}: no end after {SECONDS_PER_PROGRAM} s")
            return []
        if done.returncode != 0:
            self.failures.append(f"{name}: exit status {done.returncode}: {last_line(done.stderr)}")
            return []
        output = done.stdout.strip()
        if not output and "Failed to match any benchmarks" in done.stderr:
            return []
        try:
            entries = json.loads(output).get("benchmarks", [])
        except ValueError as error:
            self.failures.append(f"{name}: what it printed is no JSON: {error}")
            return []
        return [pair for entry in entries if (pair := self._add(name, entry))]

    def _add(self, name, entry):
        id, side = entry["name"].split("/")[:2]
        if entry.get("error_occurred"):
            self.failures.append(f"{name}: {id}/{side}: {entry.get('error_message')}")
            return None
        figure = self._figures[id]
        if figure.per_second is None:
            value = entry["figure"]
        else:
            value = figure.per_second / entry["items_per_second"]
        self._values.setdefault(id, {}).setdefault(side, []).append(value)
        return id, side

    def medians(self, id):
        return {side: statistics.median(values)
                for side, values in self._values.get(id, {}).items()}

    def spread(self, id, side):
        """Half the way from the least to the greatest figure, as a share of the median."""
        values = self._values[id][side]
        return (max(values) - min(values)) / 2 / statistics.median(values)


def last_line(text):
    lines = text.strip().splitlines()
    return lines[-1] if lines else "no message"


def is_judged(figures, id, side):
    """Whether a side takes part in a verdict."""
    figure = next(figure for figure in figures if figure.id == id)
    return side == "ours" or side in {reach.other_side() for reach in figure.reach}


def measure(figures, commands, rounds, directory):
    measurements = Measurements(figures)
    shows_progress = sys.stderr.isatty()
    judged = {}
    for number in range(rounds):
        # Forth and back, so that no program always follows the same one.
        names = list(commands) if number % 2 == 0 else list(reversed(commands))
        for name in names:
            if number > 0 and name not in judged:
                continue
            if number >= ROUNDS_OF_UNJUDGED and not judged[name]:
                continue
            if shows_progress:
                print(f"\rround {number + 1} of {rounds}: {name:<30}", end="", file=sys.stderr,
                      flush=True)
            measured = measurements.run(name, commands[name], directory)
            if number == 0 and measured:
                judged[name] = any(is_judged(figures, *pair) for pair in measured)
    if shows_progress:
        print("\r" + " " * 60 + "\r", end="", file=sys.stderr, flush=True)
    return measurements


def number_text(value):
    return f"{value:.0f}" if value >= 1000 else f"{value:.3g}"


def holds(reach, sides, measurements):
    """Whether a reach holds; None where it looks at a row that has not been measured."""
    if not hasattr(reach, "since"):
        return reach.holds(sides["ours"], sides)
    first = measurements.medians(reach.since)
    if "ours" not in first or reach.other_side() not in first:
        return None
    return reach.holds_since(sides, first)


def verdict(figure, sides, measurements):
    """"met", "not met", or why there is no verdict."""
    if "ours" not in sides:
        return "no figure of ours"
    for reach in figure.reach:
        other = reach.other_side()
        if other is not None and other not in sides:
            return f"no figure of {other}"
    held = [holds(reach, sides, measurements) for reach in figure.reach]
    if not held:
        return "-"
    if None in held:
        return "no figure of the row before"
    return "met" if all(held) else "not met"


def print_table(figures, measurements):
    rows = [("id", "unit", "ours", "limit", "ratio", "reach", "", "peers (times ours)")]
    for figure in figures:
        sides = measurements.medians(figure.id)
        ours, limit = sides.get("ours"), sides.get("limit")

        def cell(side):
            if side not in sides:
                return "-"
            return f"{number_text(sides[side])} ±{measurements.spread(figure.id, side):.0%}"

        def peer(side):
            text = f"{side} {number_text(sides[side])}"
            return text if not ours else f"{text} ({sides[side] / ours:.1f}×)"

        ratio = f"{ours / limit:.2f}" if ours and limit else "-"
        peers = sorted((side for side in sides if side not in ("ours", "limit")), key=sides.get)
        rows.append((figure.id, figure.unit, cell("ours"), cell("limit"), ratio,
                     ", ".join(reach.text() for reach in figure.reach),
                     verdict(figure, sides, measurements), " · ".join(peer(side) for side in peers)))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    for row in rows:
        print("  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip())


def rows_for_file(figures, measurements):
    rows = []
    for figure in figures:
        sides = measurements.medians(figure.id)
        if "ours" not in sides:
            continue
        rows.append({
            "id": figure.id,
            "work": figure.work,
            "unit": figure.unit,
            "ours": sides["ours"],
            "limit": sides.get("limit"),
            "peers": {side: value for side, value in sorted(sides.items())
                      if side not in ("ours", "limit")},
        })
    return rows


def write_file(path, figures, rows):
    """Writes the rows; those of figures that were not asked for stay as they were."""
    measured = {figure.id for figure in figures}
    by_id = {row["id"]: row for row in rows}
    if path.exists():
        for row in json.loads(path.read_text(encoding="utf-8")):
            if row["id"] not in measured:
                by_id[row["id"]] = row
    ordered = [by_id[figure.id] for figure in FIGURES if figure.id in by_id]
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps(ordered, indent=2, ensure_ascii=False) + "\n", encoding="utf-8")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build-dir", required=True, type=Path,
                        help="a Release build with JN_BUILD_BENCHMARKS=ON")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--output", type=Path, default=ROOT / "build/bench.json")
    parser.add_argument("filter", nargs="?", default="",
                        help="a regular expression; only ids in which it is found are measured")
    arguments = parser.parse_args()
    if arguments.rounds < 1:
        parser.error("at least one round is needed")
    return arguments


def main():
    arguments = parse_arguments()
    figures = [figure for figure in FIGURES if re.search(arguments.filter, figure.id)]
    if not figures:
        sys.exit(f"no id matches {arguments.filter!r}; there are: "
                 + ", ".join(figure.id for figure in FIGURES))
    commands = programs(arguments.build_dir.resolve())
    writer = arguments.build_dir.resolve() / "benchmarks/write_feed"
    if not writer.exists():
        sys.exit(f"no benchmarks are built in {arguments.build_dir}; "
                 "configure it with -DJN_BUILD_BENCHMARKS=ON")

    directory = ROOT / "build/bench-tmp"
    directory.mkdir(parents=True, exist_ok=True)
    try:
        subprocess.run([str(writer), FEED], cwd=directory, check=True)
        measurements = measure(figures, commands, arguments.rounds, directory)
    finally:
        shutil.rmtree(directory, ignore_errors=True)

    print(f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.1f} at the end, "
          f"{arguments.rounds} rounds; medians, ± half the spread")
    print_table(figures, measurements)
    rows = rows_for_file(figures, measurements)
    write_file(arguments.output, figures, rows)
    missing = [figure.id for figure in figures if figure.id not in {row["id"] for row in rows}]
    if missing:
        print(f"no figure of ours, so left out of {arguments.output.name}: " + ", ".join(missing))
    for failure in dict.fromkeys(measurements.failures):
        print("failed: " + failure, file=sys.stderr)
    return 1 if measurements.failures else 0


if __name__ == "__main__":
    sys.exit(main())
