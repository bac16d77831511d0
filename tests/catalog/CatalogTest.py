"""The example application as a user meets it: what it prints, what it stores, what it refuses.
The environment names the program: CATALOG=/path/to/catalog."""

import json
import os
import re
import sqlite3
import subprocess
import tempfile
import unittest
from pathlib import Path

CATALOG = os.environ["CATALOG"]
PRODUCTS = Path(__file__).resolve().parent / "products.json"


class Catalog(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = Path(holder.name)
        self.store = self.folder / "made" / "catalog.sqlite"

    def run_catalog(self, *arguments):
        done = subprocess.run([CATALOG, "--store", str(self.store), *map(str, arguments)],
                              capture_output=True, text=True, timeout=120, cwd=self.folder)
        return done.returncode, done.stdout, done.stderr

    def imports(self, *arguments):
        status, output, errors = self.run_catalog(*arguments)
        self.assertEqual(status, 0, errors)
        self.assertEqual(errors, "")
        return output

    def write(self, text):
        path = self.folder / "feed.json"
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def write_records(self, *records):
        return self.write(json.dumps(records))

    def row(self, code):
        """What the store's file holds of the object with that code, by attribute name."""
        with sqlite3.connect(f"file:{self.store}?mode=ro", uri=True) as database:
            for (table,) in database.execute("SELECT name FROM sqlite_master WHERE type = 'table'"):
                columns = [column[1] for column in database.execute(f'PRAGMA table_info("{table}")')]
                if "code" not in columns:
                    continue
                found = database.execute(f'SELECT * FROM "{table}" WHERE code = ?', [code]).fetchall()
                if found:
                    self.assertEqual(len(found), 1, f"{code} is there twice")
                    return dict(zip(columns, found[0]))
        return None

    def content(self):
        """Every byte of the store, whatever files it consists of."""
        return {path.name: path.read_bytes() for path in self.store.parent.glob("*")
                if not path.name.endswith("-shm")}


class OwnRecords(Catalog):
    def test_every_record_becomes_one_object(self):
        output = self.imports(PRODUCTS, "Product")
        self.assertIn("Product: 4 new, 0 updated, 0 without a code", output)
        self.assertTrue(output.rstrip().endswith(
            "The store holds 0 Country, 0 Subdivision, 0 Language, 4 Product."), output)

    def test_keys_go_where_the_rules_say(self):
        self.imports(PRODUCTS, "Product")
        lamp = self.row("LMP-1")
        self.assertEqual(lamp["name"], "Lamp")  # trimmed, from another key
        self.assertEqual(lamp["details"], "Gives light.")  # "description" is no attribute's name
        self.assertEqual(lamp["price"], 19.25)
        self.assertEqual(lamp["width"], 12.5)  # nested
        self.assertEqual(lamp["barcode"], "4006381333931")  # a number, nested, as text
        self.assertEqual(lamp["tagList"], "home, light")  # by a message to the object
        self.assertEqual(lamp["reviewCount"], 2)
        self.assertEqual(lamp["inStock"], 1)
        # A date of the record is one instant, whatever the store counts from.
        stool = self.row("STL-2")
        self.assertAlmostEqual(stool["createdAt"] - lamp["createdAt"], 86400.25, places=6)

    def test_missing_keys_leave_attributes_empty(self):
        self.imports(PRODUCTS, "Product")
        bare = self.row("BARE-3")
        self.assertEqual(bare["name"], "Only a name")
        for attribute in ("details", "width", "barcode", "createdAt", "tagList", "brand"):
            self.assertIsNone(bare[attribute], attribute)

    def test_a_second_run_updates_and_does_not_duplicate(self):
        self.imports(PRODUCTS, "Product")
        records = json.loads(PRODUCTS.read_text())["products"]
        records[0]["price"] = 20
        output = self.imports(self.write(json.dumps(records)), "Product")
        self.assertIn("Product: 0 new, 4 updated, 0 without a code", output)
        self.assertEqual(self.row("LMP-1")["price"], 20)

    def test_the_same_record_twice_in_one_file_is_one_object(self):
        record = {"sku": "A", "title": "first"}
        output = self.imports(self.write_records(record, {**record, "title": "second"}), "Product")
        self.assertIn("Product: 1 new, 1 updated, 0 without a code", output)
        self.assertEqual(self.row("A")["name"], "second")

    def test_records_without_a_code_are_counted(self):
        output = self.imports(self.write_records({"title": "no code"}, {"sku": None}, {"sku": "A"}),
                              "Product")
        self.assertIn("Product: 1 new, 0 updated, 2 without a code", output)

    def test_refused_values_are_listed_and_the_rest_of_the_record_is_kept(self):
        output = self.imports(self.write_records({"sku": "A", "title": "kept", "price": ["1"]}),
                              "Product")
        self.assertRegex(output, r"1 values? refused")
        self.assertIn("price", output)
        self.assertEqual(self.row("A")["name"], "kept")

    def test_a_list_and_an_object_with_one_list_are_the_same(self):
        for text in ('[{"sku": "A"}]', '{"total": 1, "items": [{"sku": "A"}], "tags": ["x"]}'):
            self.assertIn("1 Product.", self.imports(self.write(text), "Product"))

    def test_an_empty_list_imports_nothing(self):
        self.assertIn("0 new, 0 updated", self.imports(self.write("[]"), "Product"))

    def test_text_of_every_kind_survives(self):
        name = 'quotes " \' \\ and ; DROP TABLE x; -- 日本語 🇩🇪 e\u0301'
        self.imports(self.write_records({"sku": name, "title": name}), "Product")
        self.assertEqual(self.row(name)["name"], name)

    def test_a_large_file_is_merged_in_slices(self):
        records = [{"sku": f"P{i}", "title": "x" * 20, "price": i / 8} for i in range(20000)]
        output = self.imports(self.write(json.dumps(records)), "Product")
        self.assertIn("20000 Product.", output)


class Refusals(Catalog):
    def assert_refused(self, file, entity, *expected):
        """One clear line, a status that says so, and a store that was not touched."""
        self.imports(PRODUCTS, "Product")
        before = self.content()
        status, output, errors = self.run_catalog(file, entity)
        self.assertEqual(status, 1, output)
        self.assertEqual(errors.count("\n"), 1, errors)
        for text in expected:
            self.assertIn(text, errors)
        self.assertEqual(self.content(), before)

    def test_a_file_that_is_missing(self):
        self.assert_refused(self.folder / "gone.json", "Product", "gone.json", "No such file")

    def test_a_folder(self):
        self.assert_refused(self.folder, "Product", str(self.folder))

    def test_a_file_that_is_not_json(self):
        self.assert_refused(self.write("sku,title\nA,B\n"), "Product", "feed.json", "line 1")

    def test_an_empty_file(self):
        self.assert_refused(self.write(""), "Product", "feed.json")

    def test_a_file_of_zeros(self):
        self.assert_refused(self.write(b"\0" * 4096), "Product", "feed.json")

    def test_a_file_cut_in_half(self):
        whole = PRODUCTS.read_bytes()
        self.assert_refused(self.write(whole[:len(whole) // 2]), "Product", "feed.json", "line ")

    def test_a_file_cut_at_every_byte(self):
        whole = json.dumps([{"sku": "A", "title": "é", "price": 1.5e3, "tags": [True, None]}],
                           ensure_ascii=False).encode()
        for length in range(len(whole)):
            status, _, errors = self.run_catalog(self.write(whole[:length]), "Product")
            self.assertEqual((status, errors.count("\n")), (1, 1), whole[:length])

    def test_something_else_than_a_list_of_records(self):
        for text in ("3", '"records"', "null", "[1, 2]", '[{"sku": "A"}, null]', "{}",
                     '{"a": [{"sku": "A"}], "b": [{"sku": "B"}]}'):
            with self.subTest(text):
                self.assert_refused(self.write(text), "Product", "list of records")

    def test_an_entity_that_the_model_does_not_have(self):
        self.assert_refused(PRODUCTS, "Planet", "Planet")

    def test_an_abstract_entity(self):
        self.assert_refused(PRODUCTS, "CatalogItem", "CatalogItem")

    def test_a_store_that_is_something_else(self):
        self.store.parent.mkdir()
        self.store.write_text("This is a letter, not a database. " * 40)
        before = self.content()
        status, _, errors = self.run_catalog(PRODUCTS, "Product")
        self.assertEqual((status, errors.count("\n")), (1, 1), errors)
        self.assertEqual(self.content(), before)

    def test_a_store_that_cannot_be_made(self):
        self.store = Path("/dev/null/catalog.sqlite")
        status, _, errors = self.run_catalog(PRODUCTS, "Product")
        self.assertEqual((status, errors.count("\n")), (1, 1), errors)

    def test_arguments_that_make_no_sense(self):
        for arguments in (["one.json"], ["a.json", "Product", "more"]):
            status, _, errors = self.run_catalog(*arguments)
            self.assertEqual(status, 2)
            self.assertIn("usage:", errors)


@unittest.skipUnless(Path("/usr/share/iso-codes/json/iso_3166-1.json").exists(),
                     "the package iso-codes is not installed")
class Lists(Catalog):
    def test_the_lists_are_imported_and_then_updated(self):
        first = self.imports()
        second = self.imports()
        self.assertEqual(first.splitlines()[-1], second.splitlines()[-1])
        self.assertRegex(first, r"Country: \d+ new, 0 updated, 0 without a code")
        self.assertRegex(second, r"Country: 0 new, \d+ updated, 0 without a code")
        self.assertRegex(first, r"\d{5} records in [\d.]+ s, \d+ records per second")
        self.assertIn("0 values refused", first)
        self.assertIn("largest code: 894", first)
        self.assertGreater(int(re.search(r"(\d+) Language", first.splitlines()[-1])[1]), 7000)
        self.assertNotIn("\r", first)  # plain lines where there is no terminal

        germany = self.row("DE")
        self.assertEqual((germany["name"], germany["alpha3"], germany["numericCode"]),
                         ("Germany", "DEU", 276))
        self.assertEqual(self.row("FR-IDF")["countryCode"], "FR")
        # Entities of one family share a table, so a column of that name may be another entity's.
        self.assertIn("living", self.row("deu").values())


if __name__ == "__main__":
    unittest.main()
