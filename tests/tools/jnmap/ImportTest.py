"""jnmap import: records become objects of a store."""

import json
import os
import pty
import re
import signal
import sqlite3
import subprocess
import time
import unittest

from jnmap import JNMAP, JnmapCase
from models import entity

CITY = [("code", "String"), ("name", "String", {"optional": "NO"}), ("people", "Integer 64")]


class Import(JnmapCase):
    def setUp(self):
        super().setUp()
        self.model = self.write_model(entity("City", CITY, [("%meta.$count", "people")]),
                                      entity("Ruled", CITY, [("$tags", "applyTags:"),
                                                             ("$title", "trim|name")], cls="Ruled"),
                                      entity("Shape", CITY, abstract=True))
        self.store = self.folder / "cities.sqlite"

    def imports(self, records, *arguments, status=0, name="City"):
        output = self.runs("import", "--json", *arguments, self.model, name,
                           self.write_json(records), self.store, status=status)
        return json.loads(output)

    def cities(self):
        """What the store holds, read by another library."""
        with sqlite3.connect(self.store) as database:
            tables = [name for name, in database.execute(
                "SELECT name FROM sqlite_master WHERE type = 'table'") if "City" in name]
            self.assertEqual(len(tables), 1, tables)
            rows = [dict(zip([column[0] for column in cursor.description], row))
                    for cursor in [database.execute(f"SELECT * FROM {tables[0]}")]
                    for row in cursor]
        return sorted(tuple(next(value for column, value in row.items() if key in column)
                            for key in ("code", "name", "people")) for row in rows)

    def test_records_become_objects_and_find_them_again(self):
        first = self.imports([{"code": "A", "name": "Aa"}, {"code": "B", "name": "Bb"}], "--key=code")
        self.assertEqual((first["inserted"], first["recordsDone"]), (2, 2))
        second = self.imports([{"code": "B", "meta": {"count": "7"}}, {"code": "A", "name": "Aa"}],
                              "--key=code")
        self.assertEqual((second["inserted"], second["updated"], second["unchanged"]), (0, 1, 1))
        self.assertEqual(self.cities(), [("A", "Aa", None), ("B", "Bb", 7)])

    def test_without_a_key_every_record_is_a_new_object(self):
        for _ in range(2):
            self.assertEqual(self.imports([{"name": "Aa"}])["inserted"], 1)
        self.assertEqual(len(self.cities()), 2)

    def test_refused_records_and_duplicates_are_told(self):
        output = self.runs("import", "--key=code", self.model, "City", self.write_json(
            [{"code": "A", "name": "Aa"}, 5, {"code": "C"}, {"code": "A", "name": "again"}]),
            self.store, status=1)
        self.assertIn("record 2  refused  An entry of the list is no dictionary.\n", output)
        self.assertRegex(output, r"record 3  refused  .*name")
        self.assertIn("record 4  duplicate  of record 1\n", output)
        self.assertEqual(output.splitlines()[-1], "1 inserted, 1 duplicate, 2 refused")
        self.assertEqual(self.cities(), [("A", "again", None)])

    def test_all_or_nothing_writes_nothing_when_a_record_is_refused(self):
        errors = self.fails("import", "--key=code", "--all-or-nothing", "--chunk=1", self.model,
                            "City", self.write_json([{"code": "A", "name": "Aa"}, {"code": "B"}]),
                            self.store)
        self.assertRegex(errors, r"^jnmap: record 2: .*; nothing is written\n$")
        self.assertEqual(self.cities(), [])

    def test_an_import_that_stopped_goes_on_where_it_was(self):
        records = [{"code": str(i), "name": "n"} for i in range(10)]
        broken = [*records[:6], {"code": "6"}, *records[7:]]
        errors = self.fails("import", "--key=code", "--stop", "--chunk=2", self.model, "City",
                            self.write_json(broken), self.store)
        self.assertRegex(errors, r"^jnmap: record 7: .*; 6 records are done, --from=6 goes on")
        self.assertEqual(len(self.cities()), 6)
        self.assertEqual(self.imports(records, "--key=code", "--from=6")["inserted"], 4)
        self.assertEqual(len(self.cities()), 10)

    def test_absent_objects_are_deleted_when_asked(self):
        self.imports([{"code": "A", "name": "Aa"}, {"code": "B", "name": "Bb"}], "--key=code")
        self.assertEqual(self.imports([{"code": "B"}], "--key=code")["deleted"], 0)
        self.assertEqual(self.imports([{"code": "B"}], "--key=code", "--delete-absent")["deleted"], 1)
        kept = self.imports([{"name": "no code"}], "--key=code", "--delete-absent", status=1)
        self.assertTrue(kept["keptAbsentObjects"])
        self.assertEqual(self.cities(), [("B", "Bb", None)])

    def test_rules_of_the_application_are_no_silent_loss(self):
        file = self.write_json([{"code": "A", "title": " a ", "tags": [1]}])
        errors = self.fails("import", self.model, "Ruled", file, self.store)
        self.assertIn("rules of 'Ruled' need the application: ", errors)
        self.assertIn("applyTags:", errors)
        self.assertIn("filter trim", errors)
        self.assertFalse(self.store.exists())
        self.runs("import", "--without-application", self.model, "Ruled", file, self.store)

    def test_ready_made_filters_are_applied_where_the_application_has_them(self):
        model = self.write_model(entity("City", CITY, [("$title", "trim|name")]),
                                 name="R.xcdatamodel/contents")
        self.runs("import", "--ready-made-filters", model, "City",
                  self.write_json([{"code": "A", "title": " a "}]), self.store)
        self.assertEqual(self.cities(), [("A", "a", None)])

    def test_what_cannot_be_opened_or_read_says_so(self):
        file = self.write_json([{"code": "A", "name": "Aa"}])
        self.assertIn("has no entity", self.fails("import", self.model, "Nobody", file, self.store))
        self.assertIn("abstract", self.fails("import", self.model, "Shape", file, self.store))
        self.assertIn("unknown", self.fails("import", "--key=unknown", self.model, "City", file,
                                            self.store))
        self.fails("import", self.model, "City", self.write("cut.json", "[{"), self.store)
        self.fails("import", self.model, "City", file)
        self.fails("import", self.model, "City", file, self.folder / "no" / "such" / "folder.sqlite")
        damaged = self.write("damaged.sqlite", "this is no store, and never was one" * 100)
        self.fails("import", self.model, "City", file, damaged)
        self.assertTrue(damaged.read_text().startswith("this is no store"))

    def test_a_store_of_another_model_is_refused(self):
        self.imports([{"code": "A", "name": "Aa"}], "--key=code")
        other = self.write_model(entity("City", [("code", "String")]), name="O.xcdatamodel/contents")
        self.fails("import", other, "City", self.write_json([]), self.store)
        self.assertEqual(self.cities(), [("A", "Aa", None)])

    def many(self, count):
        return self.write_json([{"code": str(i), "name": "n" * 50} for i in range(count)])

    def test_a_terminal_shows_how_far_it_is(self):
        leader, follower = pty.openpty()
        subprocess.run([JNMAP, "import", "--key=code", "--chunk=100", self.model, "City",
                        self.many(300), self.store], stderr=follower, stdout=subprocess.PIPE,
                       check=True, timeout=120)
        os.close(follower)
        shown = b""
        try:
            while chunk := os.read(leader, 65536):
                shown += chunk
        except OSError:
            pass
        os.close(leader)
        self.assertEqual(re.findall(rb"(\d+) %  (\d+) of 300 records", shown),
                         [(b"33", b"100"), (b"66", b"200"), (b"100", b"300")])

    def test_an_interrupted_import_says_how_to_go_on(self):
        running = subprocess.Popen([JNMAP, "import", "--key=code", "--chunk=10", self.model, "City",
                                    self.many(100_000), self.store],
                                   stderr=subprocess.PIPE, stdout=subprocess.PIPE)
        while not self.store.exists():
            self.assertIsNone(running.poll())
            time.sleep(0.01)
        running.send_signal(signal.SIGINT)
        output, errors = running.communicate(timeout=120)
        if running.returncode == 0:
            return  # It was quicker.
        self.assertEqual((running.returncode, output), (2, b""))
        done = int(re.fullmatch(rb"jnmap: interrupted; (\d+) records are done, --from=\1 goes on "
                                rb"behind them\n", errors)[1])
        self.assertEqual(done % 10, 0)
        self.assertEqual(len(self.cities()), done)


if __name__ == "__main__":
    unittest.main()
