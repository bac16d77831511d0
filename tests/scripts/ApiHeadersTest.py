"""What Doxygen is given of a header: overloads, setters and groups share a comment, lines keep their numbers."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "scripts"))

import api_headers  # noqa: E402
import tree  # noqa: E402

HEADER = """\
#pragma once

#include <vector>

/// Things by their names, 100% <sorted>.
namespace JNFoundation::inline VERSION {

/// A thing.
class Thing : public NSObject,
              public Named {
 public:
  static const Class classObject;

  /// What it is called. Null until it is set.
  const Ref<NSString>& name() const noexcept { return _name; }
  void setName(const Ref<NSString>& name);
  bool isNamed() const;

  int age() const;
  Ref<NSArray> all() const { return partsOf(); }
  Ref<NSArray> some(int count) const { return partsOf(count + 1); }

  // ---- Parts ----
  /// The parts of `Kind<T>`,
  /// in "<order>".
  template <class T>
  Ref<NSArray> partsOf(
      const T& kind) const {
    return {};
  }
  template <class T>
  Ref<NSArray> partsOf(
      const T& kind, int count) const;

  // How many there are.
  std::size_t count() const;
  std::size_t capacity() const;
  /// Leaves it empty.
  void clear();

  Thing(const Thing& other);
  Thing& operator=(Thing&& other) noexcept;
  ~Thing() { clear(); }
  /// The thing itself.
  explicit Thing(int age);
  Thing(const char*) = delete;

  /// What a walk goes by.
  class Iterator {
   public:
    explicit Iterator(const Thing& thing);
    Iterator& operator++() { return *this; }
  };
  Iterator begin() const;

 protected:
  Thing(int age,
        int count);

 private:
  struct Secret {
   public:
    int number;
  };
  Secret _secret;
};

/// Makes one.
Ref<Thing> make();
Ref<Thing> makeNone();

}  // namespace JNFoundation

template <>
struct std::hash<JNFoundation::Thing> {
  int hashes;
};
"""


def filtered(text):
    return list(api_headers.filtered(text.replace("VERSION", tree.inline_namespace()).split("\n")))


class ApiHeadersTest(unittest.TestCase):
    def setUp(self):
        self.lines = filtered(HEADER)

    def line_of(self, part):
        return next(line for line in self.lines if part in line)

    def test_lines_keep_their_numbers(self):
        self.assertEqual(len(self.lines), len(HEADER.split("\n")))

    def test_a_setter_has_the_comment_of_its_reader(self):
        self.assertIn("/** Sets `name`: What it is called. Null until it is set. */ void setName",
                      self.line_of("setName"))

    def test_what_is_said_of_one_is_not_said_of_the_next(self):
        self.assertEqual(self.line_of("isNamed"), "  bool isNamed() const;")
        self.assertEqual(self.line_of("makeNone"), "Ref<Thing> makeNone();")

    def test_an_overload_has_the_comment_of_the_first(self):
        at = self.lines.index(self.line_of("int count) const;"))
        self.assertIn("/** With `partsOf`: The parts of", self.lines[at - 2])

    def test_a_plain_comment_is_of_all_that_follow(self):
        self.assertEqual(self.line_of("/// How many"), "  /// How many there are.")
        self.assertEqual(self.line_of("capacity()"), "  /** How many there are. */ std::size_t capacity() const;")
        self.assertEqual(self.line_of("void clear"), "  void clear();")

    def test_a_comment_ends_at_an_empty_line(self):
        self.assertEqual(self.line_of("age() const"), "  int age() const;")

    def test_a_declaration_over_several_lines_is_one(self):
        self.assertEqual(self.line_of("const T& kind) const"), "      const T& kind) const {")

    def test_what_every_class_has_is_said(self):
        self.assertIn("/** What the class is known by", self.line_of("classObject"))
        self.assertIn("/** A copy of the other one. */ Thing(const Thing", self.line_of("Thing(const Thing"))
        self.assertIn("/** Takes over", self.line_of("Thing&& other"))
        self.assertIn("/** For the class and its descendants. */", self.line_of("Thing(int age,"))

    def test_nothing_is_said_of_what_nobody_calls(self):
        self.assertEqual(self.line_of("~Thing"), "  ~Thing() { clear(); }")
        self.assertEqual(self.line_of("delete"), "  Thing(const char*) = delete;")

    def test_what_only_calls_another_is_the_same(self):
        self.assertIn("/** The same as `partsOf`. */ Ref<NSArray> all()", self.line_of("all()"))
        self.assertTrue(self.line_of("some(").startswith("  Ref<NSArray> some("))

    def test_iterators_are_alike(self):
        self.assertIn("/** Goes on. */ Iterator& operator++", self.line_of("operator++"))
        self.assertIn("/** Where a walk with `for` begins. */ Iterator begin", self.line_of("begin()"))

    def test_private_members_are_left_out(self):
        self.assertFalse([line for line in self.lines if "ecret" in line or "int number" in line])
        self.assertEqual(self.line_of("make()"), "Ref<Thing> make();")

    def test_comments_are_text_and_code(self):
        self.assertEqual(self.line_of("The parts of"), "  /// The parts of <code>Kind\\<T\\></code>,")
        self.assertEqual(self.line_of('in "'), '  /// in "<order>".')

    def test_what_opens_a_header_is_said_of_the_file(self):
        at = self.lines.index("/// Things by their names, 100\\% \\<sorted\\>.")
        self.assertEqual(self.lines[at - 1], "/// \\file")
        self.assertEqual(self.lines[at + 1], "namespace JNFoundation {")
        self.assertEqual(self.lines[at + 3], "/// A thing.")

    def test_a_header_with_macros_has_a_page(self):
        self.assertEqual(filtered("#pragma once\n/// One.\n#define JN_ONE 1")[0], "/** \\file */")

    def test_what_the_standard_library_is_told_is_no_name_of_ours(self):
        self.assertFalse([line for line in self.lines if "std::hash" in line or "hashes" in line])


if __name__ == "__main__":
    unittest.main()
