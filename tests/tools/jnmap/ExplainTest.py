"""jnmap explain: the rules that work, as a table and as a picture."""

import re
import shutil
import subprocess
import unittest

from jnmap import CATALOG, JnmapCase
from models import entity


class Explain(JnmapCase):
    def rows(self, output):
        """The lines of the table by their first column."""
        lines = output.split("\n\n")[1].splitlines()
        return {re.split(r"  +", line)[0]: re.split(r"  +", line) for line in lines}

    def test_inherited_automatic_and_written_rules_are_told_apart(self):
        output = self.runs("explain", CATALOG, "Country")
        self.assertTrue(output.startswith("Country, below CatalogItem, class Country\n"), output)
        rows = self.rows(output)
        self.assertEqual(rows["alpha_2"][:4], ["alpha_2", "code", "String", "user info of Country"])
        self.assertEqual(rows["code"][:4], ["code", "code", "String", "attribute of CatalogItem"])
        self.assertEqual(rows["official_name"][:5],
                         ["official_name", "officialName", "String", "trim", "user info of Country"])
        self.assertEqual(rows["numeric"][2], "Integer 16")
        self.assertIn("text by its integer prefix", rows["numeric"][-1])
        self.assertNotIn("identity", rows)

    def test_messages_and_nested_rules_are_shown(self):
        rows = self.rows(self.runs("explain", CATALOG, "Product"))
        self.assertEqual(rows["tags"][:3], ["tags", "applyTags:", "message"])
        self.assertEqual(rows["meta.createdAt"][:3], ["meta.createdAt", "createdAt", "Date"])

    def test_problems_stand_below_the_table(self):
        path = self.write_model(entity("A", [("name", "String")], [("$a", "name"), ("$b", "nam")]))
        output = self.runs("explain", path, "A", status=1)
        self.assertIn("a     name  String          user info of A", output)
        self.assertIn("problem: $b = nam (user info of A): Undefined attribute 'nam'", output)

    def test_an_entity_without_rules_says_so(self):
        self.assertIn("whatever a record holds is ignored",
                      self.runs("explain", self.write_model(entity("A")), "A"))

    def test_an_unknown_entity_is_refused_with_those_there_are(self):
        errors = self.fails("explain", CATALOG, "Contry")
        self.assertIn("no entity 'Contry'", errors)
        self.assertIn("Country", errors)
        errors = self.fails("explain", self.hundred_entities(), "Nobody")
        self.assertIn("and 80 more", errors)

    def test_the_picture_is_a_graph(self):
        picture = self.runs("explain", "--dot", CATALOG, "Product")
        self.assertTrue(picture.startswith('digraph "Product" {'))
        self.assertIn('[label="applyTags: (message)", shape=cds]', picture)
        self.assertRegex(picture, r'd0 -> t\d+ \[label="title \| trim", tooltip="user info of Product"\]')
        self.assertRegex(picture, r'd\d -> t\d+ \[label="createdAt", tooltip="user info of Product"\]')
        self.assertRegex(picture, r'd0 -> t\d+ \[label="width", tooltip="attribute of Product", style=dashed')
        self.assertIn('[label="dimensions", shape=folder]', picture)

    def test_the_picture_is_one_whatever_names_hold(self):
        path = self.write_model(entity('A"\\', [("name", "String")], [
            ('$quote" back\\slash', "name"), ("%a\\.$b\\", "name"), ("%only", "")]))
        picture = self.runs("explain", "--dot", path, 'A"\\')
        self.assertIn(r'label="quote\" back\\slash"', picture)
        if shutil.which("dot"):
            done = subprocess.run(["dot", "-Tplain"], input=picture.encode(), capture_output=True, timeout=60)
            self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_a_hundred_entities_are_explained(self):
        output = self.runs("explain", self.hundred_entities(), "E95")
        # Ten ancestors with three attributes and three rules each.
        self.assertEqual(len(self.rows(output)), 1 + 10 * 6)
        self.assertIn("user info of E5 ", output)


if __name__ == "__main__":
    unittest.main()
