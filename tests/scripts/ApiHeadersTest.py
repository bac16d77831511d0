"""What Doxygen is given of a header: members of a group share its comment, lines keep their numbers."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "scripts"))

import api_headers  # noqa: E402

HEADER = """\
/// A thing.
class Thing : public NSObject {
 public:
  static const Class classObject;

  /// What it is called. Null until it is set.
  const Ref<NSString>& name() const noexcept { return _name; }
  void setName(const Ref<NSString>& name);

  int age() const;

  // ---- Parts ----
  /// The parts,
  /// in order.
  Ref<NSArray> parts() const;
  template <class T>
  Ref<NSArray> partsOf(
      const T& kind) const;

 private:
  struct Secret {
    int number;
  };
  Secret _secret;
};

/// Makes one.
Ref<Thing> make();
"""


class ApiHeadersTest(unittest.TestCase):
    def setUp(self):
        self.lines = list(api_headers.filtered(HEADER.split("\n")))

    def line_of(self, part):
        return next(line for line in self.lines if part in line)

    def test_lines_keep_their_numbers(self):
        self.assertEqual(len(self.lines), len(HEADER.split("\n")))

    def test_what_follows_has_the_comment_of_the_first(self):
        self.assertIn("/** With `name`: What it is called. Null until it is set. */ void setName",
                      self.line_of("setName"))

    def test_a_comment_ends_at_an_empty_line(self):
        self.assertEqual(self.line_of("age()"), "  int age() const;")

    def test_a_declaration_over_several_lines_is_one(self):
        self.assertIn("/** With `parts`: The parts, in order. */ template <class T>", self.line_of("template"))
        self.assertEqual(self.line_of("Ref<NSArray> partsOf("), "  Ref<NSArray> partsOf(")

    def test_what_every_class_has_is_said(self):
        self.assertIn("///<", self.line_of("classObject"))

    def test_private_members_are_left_out(self):
        self.assertFalse([line for line in self.lines if "ecret" in line or "int number" in line])
        self.assertEqual(self.line_of("make()"), "Ref<Thing> make();")


if __name__ == "__main__":
    unittest.main()
