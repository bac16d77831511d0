"""Each check lets a sound tree pass and names the offender in an unsound one."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPTS = Path(__file__).resolve().parent.parent.parent / "scripts"


class Tree(unittest.TestCase):
    """A small tree of files that a check is run over."""

    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.root = Path(holder.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def check(self, name, *arguments):
        done = subprocess.run([sys.executable, str(SCRIPTS / f"check_{name}.py"), *arguments],
                              env={**os.environ, "JN_CHECKED_TREE": str(self.root)},
                              capture_output=True, text=True)
        return done.returncode, done.stdout + done.stderr

    def assert_passes(self, name):
        status, output = self.check(name)
        self.assertEqual(status, 0, output)

    def assert_names(self, name, *expected):
        status, output = self.check(name)
        self.assertEqual(status, 1, output)
        for text in expected:
            self.assertIn(text, output)


class ApiTest(Tree):
    PAGE = """<doxygen><compounddef><sectiondef><memberdef kind="enum"><name>Kind</name>
    <enumvalue><name>Early</name><briefdescription><para>Before.</para></briefdescription>
    <detaileddescription/></enumvalue><enumvalue><name>Late</name><briefdescription/>
    <detaileddescription>SAID</detaileddescription></enumvalue>
    <location file="build/api/JNFoundation/util/Kind.h" line="7"/></memberdef></sectiondef></compounddef></doxygen>"""

    def test_names_with_comments_pass(self):
        self.write("build/logs/doxygen.log", "")
        self.write("build/api-xml/Kind.xml", self.PAGE.replace("SAID", "<para>After.</para>"))
        self.assert_passes("api")

    def test_what_has_no_comment_is_named(self):
        self.write("build/logs/doxygen.log",
                   f"{self.root}/build/api/JNFoundation/util/Kind.h:9: warning: Member kind() is not documented.\n")
        self.write("build/api-xml/Kind.xml", self.PAGE.replace("SAID", ""))
        self.assert_names("api", "JNFoundation/util/Kind.h:9: warning: Member kind()",
                          "JNFoundation/util/Kind.h:7: the value Late of Kind has no comment", "2 problems")

    def test_pages_that_are_not_there_are_an_offence(self):
        self.write("build/logs/doxygen.log", "")
        self.assert_names("api", "has no names")


class FloorsTest(Tree):
    def header(self, name, *includes):
        self.write(f"JNFoundation/{name}", "#pragma once\n" + "".join(f"#include {i}\n" for i in includes))

    def test_a_file_may_include_its_own_folder_and_lower_ones(self):
        self.header("platform/text/Text.h", "<string>")
        self.header("platform/value/Value.h", "<JNFoundation/platform/text/Text.h>")
        self.header("platform/value/Array.h", "<JNFoundation/platform/value/Value.h>")
        self.write("JNFoundation/platform/value/Array.cpp",
                   '#include "JNFoundation/platform/value/Array.h"\n#include <unistd.h>\n')
        self.assert_passes("floors")

    def test_a_higher_floor_is_an_offence(self):
        self.header("platform/value/Value.h")
        self.header("platform/text/Text.h", "<JNFoundation/platform/value/Value.h>")
        self.assert_names("floors", "JNFoundation/platform/text/Text.h:2: platform/text is not above platform/value")

    def test_a_neighbour_is_an_offence(self):
        self.header("mapping/Map.h")
        self.header("deferred/Deferred.h", "<JNFoundation/mapping/Map.h>")
        self.assert_names("floors", "deferred is not above mapping")

    def test_a_test_knows_no_more_than_what_it_tests(self):
        self.header("deferred/Deferred.h")
        self.write("tests/util/UtilTest.cpp", "#include <JNFoundation/deferred/Deferred.h>\n")
        self.assert_names("floors", "tests/util/UtilTest.cpp:1: util is not above deferred")

    def test_a_comment_is_no_include(self):
        self.header("mapping/Map.h")
        self.write("JNFoundation/deferred/Deferred.h",
                   "#pragma once\n/*\n#include <JNFoundation/mapping/Map.h>\n*/\n")
        self.assert_passes("floors")

    def test_a_third_party_library_has_one_home_and_no_public_face(self):
        self.write("JNFoundation/util/Save.cpp", "#include <sqlite3.h>\n")
        self.header("platform/json/Parser.h", "<simdjson.h>")
        self.header("platform/json/impl/Parser.h", "<simdjson.h>")
        self.write("JNFoundation/platform/store/sqlite/Save.cpp", "#include <sqlite3.h>\n")
        self.assert_names("floors", "sqlite3.h has one home", "a public header must not show simdjson.h",
                          "2 problems")

    def test_programs_and_tests_look_past_the_store_only_where_it_is_tried(self):
        self.write("tests/platform/store/FileTest.cpp", "#include <sqlite3.h>\n")
        self.write("tools/crash/main.cpp", "#include <sqlite3.h>\n")
        self.assert_passes("floors")
        self.write("tests/util/SaveTest.cpp", "#include <sqlite3.h>\n")
        self.write("examples/catalog/main.cpp", "#include <sqlite3.h>\n")
        self.assert_names("floors", "SaveTest.cpp:1: sqlite3.h has one home", "catalog/main.cpp:1", "2 problems")

    def test_a_library_that_we_did_not_choose_is_an_offence(self):
        self.write("JNFoundation/util/Text.cpp", "#include <fmt/format.h>\n")
        self.assert_names("floors", "fmt/format.h is neither standard")

    def test_machinery_stays_inside_its_folder(self):
        self.header("util/impl/Slots.h")
        self.header("util/Timer.h", "<JNFoundation/util/impl/Slots.h>")
        self.write("JNFoundation/deferred/Deferred.cpp", "#include <JNFoundation/util/impl/Slots.h>\n")
        self.assert_names("floors", "must not include machinery", "the machinery of util is its own")

    def test_two_headers_do_not_define_the_same_name(self):
        text = "#pragma once\nnamespace JNFoundation::impl {\nclass Slots;\nclass Slots {\n};\n}\n"
        self.write("JNFoundation/util/impl/Slots.h", text)
        self.write("JNFoundation/deferred/impl/Slots.h", text.replace("class Slots {", "struct Places {"))
        self.assert_passes("floors")
        self.write("JNFoundation/mapping/impl/Slots.h", text)
        self.assert_names("floors", "JNFoundation::impl::Slots is defined in")

    def test_the_library_is_in_the_namespace_of_its_version(self):
        def release(major, minor):
            self.write("JNFoundation/Version.h", f"#pragma once\n#define JN_VERSION_MAJOR {major}\n"
                       f"#define JN_VERSION_MINOR {minor}\n#define JN_VERSION_PATCH 7\n")

        release(0, 3)
        self.write("JNFoundation/util/Timer.h",
                   "#pragma once\nnamespace JNFoundation::inline v0_3 {\nclass Timer {};\n}\n")
        self.assert_passes("floors")
        release(0, 4)
        self.assert_names("floors", "Timer.h:2: namespace JNFoundation::inline v0_3, not JNFoundation::inline v0_4")
        self.write("JNFoundation/util/Timer.h",
                   "#pragma once\nnamespace JNFoundation::inline v2::impl {\nclass Timer {};\n}\n")
        release(2, 4)
        self.assert_passes("floors")
        self.write("JNFoundation/util/Clock.h", "#pragma once\nnamespace JNFoundation {\nclass Clock {};\n}\n")
        self.assert_names("floors", "Clock.h:2: namespace JNFoundation, not JNFoundation::inline v2")

    def test_the_two_kinds_of_store_do_not_know_each_other(self):
        self.header("platform/store/memory/Memory.h")
        self.header("platform/store/sqlite/Disk.h", "<JNFoundation/platform/store/memory/Memory.h>")
        self.assert_names("floors", "must not know each other")

    def test_a_source_includes_its_own_header_first(self):
        self.header("util/Timer.h")
        self.write("JNFoundation/util/Timer.cpp",
                   '#include <string>\n#include "JNFoundation/util/Timer.h"\n')
        self.assert_names("floors", "includes its own header first")

    def test_an_adapter_stands_above_the_library_and_beside_one_other(self):
        self.header("platform/dispatch/Host.h")
        self.header("platform/dispatch/impl/Sleeper.h")
        headers = "adapters/include/JNFoundation/adapters/"
        self.write(headers + "AsioHost.h",
                   "#pragma once\n#include <asio/post.hpp>\n#include <JNFoundation/platform/dispatch/Host.h>\n")
        self.write(headers + "QtHost.h", "#pragma once\n#include <JNFoundation/platform/dispatch/Host.h>\n")
        self.write("adapters/qt/QtHost.cpp",
                   '#include "JNFoundation/adapters/QtHost.h"\n#include <QtCore/QObject>\n')
        self.write("tests/adapters/QtHostTest.cpp",
                   "#include <QtCore/QObject>\n#include <JNFoundation/adapters/QtHost.h>\n")
        self.assert_passes("floors")
        self.header("util/Timer.h", "<JNFoundation/adapters/QtHost.h>")
        self.write("adapters/qt/Other.cpp", "#include <glib.h>\n#include <fmt/format.h>\n"
                   "#include <JNFoundation/platform/dispatch/impl/Sleeper.h>\n")
        self.write("adapters/qt/QtHost.cpp", "#include <JNFoundation/adapters/Gone.h>\n"
                   '#include "JNFoundation/adapters/QtHost.h"\n')
        self.assert_names("floors", "util/Timer.h:2: the library must not know adapters/", "glib.h has one home",
                          "fmt/format.h is neither standard", "the machinery of platform/dispatch is its own",
                          "Gone.h does not exist", "includes its own header first", "6 problems")

    def test_a_header_that_is_not_there_is_an_offence(self):
        self.header("util/Timer.h", "<JNFoundation/util/Gone.h>")
        self.assert_names("floors", "does not exist")


class OperationsTest(Tree):
    HEADER = """#pragma once
namespace JNFoundation {
class NSArray;
/// withGhost(value) only stands in a comment.
class PLVDeferred : public Subclass<PLVDeferred, NSObject> {
 public:
  using Handler = int(int);
  enum class State { open, closed };
  static Ref<PLVDeferred> withResolved(const Value& value = {});
  bool isResolved() const { return helper(); }
  void setTimeout(double seconds);
  double timeout() const noexcept { return _timeout; }
  template <class... A> requires(sizeof...(A) > 0) void addAll(A&&... a);
  bool operator==(const PLVDeferred&) const;
 protected:
  PLVDeferred();
  void hiddenStep();
 private:
  double _timeout{0};
};
inline int plv_count(const Ref<NSArray>& array) { return helper(array); }
namespace impl { void machinery(); }
}
"""
    LIST = """| selector | C++ name | header |
|---|---|---|
| `PLVDeferred` | `PLVDeferred` | `deferred/PLVDeferred.h` |
| `withResolved:` | `PLVDeferred::withResolved` | `deferred/PLVDeferred.h` |
| `isResolved` | `PLVDeferred::isResolved` | `deferred/PLVDeferred.h` |
| `timeout` | `PLVDeferred::timeout` | `deferred/PLVDeferred.h` |
| `addAll:` | `PLVDeferred::addAll` | `deferred/PLVDeferred.h` |
| `plv_count` | `plv_count` | `deferred/PLVDeferred.h` |
"""

    def setUp(self):
        super().setUp()
        self.write("JNFoundation/deferred/PLVDeferred.h", self.HEADER)

    def test_a_full_list_passes(self):
        self.write("docs/operations.md", self.LIST)
        self.assert_passes("operations")
        self.assertIn("7 public names", self.check("operations")[1])

    def test_each_missing_row_is_named(self):
        lines = self.LIST.splitlines(keepends=True)
        for left_out, name in zip(lines[2:], ["PLVDeferred", "withResolved", "isResolved", "timeout",
                                              "addAll", "plv_count"]):
            if name == "PLVDeferred":  # the rows of its operations name the class as well
                continue
            self.write("docs/operations.md", "".join(line for line in lines if line != left_out))
            self.assert_names("operations", f"{name} of JNFoundation/deferred/PLVDeferred.h")

    def test_a_row_for_what_is_not_declared_is_an_offence(self):
        self.write("docs/operations.md", self.LIST
                   + "| `withGhost:` | `PLVDeferred::withGhost` | `deferred/PLVDeferred.h` |\n"
                   + "| `gone` | `gone` | `deferred/Gone.h` |\n")
        self.assert_names("operations", "does not declare withGhost", "deferred/Gone.h does not exist", "2 problems")

    def test_a_missing_list_is_an_offence(self):
        self.assert_names("operations", "docs/operations.md is missing")


class RegisteredTest(Tree):
    def test_tests_beside_the_tree_are_found(self):
        self.write("JNFoundation/util/Timer.h", "#pragma once\n")
        self.write("tests/util/TimerTest.cpp", "TEST(Timer, FiresOnce) {}\n")
        self.assert_passes("registered")
        self.write("tests/utils/TimerTest.cpp", "TEST(Timer, FiresTwice) {}\n")
        self.write("tests/util/Timer.cpp", "TEST(Timer, FiresThrice) {}\n")
        self.write("tests/util/EmptyTest.cpp", "// TEST(Timer, IsACommentOnly) {}\n")
        self.write("tests/util/OffTest.cpp", "TEST(Timer, DISABLED_Fires) {}\n")
        self.write("tests/util/SlowTest.cpp", "TEST(Timer, Waits) { usleep(5); }\n")
        self.assert_names("registered", "no folder utils/", "must end with Test.cpp", "EmptyTest.cpp:1: holds no test",
                          "is switched off", "a test sleeps", "5 problems")


    def test_a_folder_that_the_build_forgot_is_an_offence(self):
        self.write("CMakeLists.txt", "jn_floor(util util BELOW store)\njn_floor(mapping mapping)\n")
        self.write("JNFoundation/util/Timer.cpp", "")
        self.write("JNFoundation/mapping/Map.cpp", "")
        self.assert_passes("registered")
        self.write("JNFoundation/fetched/Sample.cpp", "")
        self.assert_names("registered", "fetched/Sample.cpp:1: CMakeLists.txt has no jn_floor")


    def test_tests_may_stand_in_a_body_that_several_sources_include(self):
        self.write("JNFoundation/util/Timer.h", "#pragma once\n")
        self.write("tests/util/Timer-inl.h", "TYPED_TEST(Timer, FiresOnce) {}\n")
        self.write("tests/util/TimerTest.cpp", '#include "Timer-inl.h"\n')
        self.assert_passes("registered")
        self.write("tests/util/Timer-inl.h", "\n")
        self.assert_names("registered", "tests/util/TimerTest.cpp:1: holds no test")

    def test_an_adapter_or_its_test_that_the_build_forgot_is_an_offence(self):
        self.write("adapters/CMakeLists.txt",
                   "jn_adapter(Qt qt HEADERS QtHost.h)\n  jn_adapter_test(host_qt QtHostTest.cpp LINK Qt)\n")
        self.write("adapters/qt/QtHost.cpp", "")
        self.write("tests/adapters/QtHostTest.cpp", "INSTANTIATE_TYPED_TEST_SUITE_P(Qt, Hosts, QtLoop);\n")
        self.assert_passes("registered")
        self.write("adapters/glib/GLibHost.cpp", "")
        self.write("tests/adapters/GLibHostTest.cpp", "TEST(GLibHost, Turns) {}\n")
        self.assert_names("registered", "adapters/glib/GLibHost.cpp:1: adapters/CMakeLists.txt has no jn_adapter",
                          "has no jn_adapter_test with it", "2 problems")


class ReadmeTest(Tree):
    def test_a_block_equals_the_file_it_names(self):
        self.write("examples/Hello.cpp", "int main() {\n  // begin\n  greet();\n  // end\n}\n")
        block = "<!-- from: examples/Hello.cpp -->\n```cpp\n{}```\n"
        self.write("README.md", block.format("greet();\n"))
        self.assert_passes("readme")
        self.write("README.md", block.format("greet(1);\n"))
        self.assert_names("readme", "README.md:1: differs from examples/Hello.cpp")
        for wrong in ("greet(1);\n", ""):
            self.write("README.md", "# Hello\n" + block.format(wrong) + "The end.\n")
            self.check("readme", "--fix")
            self.assert_passes("readme")
            self.assertEqual((self.root / "README.md").read_text(),
                             "# Hello\n" + block.format("greet();\n") + "The end.\n")
        self.write("README.md", "```cpp\nloose();\n```\n")
        self.assert_names("readme", "README.md:1: this block is compiled by nothing")
        self.write("README.md", "# Hello\n")
        self.write("docs/guide.md", "```cpp\nloose();\n```\n")
        self.assert_names("readme", "docs/guide.md:1: this block is compiled by nothing")


class ExportsTest(Tree):
    HEADER = ("#pragma once\nnamespace JNFoundation {\nnamespace impl {\nclass Hidden;\n"
              "template <class T>\nclass Shown {\n  void inside();\n};\n"
              "[[nodiscard]] bool called(Hidden& one,\n            int two);\n"
              "inline constexpr int number = 3;\nusing Alias = int;\n}  // namespace impl\n"
              "bool offered();\n}  // namespace JNFoundation\n")

    def test_the_list_is_what_headers_show_of_the_machinery(self):
        self.write("JNFoundation/platform/value/Value.h", self.HEADER)
        self.write("JNFoundation/platform/value/impl/Table.h", self.HEADER.replace("Shown", "Table"))
        self.write("cmake/exports.txt", "# The list\n")
        self.assert_names("exports", "lacks Shown", "lacks called", "lacks number")
        self.check("exports", "--fix")
        self.assert_passes("exports")
        listed = (self.root / "cmake" / "exports.txt").read_text().splitlines()[1:]
        self.assertEqual(listed, ["Shown", "called", "number"])

    def test_a_name_that_went_is_an_offence(self):
        self.write("JNFoundation/platform/value/Value.h", self.HEADER)
        self.write("cmake/exports.txt", "")
        self.check("exports", "--fix")
        self.write("JNFoundation/platform/value/Value.h", self.HEADER.replace("Shown", "Other"))
        self.assert_names("exports", "lacks Other", "Shown is in no public header")


class UnitsTest(Tree):
    def test_names_that_two_sources_keep_to_themselves_differ(self):
        self.write("CMakeLists.txt", "jn_floor(text platform/text)\njn_floor_test(more more text)\n")
        hidden = "namespace {{\nint {} = 1;\n}}\nint {}() {{ return {}; }}\n"
        self.write("JNFoundation/platform/text/One.cpp", hidden.format("only", "one", "only"))
        self.write("JNFoundation/platform/text/Two.cpp", hidden.format("other", "two", "other"))
        self.write("tests/more/OneTest.cpp", hidden.format("only", "one", "only"))
        self.assert_passes("units")
        self.write("tests/more/TwoTest.cpp", hidden.format("only", "two", "only"))
        self.assert_names("units", "tests/more, compiled as one", "only")


class ForwardTest(Tree):
    def test_the_header_of_declarations_is_true_and_complete(self):
        self.write("JNFoundation/Version.h", "#pragma once\n#define JN_VERSION_MAJOR 0\n"
                   "#define JN_VERSION_MINOR 3\n#define JN_VERSION_PATCH 0\n")
        self.write("JNFoundation/util/Timer.h", "#pragma once\nnamespace JNFoundation::inline v0_3 {\n"
                   "class Elsewhere;\nclass Timer final : public Clock {\n  class Inner {};\n};\n"
                   "enum Kind : NSInteger { One };\ntemplate <class T>\nstruct Pair {};\n"
                   "template <>\nstruct Pair<int> {};\ntemplate <class T>\nclass Call;\n"
                   "template <class T>\nclass Timer::Parts {};\nnamespace impl {\nclass Hidden {};\n}\n}\n")
        self.assert_names("forward", "lacks class Timer;")
        self.check("forward", "--fix")
        self.assert_passes("forward")
        text = (self.root / "JNFoundation" / "Forward.h").read_text()
        self.assertEqual(text[text.index("namespace"):],
                         "namespace JNFoundation::inline v0_3 {\n\n// util\ntemplate <class T>\nclass Call;\n"
                         "enum Kind : NSInteger;\ntemplate <class T>\nstruct Pair;\nclass Timer;\n\n"
                         "}  // namespace JNFoundation\n")
        self.write("JNFoundation/util/Timer.h",
                   "#pragma once\nnamespace JNFoundation::inline v0_3 {\nstruct Timer {};\n}\n")
        self.assert_names("forward", "lacks struct Timer;", "no public header defines this: class Timer;")


class AmalgamationTest(Tree):
    def test_each_file_stands_once_behind_what_it_needs(self):
        self.write("LICENSE", "Free\n")
        self.write("JNFoundation/Version.h", "#pragma once\n#define JN_VERSION_MAJOR 1\n"
                   "#define JN_VERSION_MINOR 2\n#define JN_VERSION_PATCH 3\n")
        self.write("JNFoundation/platform/text/Word.h", "#pragma once\n#include <string>\nint word();\n")
        self.write("JNFoundation/platform/text/Alone.h",
                   "#pragma once\n#include <string>\n\n#include <JNFoundation/platform/text/Word.h>\nint alone();\n")
        self.write("JNFoundation/platform/text/impl/Table.h", "#pragma once\nint table();\n")
        self.write("JNFoundation/platform/text/Word.cpp",
                   '#include "JNFoundation/platform/text/Word.h"\n#define WIDTH 8\n#include <string>\n'
                   "#include <utf8proc.h>\n#if ODD\n#include <vector>\n#endif\n#include <vector>\n"
                   "#include <JNFoundation/platform/text/impl/Table.h>\nint word() { return 1; }\n")
        done = subprocess.run([sys.executable, str(SCRIPTS / "amalgamate.py"), str(self.root / "two")],
                              env={**os.environ, "JN_CHECKED_TREE": str(self.root)}, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        read = [[line for line in (self.root / "two" / name).read_text().splitlines()
                 if line and not line.startswith("//")] for name in ("JNFoundation.h", "JNFoundation.cpp")]
        self.assertEqual(read[0][4:], ["#include <string>", "int word();", "int alone();"])
        self.assertEqual(read[1], ['#include "JNFoundation.h"', "#define WIDTH 8", "#include <utf8proc.h>",
                                   "#if ODD", "#include <vector>", "#endif", "#include <vector>",
                                   "int table();", "int word() { return 1; }"])


class WordsTest(Tree):
    def test_what_readers_do_not_have_is_named(self):
        self.write("docs/guide.md", "Shared state is parted from the rest; special cases work.\n")
        self.assert_passes("words")
        self.write("docs/guide.md", "as Pa" + "rt 3 says\nsee /wo" + "rk/x\n// TO" + "DO later\n")
        self.assert_names("words", "guide.md:1", "guide.md:2", "guide.md:3", "3 problems")


if __name__ == "__main__":
    unittest.main()
