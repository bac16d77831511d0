"""The guide shows what jnmap prints. Run with --fix, it writes that into the page."""

import os
import re
import shlex
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from jnmap import JNMAP, ROOT

PAGE = ROOT / "docs" / "jnmap.md"
FILE = re.compile(r"<!-- file: (\S+) -->\n```\w+\n(.*?)```", re.DOTALL)
CONSOLE = re.compile(r"```console\n(.*?)```", re.DOTALL)


def printed(block, folder):
    """The block with what its commands print now."""
    result = ""
    for command in re.findall(r"(?m)^\$ (.*)$", block):
        program, *arguments = shlex.split(command)
        assert program == "jnmap", command
        done = subprocess.run([JNMAP, *arguments], capture_output=True, cwd=folder, timeout=60,
                              env={**os.environ, "NO_COLOR": "1"})
        result += f"$ {command}\n" + done.stdout.decode() + done.stderr.decode()
    return result


def page_as_it_should_be():
    text = PAGE.read_text()
    with tempfile.TemporaryDirectory() as folder:
        for name, content in FILE.findall(text):
            path = Path(folder) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(content)
        return CONSOLE.sub(lambda match: f"```console\n{printed(match[1], folder)}```", text)


class Guide(unittest.TestCase):
    maxDiff = None

    def test_the_guide_shows_what_is_printed(self):
        self.assertGreater(len(CONSOLE.findall(PAGE.read_text())), 4)
        self.assertEqual(PAGE.read_text(), page_as_it_should_be(), "GuideTest.py --fix mends it")

    def test_the_guide_names_every_kind_of_problem(self):
        source = (ROOT / "JNFoundation" / "mapping" / "MapInspection+Text.cpp").read_text()
        kinds = re.findall(r'case (?:Problem::)?Kind::\w+:\s+return "([a-z-]+)";', source)
        self.assertGreater(len(kinds), 10)
        page = PAGE.read_text()
        for kind in kinds:
            self.assertIn(f"`{kind}`", page)


if __name__ == "__main__":
    if sys.argv[1:] == ["--fix"]:
        PAGE.write_text(page_as_it_should_be())
    else:
        unittest.main()
