"""jnmap lint: what it finds in models, and how it says so."""

import re
import unittest

from jnmap import CATALOG, JnmapCase
from models import entity


class Lint(JnmapCase):
    def one(self, *rules, attributes=(("name", "String"), ("born", "Date")), arguments=(), status=1):
        """The problems of a model with one entity and these rules, notes left out."""
        path = self.write_model(entity("Thing", attributes, rules))
        return [problem for problem in self.lint(*arguments, path, status=status)["problems"]
                if problem["severity"] == "problem"]

    def test_a_sound_model_is_clean(self):
        output = self.runs("lint", CATALOG)
        self.assertEqual(output, "5 entities, 65 rules: 0 problems, 6 notes (--notes shows them)\n")

    def test_the_example_has_the_filters_and_messages_that_its_model_names(self):
        folder = CATALOG.parent
        filters = set(re.findall(r'operation\("(\w+):"', (folder / "CatalogFilter.cpp").read_text()))
        messages = {name for path in folder.glob("*.cpp") if path.name != "CatalogFilter.cpp"
                    for name in re.findall(r'operation\("(\w+:)"', path.read_text())}
        report = self.lint("--filters=" + ",".join(filters), "--messages=" + ",".join(messages), CATALOG,
                           status=0)
        self.assertEqual({problem["kind"] for problem in report["problems"]}, {"shadowed"})
        self.lint("--filters=" + ",".join(filters - {"trim"}), CATALOG, status=1)

    def test_notes_are_shown_when_asked_for_and_count_when_strict(self):
        output = self.runs("lint", "--notes", CATALOG)
        self.assertEqual(output.count(": note: "), 6)
        self.assertIn("whether Product takes applyTags: is not known here", output)
        self.assertIn('says "applyCode:" in its place', output)
        self.assertEqual(self.runs("lint", "--strict", CATALOG, status=1), output)

    def test_every_kind_of_problem_is_told_with_entity_key_and_reason(self):
        attributes = [("name", "String"), ("born", "Date"), ("photo", "Binary"),
                      ("price", "Decimal"), ("kind", "String")]
        rules = [
            ("$titel", "nmae"),  # unknown-attribute
            ("$picture", "photo"),  # unmappable-type
            ("$payload", "setA:b:"),  # unsuitable-message
            ("%meta.title", "name"),  # dropped-subkey
            ("$", "name"),  # no-form
            ("$upper", "shuot|name"),  # unknown-filter
            ("$place", "trim|name"),  # bypassed, by the next one
            ("%place.$city", "name"),
            ("$meta.$born", "born"),  # unreachable
            ("$ name", "name"),  # unlikely-key
            ("%empty", ""),  # empty-nested, a note
            ("$tags", "applyTags:"),  # unknown-message
            ("label", "kind"),  # no-form, a note
        ]
        below = entity("Book", [("title", "String")], [], parent="Thing", cls="Book")
        above = entity("Thing", attributes, rules + [("$title", "name")], cls="Thing")
        path = self.write_model(above, below)
        report = self.lint("--filters=trim,shout", "--messages=applyNames:", path, status=1)
        found = {(problem["entity"], problem["key"], problem["kind"], problem["severity"])
                 for problem in report["problems"]}
        self.assertEqual(found, {
            ("Thing", "$titel", "unknown-attribute", "problem"),
            ("Thing", "$picture", "unmappable-type", "problem"),
            ("Thing", "$photo", "unmappable-type", "note"),
            ("Thing", "$price", "unmappable-type", "note"),
            ("Thing", "$payload", "unsuitable-message", "problem"),
            ("Thing", "%meta.title", "dropped-subkey", "problem"),
            ("Thing", "$", "no-form", "problem"),
            ("Thing", "$upper", "unknown-filter", "problem"),
            ("Thing", "$place", "bypassed", "problem"),
            ("Thing", "$meta.$born", "unreachable", "problem"),
            ("Thing", "$ name", "unlikely-key", "problem"),
            ("Thing", "%empty", "empty-nested", "note"),
            ("Thing", "$tags", "unknown-message", "problem"),
            ("Thing", "label", "no-form", "note"),
            ("Book", "$title", "shadowed", "problem"),
        })
        self.assertEqual(report["problemCount"], 11)
        self.assertEqual(report["noteCount"], 4)
        by_key = {problem["key"]: problem for problem in report["problems"]}
        titel = by_key["$titel"]
        self.assertEqual(titel["reason"], "Undefined attribute 'nmae' for entity 'Thing'")
        self.assertEqual(titel["advice"], "did you mean 'name'?")
        self.assertEqual(titel["value"], "nmae")
        self.assertEqual(titel["origin"], {"kind": "user-info", "entity": "Thing"})
        self.assertTrue(titel["dropped"] and titel["logged"])
        self.assertFalse(by_key["$upper"]["dropped"] or by_key["$upper"]["logged"])
        self.assertEqual(by_key["$photo"]["origin"]["kind"], "automatic")
        self.assertEqual(by_key["$title"]["shadowedBy"], {"kind": "automatic", "entity": "Book"})
        text = self.runs("lint", "--filters=trim,shout", "--messages=applyNames:", path, status=1)
        for problem in report["problems"]:
            line = f"{problem['entity']}: {problem['key']} = "
            self.assertEqual(problem["severity"] == "problem", line in text, problem)
        self.assertIn("Thing: $titel = nmae (user info of Thing): problem: Undefined attribute 'nmae' "
                      "for entity 'Thing'; did you mean 'name'? [unknown-attribute]\n", text)

    def test_filters_are_looked_at_when_they_are_given(self):
        self.assertEqual(self.one(("$title", "trim|name"), status=0), [])
        self.assertEqual(self.one(("$title", "trim|name"), arguments=["--filters", "trim"], status=0), [])
        problem, = self.one(("$title", "trim|name"), arguments=["--filters="])
        self.assertEqual(problem["kind"], "unknown-filter")

    def test_a_message_to_an_entity_without_a_class_of_its_own_is_a_problem(self):
        problem, = self.one(("$tags", "applyTags:"))
        self.assertEqual(problem["kind"], "unknown-message")
        self.assertEqual(problem["reason"],
                         "Class for entity Thing does not implement selector applyTags:")

    def test_messages_to_classes_of_the_application_are_notes_until_they_are_given(self):
        path = self.write_model(entity("Thing", [], [("$tags", "applyTags:")], cls="Thing"))
        problem, = self.lint(path, status=0)["problems"]
        self.assertEqual((problem["kind"], problem["severity"]), ("unknown-class", "note"))
        self.assertEqual(self.lint("--messages=applyTags:", path, status=0)["problems"], [])
        problem, = self.lint("--messages=applyTag:", path, status=1)["problems"]
        self.assertEqual((problem["kind"], problem["severity"]), ("unknown-message", "problem"))

    def test_an_inherited_problem_is_told_once(self):
        path = self.write_model(entity("Above", [], [("$a", "missing")]),
                                *(entity(f"Below{i}", [], [], parent="Above") for i in range(50)))
        problem, = self.lint(path, status=1)["problems"]
        self.assertEqual(problem["entity"], "Above")

    def test_entries_that_are_no_rules_are_left_alone(self):
        self.assertEqual(self.one(("identity", "name"), ("url", "https://example.org"), status=0), [])

    def test_a_hundred_entities_are_linted_each(self):
        path = self.hundred_entities()
        self.assertEqual(self.lint("--filters=trim", "--messages=" + ",".join(
            f"apply{number}:" for number in range(100)), path, status=0)["problems"], [])
        report = self.lint("--filters=shout", path, status=1)
        self.assertEqual(report["entities"], 100)
        self.assertEqual(report["problemCount"], 100)
        self.assertEqual({problem["entity"] for problem in report["problems"]},
                         {f"E{number}" for number in range(100)})

    def test_every_form_of_a_model_can_be_read(self):
        contents = self.write_model(entity("Thing", [("name", "String")]), name="plain.xml")
        self.assertIn("1 entity, 1 rule:", self.runs("lint", contents))
        version = self.write_model(entity("Thing", [("name", "String")]),
                                   name="M.xcdatamodeld/M 2.xcdatamodel/contents")
        self.assertIn("1 entity, 1 rule:", self.runs("lint", version))
        self.assertIn("1 entity, 1 rule:", self.runs("lint", version.parent))

    def test_text_from_models_cannot_command_a_terminal(self):
        path = self.write("x.xml", b'<model><entity name="E\xc2\x9b1m"><userInfo>'
                                   b'<entry key="$a" value="b&#x9;&#x7f;c"/></userInfo></entity></model>')
        output = self.runs("lint", "--color=never", path, status=1)
        self.assertIn(r"E\u009b1m: $a = b\u0009\u007fc", output)
        self.assertFalse(set(output) & {"\x1b", "\x9b", "\x07", "\x7f"})

    def test_a_million_characters_of_rule_are_read(self):
        path = self.write_model(entity("Thing", [("name", "String")],
                                       [("%a." * 300_000 + "$b", "name"), ("$x", "y" * 1_000_000)]))
        kinds = {problem["kind"] for problem in self.lint(path, status=1)["problems"]}
        self.assertEqual(kinds, {"unreachable", "unknown-attribute"})


class Unreadable(JnmapCase):
    def test_models_that_cannot_be_read_say_why(self):
        self.assertIn("there is no such file", self.fails("lint", "missing.xcdatamodel"))
        self.assertIn("contents nor a version", self.fails("lint", self.folder))
        for name, content in [("empty.xml", ""), ("cut.xml", "<model><entity name='A'>"),
                              ("binary.xml", bytes(range(256))), ("other.xml", "<html/>"),
                              ("text.xml", "not XML at all")]:
            path = self.write(name, content)
            for command in (["lint", path], ["explain", path, "A"], ["try", path, "A", path],
                            ["generate", path]):
                self.assertIn(name, self.fails(*command))
        self.assertIn("line 1", self.fails("lint", self.folder / "cut.xml"))

    def test_models_that_are_not_whole_are_refused_with_entity_and_property(self):
        path = self.write_model(entity("A", [("x", "Nonsense")]))
        errors = self.fails("lint", path)
        self.assertIn("'x'", errors)
        self.assertIn("Nonsense", errors)

    def test_an_unreadable_file_is_told_by_name(self):
        path = self.write("locked.xml", "<model/>")
        path.chmod(0)
        try:
            path.read_text()
        except PermissionError:
            self.assertIn("locked.xml", self.fails("lint", path))
        path.chmod(0o600)


if __name__ == "__main__":
    unittest.main()
