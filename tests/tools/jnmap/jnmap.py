"""What the tests of jnmap share: running it as a user does, and models to run it on. The environment
names the program: JNMAP=/path/to/jnmap."""

import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from models import HUNDRED, model

JNMAP = os.environ["JNMAP"]
ROOT = Path(__file__).resolve().parents[3]
CATALOG = ROOT / "examples" / "catalog" / "Catalog.xcdatamodel"
PRODUCTS = ROOT / "tests" / "catalog" / "products.json"


class JnmapCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = Path(holder.name)

    def run_jnmap(self, *arguments, stdin=None, environment=None, timeout=120):
        done = subprocess.run([JNMAP, *map(str, arguments)], input=stdin, capture_output=True,
                              timeout=timeout, cwd=self.folder,
                              env={**os.environ, **(environment or {})})
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def runs(self, *arguments, status=0, **more):
        """What it prints; it must end with that status and have nothing to complain about."""
        found, output, errors = self.run_jnmap(*arguments, **more)
        self.assertEqual(errors, "")
        self.assertEqual(found, status, output)
        return output

    def fails(self, *arguments, **more):
        """The one line in which it says what is wrong; it must end with 2 and print nothing else."""
        status, output, errors = self.run_jnmap(*arguments, **more)
        self.assertEqual(status, 2, output + errors)
        self.assertEqual(output, "")
        self.assertRegex(errors, r"\Ajnmap[^\n]*\n\Z")
        return errors

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def write_model(self, *entities, name="M.xcdatamodel/contents"):
        path = self.write(name, model(*entities))
        return path.parent if path.name == "contents" else path

    def write_json(self, value, name="records.json"):
        return self.write(name, json.dumps(value))

    def lint(self, *arguments, status):
        return json.loads(self.runs("lint", "--json", *arguments, status=status))

    def hundred_entities(self):
        return self.write_model(*HUNDRED)
