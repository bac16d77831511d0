"""jnmap generate: the files it writes, and that a compiler takes them. That programs run with them,
tests the build (CMakeLists.txt beside this)."""

import os
import re
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from jnmap import CATALOG, ROOT, JnmapCase
from models import RICH, entity

class Generate(JnmapCase):
    def generated(self, *arguments, path=CATALOG):
        self.runs("generate", *arguments, path)
        return self.folder / "generated"

    def compiles(self, sources):
        def run(source):
            return subprocess.run(
                [os.environ.get("CXX", "c++"), "-std=c++20", "-Wall", "-Wextra", "-Werror",
                 "-fsyntax-only", "-I", str(ROOT), "-x", "c++", str(source)],
                capture_output=True, text=True, timeout=300)
        with ThreadPoolExecutor(max_workers=int(os.environ.get("JOBS", "2"))) as pool:
            for source, done in zip(sources, pool.map(run, sources)):
                self.assertEqual((done.returncode, done.stderr), (0, ""), source)

    def test_each_entity_has_a_header_and_a_source_and_a_class_of_the_application(self):
        output = self.runs("generate", "--output=made/here", CATALOG)
        self.assertEqual(output, "made/here/generated: 10 files written, 0 unchanged\n"
                                 "made/here: 10 files begun, 0 of yours left alone\n")
        names = {path.relative_to(self.folder / "made/here").as_posix()
                 for path in (self.folder / "made/here").rglob("*") if path.is_file()}
        classes = ["CatalogItem", "Country", "Subdivision", "Language", "Product"]
        self.assertEqual(names, {f"{name}{ending}" for name in classes for ending in (".h", ".cpp")} |
                         {f"generated/Generated{name}{ending}" for name in classes
                          for ending in (".h", ".cpp")})

    def test_a_second_run_changes_nothing(self):
        folder = self.generated()
        before = {path: (path.stat().st_mtime_ns, path.read_bytes()) for path in folder.iterdir()}
        self.assertIn("0 files written, 10 unchanged", self.runs("generate", CATALOG))
        self.assertEqual(before, {path: (path.stat().st_mtime_ns, path.read_bytes())
                                  for path in folder.iterdir()})

    def test_the_applications_files_are_never_touched_again(self):
        folder = self.generated()
        (self.folder / "Country.h").write_text("// mine\n")
        (folder / "GeneratedCountry.h").write_text("// not mine\n")
        self.assertIn("generated: 1 file written, 9 unchanged", self.runs("generate", CATALOG))
        self.assertEqual((self.folder / "Country.h").read_text(), "// mine\n")
        self.assertIn("class GeneratedCountry", (folder / "GeneratedCountry.h").read_text())

    def test_files_of_entities_that_are_gone_are_named(self):
        folder = self.generated()
        (folder / "GeneratedGone.h").write_text("")
        self.assertIn("generated/GeneratedGone.h belongs to no entity of the model",
                      self.runs("generate", CATALOG))

    def test_accessors_are_typed(self):
        self.generated(path=self.write_model(*RICH))
        header = (self.folder / "generated" / "GeneratedRich.h").read_text()
        for line in ("std::optional<std::int64_t> small() const;", "std::int64_t medium() const;",
                     "std::optional<double> wide() const;", "float narrow() const;",
                     "bool truth() const;", "std::optional<bool> maybe() const;",
                     "JNFoundation::Ref<JNFoundation::NSString> text() const;",
                     "JNFoundation::Ref<JNFoundation::NSData> photo() const;",
                     "JNFoundation::Ref<JNFoundation::NSDecimalNumber> exact() const;",
                     "JNFoundation::Ref<JNFoundation::NSUUID> identity() const;",
                     "JNFoundation::Ref<JNFoundation::NSURL> home() const;",
                     "JNFoundation::Value born() const;", "JNFoundation::Value anything() const;",
                     "JNFoundation::Ref<Other> other() const;",
                     "JNFoundation::Ref<JNFoundation::NSManagedObject> Classless() const;",
                     "JNFoundation::Ref<JNFoundation::NSSet> others() const;",
                     "void addToOthers(const JNFoundation::Ref<Other>& object);",
                     "JNFoundation::Ref<JNFoundation::NSMutableOrderedSet> mutableLine();",
                     "virtual void applyPayload(const JNFoundation::Value& value) = 0;"):
            self.assertIn(line, header)
        # What a class above has, is not there again.
        self.assertNotIn(" code()", header)
        self.assertNotIn("applyAll", header)
        self.assertIn("class GeneratedRich : public JNFoundation::Subclass<GeneratedRich, Root>", header)
        below = (self.folder / "generated" / "GeneratedBelow.h").read_text()
        self.assertIn("JNFoundation::PLVManagedObject>", below)
        self.assertIn(" name() const;", below, "of an ancestor without a class")

    def test_every_file_compiles_alone(self):
        self.generated("--namespace=shop::model", path=self.write_model(*RICH))
        self.compiles([path for path in sorted(self.folder.rglob("*.cpp"))])

    def test_attributes_may_have_the_names_of_members(self):
        names = set()
        for header in ("platform/value/NSObject.h", "platform/store/NSManagedObject.h",
                       "mapping/PLVManagedObject.h", "platform/value/Subclass.h"):
            text = re.sub(r"//.*", "", (ROOT / "JNFoundation" / header).read_text())
            names |= set(re.findall(r"\b([a-z]\w*)\s*\(", text)) | set(re.findall(r"\b([A-Z]\w+)\b", text))
        allowed = []
        for name in sorted(names):
            status, _, errors = self.run_jnmap("lint", self.write_model(entity("A", [(name, "String")])))
            if status == 0:
                allowed.append((name, "String"))
            else:
                self.assertIn("has the name of a method", errors)
        self.assertGreater(len(allowed), 60)
        self.generated(path=self.write_model(entity("A", allowed, cls="A")))
        self.compiles([self.folder / "generated" / "GeneratedA.cpp"])

    def test_models_that_give_no_classes_are_refused_before_anything_is_written(self):
        def refused(*entities):
            errors = self.fails("generate", "--output=out", self.write_model(*entities))
            self.assertFalse((self.folder / "out").exists())
            return errors
        self.assertIn("no entity", refused(entity("A")))
        self.assertIn("no entity", refused(entity("A", cls="NSManagedObject")))
        self.assertIn("'A' and 'B' both name the class 'X'", refused(entity("A", cls="X"), entity("B", cls="X")))
        self.assertIn("one of the library", refused(entity("A", cls="NSString")))
        for name in ("class", "my-class", "9", "a b", "Superclass", "../evil"):
            self.assertIn("that C++ has no class of", refused(entity("A", cls=name)), name)

    def test_namespaces_are_checked(self):
        for name in ("", "a::", "1a", "a b", "namespace", "a:b"):
            self.assertIn("is no namespace", self.fails("generate", f"--namespace={name}", CATALOG), name)

    def test_an_output_that_cannot_be_written_is_told_by_name(self):
        self.write("file", "here")
        self.assertIn("file/generated", self.fails("generate", "--output=file", CATALOG))
        (self.folder / "generated").mkdir()
        (self.folder / "generated" / "GeneratedCountry.h").mkdir()
        self.assertIn("GeneratedCountry.h", self.fails("generate", CATALOG))
        if os.geteuid() != 0:
            locked = self.folder / "locked"
            locked.mkdir(mode=0o500)
            self.assertIn("locked", self.fails("generate", "--output=locked", CATALOG))
        if Path("/proc/self").is_dir():
            self.assertIn("/proc", self.fails("generate", "--output=/proc/none", CATALOG))


if __name__ == "__main__":
    unittest.main()
