#!/usr/bin/env python3
"""Draws the charts of docs/performance.md from the page's own tables, with gnuplot, into docs/images/.
Run it when a figure there has changed."""

import re
import subprocess
import tempfile
from pathlib import Path

PAGE = Path(__file__).resolve().parent.parent / "docs" / "performance.md"

# A chart: its file, the heading above its table, the rows (all, or those that begin so), the columns.
CHARTS = [
    ("ratios-store.svg", "Records and the store", "", ["ratio"], "times the limit"),
    ("ratios-collections.svg", "Collections", "", ["ratio"], "times the limit"),
    ("draws.svg", "Lists and samples", "draw", ["of 1,000", "of 1,000,000"], "ns for each object drawn"),
]
COLORS = ["#3949ab", "#90a4ae"]


def table(heading):
    """The rows of the first table below the heading, as dictionaries by the table's head."""
    section = PAGE.read_text().split(f"## {heading}\n", 1)[1].split("\n## ", 1)[0]
    rows = [[cell.strip() for cell in line.strip("|").split("|")]
            for line in section.splitlines() if line.startswith("|")]
    return [dict(zip(rows[0], row)) for row in rows[2:]]


def draw(name, heading, beginning, columns, unit):
    rows = [row for row in table(heading) if row["figure"].startswith(beginning)]
    lines = []
    for number, row in enumerate(rows):
        label = row["figure"].removeprefix(beginning).removeprefix(", by ") or "ours"
        values = [re.match(r"[\d.]+", row[column])[0] for column in columns]
        lines.append(f'"{label}" {len(rows) - number} {" ".join(values)}')
    thickness = 0.7 / len(columns)
    bars, labels = [], []
    for number, column in enumerate(columns):
        place = f"($2+{(len(columns) - 1) / 2 * thickness - number * thickness})"
        title = f'title "{column}"' if len(columns) > 1 else "notitle"
        field = number + 3
        bars.append(f'data using ({"$" + str(field)}/2):{place}:({"$" + str(field)}/2):({thickness / 2.2})'
                    f'{":ytic(1)" if number == 0 else ""} with boxxyerror fs solid noborder lc rgb "{COLORS[number]}" {title}')
        labels.append(f'data using {field}:{place}:{field} with labels left offset 0.5,0 notitle')
    most = max(float(value) for line in lines for value in line.split()[-len(columns):])
    line_at_one = 'set arrow from 1,graph 0 to 1,graph 1 nohead front lc rgb "#c62828" dt 2' if unit.startswith("times") else ""
    script = f"""
set terminal svg size 760,{110 + 34 * len(rows) * len(columns)} font "sans-serif,14" background "white"
set output "{PAGE.parent / 'images' / name}"
set xrange [0:{most * 1.15}]
set yrange [0.4:{len(rows) + 0.6}]
set xlabel "{unit}"
set border 3
set tics nomirror out
set key {'outside top center horizontal' if len(columns) > 1 else 'off'}
{line_at_one}
plot {', '.join(bars + labels)}
"""
    with tempfile.NamedTemporaryFile("w", suffix=".data") as data:
        data.write("\n".join(lines) + "\n")
        data.flush()
        script = f'data = "{data.name}"\n' + script
        subprocess.run(["gnuplot"], input=script, text=True, check=True)


if __name__ == "__main__":
    for chart in CHARTS:
        draw(*chart)
