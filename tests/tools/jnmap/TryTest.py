"""jnmap try: what became of every value of every record."""

import json
import unittest

from jnmap import CATALOG, PRODUCTS, JnmapCase
from models import entity

THING = [("name", "String"), ("count", "Integer 32"), ("price", "Double"), ("born", "Date"),
         ("open", "Boolean"), ("photo", "Binary")]


class Try(JnmapCase):
    def setUp(self):
        super().setUp()
        self.model = self.write_model(entity("Thing", THING, [
            ("$title", "trim|name"), ("$tags", "applyTags:"), ("%meta.$born", "born"),
            ("$bad", "nmae"), ("%meta.$worse", "nothing")], cls="Thing"))

    def events(self, record, *arguments, status=0):
        """What became of the values of one record, by path."""
        output = self.runs("try", "--json", *arguments, self.model, "Thing", self.write_json([record]),
                           status=status)
        line, = output.splitlines()
        return {".".join(event["path"]): event for event in json.loads(line)["events"]}

    def test_every_value_is_told_where_it_went(self):
        found = self.events({"name": "Ann", "count": 3, "meta": {"born": "1990-05-01T00:00:00.250Z",
                                                               "extra": 1},
                             "tags": ["a"], "more": {"x": 1}, "open": None})
        self.assertEqual({path: event["kind"] for path, event in found.items()},
                         {"name": "stored", "count": "stored", "meta.born": "stored",
                          "meta.extra": "ignored", "tags": "sent", "more": "ignored",
                          "open": "cleared"})
        self.assertEqual(found["name"]["destination"], "name")
        self.assertEqual(found["meta.born"]["stored"], "1990-05-01T00:00:00.250Z")
        self.assertEqual(found["meta.born"]["conversion"], "date from text")
        self.assertEqual(found["tags"]["destination"], "applyTags:")
        self.assertEqual(found["tags"]["stored"], ["a"])
        self.assertEqual(found["more"]["value"], {"x": 1})

    def test_conversions_are_named_and_losses_are_problems(self):
        found = self.events({"name": 42, "count": "12abc", "price": "3.75"}, status=1)
        self.assertEqual((found["name"]["stored"], found["name"]["conversion"], found["name"]["lossy"]),
                         ("42", "text from number", False))
        self.assertEqual((found["count"]["stored"], found["count"]["lossy"]), (12, True))
        self.assertEqual((found["price"]["stored"], found["price"]["lossy"]), (3, True))
        self.assertFalse(self.events({"count": "12"})["count"]["lossy"])

    def test_refusals_have_the_words_of_the_log(self):
        found = self.events({"count": ["1"], "born": {"x": 1}}, status=1)
        self.assertEqual(found["count"]["kind"], "refused")
        self.assertIn("unparsable value class __NSArrayI when mapping number to Thing.count",
                      found["count"]["reason"])
        self.assertIn("when mapping date to Thing.born", found["born"]["reason"])

    def test_text_that_is_no_date_is_a_problem(self):
        found = self.events({"born": "yesterday"}, status=1)
        self.assertEqual(found["born"]["kind"], "cleared")

    def test_a_value_whose_rule_was_dropped_says_so(self):
        found = self.events({"bad": 1, "meta": {"worse": 2}, "photo": "x", "other": 3})
        self.assertEqual(found["bad"]["kind"], "ignored")
        self.assertIn("Undefined attribute 'nmae' for entity 'Thing'", found["bad"]["reason"])
        self.assertIn("Undefined attribute 'nothing'", found["meta.worse"]["reason"])
        self.assertIn("Unknown type 1000 for Thing.photo", found["photo"]["reason"])
        self.assertNotIn("Undefined", found["other"]["reason"])

    def test_filters_pass_values_on_unless_they_are_known_to_be_missing(self):
        self.assertEqual(self.events({"title": " Ann "})["title"]["stored"], " Ann ")
        self.assertEqual(self.events({"title": " Ann "}, "--filters=trim")["title"]["stored"], " Ann ")
        found = self.events({"title": " Ann "}, "--filters=shout", status=1)
        self.assertEqual((found["title"]["kind"], found["title"]["stored"]), ("cleared", None))

    def test_messages_are_sent_unless_they_are_known_to_be_missing(self):
        self.assertEqual(self.events({"tags": 1}, "--messages=applyTags:")["tags"]["kind"], "sent")
        self.assertEqual(self.events({"tags": 1}, "--messages=other:")["tags"]["kind"], "ignored")

    def test_text_for_people_says_the_same(self):
        output = self.runs("try", self.model, "Thing", self.write_json(
            [{"title": "Ann", "count": "12abc", "tags": [1, 2], "x": {"a": 1}}, {}]), status=1)
        self.assertEqual(output, """\
record 1
  stored   title  → name        "Ann"         filter trim not run
  stored   count  → count       "12abc" → 12  number from text; loses something
  sent     tags   → applyTags:  [2 elements]
  ignored  x                    {1 key}       no rule has its key
record 2
2 records: 2 stored, 0 cleared, 1 sent, 0 refused, 1 ignored; 1 of the stored lose something
Filters of the application, which pass values on unchanged here: trim
Messages to classes of the application, which do nothing here: applyTags:
""")

    def test_only_what_is_asked_for_is_printed(self):
        path = self.write_json([{"name": "Ann"}, {"name": "Bea", "x": 1}])
        output = self.runs("try", "--only=ignored,refused", self.model, "Thing", path)
        self.assertNotIn("record 1\n", output)
        self.assertIn("record 2\n  ignored  x", output)
        self.assertNotIn("Bea", output)
        self.assertIn("2 records: 2 stored", output)

    def test_what_a_save_would_refuse_is_told(self):
        model = self.write_model(entity("Thing", [("code", "String", {"optional": "NO"}),
                                                  ("n", "Integer 16", {"maxValueString": "5"})]))
        output = self.runs("try", model, "Thing", self.write_json([{"n": 6}, {"code": "a", "n": 5}]))
        first, second = output.split("record 2\n")
        self.assertEqual(first.count("  unsaved  "), 2)
        self.assertIn("code", first)
        self.assertNotIn("unsaved", second)

    def test_lists_records_and_lists_in_objects_are_read(self):
        record = {"name": "Ann"}
        for value, arguments, count in [([record, record], [], 2), (record, [], 1), ([], [], 0),
                                        ({"things": [record, record], "n": 1}, ["--at=things"], 2),
                                        ({"thing": record}, ["--at", "thing"], 1)]:
            output = self.runs("try", *arguments, self.model, "Thing", self.write_json(value))
            self.assertIn(f"{count} record", output.splitlines()[-1])
        self.assertIn("no key 'x'", self.fails("try", "--at=x", self.model, "Thing", self.write_json({})))

    def test_standard_input_is_read(self):
        output = self.runs("try", self.model, "Thing", "-", stdin=b'{"name": "Ann"}')
        self.assertIn('"Ann"', output)

    def test_what_is_no_record_is_told_and_the_rest_is_mapped(self):
        output = self.runs("try", self.model, "Thing", self.write_json([1, {"name": "Ann"}, None]), status=1)
        self.assertIn("record 1\n  1 is no record", output)
        self.assertIn('"Ann"', output)
        self.assertIn("2 elements no record", output)

    def test_an_abstract_entity_has_no_objects(self):
        self.assertIn("abstract", self.fails("try", CATALOG, "CatalogItem", PRODUCTS))

    def test_the_records_of_the_example_are_mapped(self):
        output = self.runs("try", "--at=products", CATALOG, "Product", PRODUCTS)
        self.assertIn("4 records:", output)
        self.assertIn(" 0 refused", output)

    def test_a_value_of_a_million_characters_is_cut_short(self):
        output = self.runs("try", self.model, "Thing", self.write_json({"name": "ä" * 1_000_000}))
        self.assertLess(len(output), 1000)
        self.assertIn("ääää…", output)

    def test_a_hundred_thousand_records_are_read_one_by_one(self):
        text = "[" + ",".join('{"name": "n%d", "count": %d}' % (i, i) for i in range(100_000)) + "]"
        path = self.write("huge.json", text)
        output = self.runs("try", "--only=refused", self.model, "Thing", path)
        self.assertEqual(output.splitlines()[0],
                         "100000 records: 200000 stored, 0 cleared, 0 sent, 0 refused, 0 ignored")
        output = self.runs("try", "--limit=3", self.model, "Thing", path)
        self.assertIn("3 records: 6 stored", output)
        self.assertIn("0 records: 0 stored", self.runs("try", "--limit=0", self.model, "Thing", path))

    def test_a_file_that_is_too_long_is_refused(self):
        path = self.write_json([{"name": "x" * 1000}])
        size = path.stat().st_size
        self.runs("try", f"--max-size={size}", self.model, "Thing", path)
        self.assertIn(f"longer than {size - 1} bytes",
                      self.fails("try", f"--max-size={size - 1}", self.model, "Thing", path))

    def test_json_that_is_nested_too_deep_is_refused(self):
        for text in ("[" * 100_000, '{"a":' * 5000 + "1" + "}" * 5000, "[" + '{"a":' * 1001):
            errors = self.fails("try", self.model, "Thing", self.write("deep.json", text))
            self.assertRegex(errors, r"deep\.json: .*(deep|nest|level)")
        # A list, a record and what is in it.
        for depth, status in [(998, 0), (999, 2)]:
            text = "[" + '{"a":' * depth + "[]" + "}" * depth + "]"
            path = self.write("x.json", text)
            self.assertEqual(self.run_jnmap("try", self.model, "Thing", path)[0], status, depth)
            # A line of output has levels of its own.
            found, output, _ = self.run_jnmap("try", "--json", self.model, "Thing", path)
            self.assertEqual(found, status, depth)
            if status == 0:
                self.assertEqual(json.loads(output)["events"][0]["path"], ["a"])

    def test_input_that_is_no_json_is_refused(self):
        for name, content in [("cut.json", '[{"name": "A"'), ("empty.json", ""), ("blank.json", " \n"),
                              ("binary.json", bytes(range(256))), ("xml.json", "<a/>"),
                              ("latin.json", b'[{"name": "\xe4"}]')]:
            status, output, errors = self.run_jnmap("try", self.model, "Thing", self.write(name, content))
            self.assertEqual(status, 2, name)
            self.assertIn(name, errors)
        self.assertIn("missing.json", self.fails("try", self.model, "Thing", "missing.json"))
        self.assertIn("directory", self.fails("try", self.model, "Thing", self.folder))


if __name__ == "__main__":
    unittest.main()
