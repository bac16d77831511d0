"""The program around the commands: usage, help, colours, output that cannot be written, its pages."""

import os
import pty
import re
import shutil
import subprocess
import unittest

from jnmap import CATALOG, JNMAP, PRODUCTS, ROOT, JnmapCase

TOOL = ROOT / "tools" / "jnmap"
COMMANDS = ["lint", "explain", "try", "generate"]


class Usage(JnmapCase):
    def test_help_lists_every_command(self):
        output = self.runs("--help")
        for command in COMMANDS:
            self.assertRegex(output, rf"(?m)^  {command} ")
        self.assertEqual(output, self.runs("help"))

    def test_the_version_is_the_librarys(self):
        header = (ROOT / "JNFoundation" / "Version.h").read_text()
        version = ".".join(re.findall(r"(?m)^#define JN_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header))
        self.assertEqual(self.runs("--version"), f"jnmap {version}\n")

    def test_wrong_usage_is_refused(self):
        for arguments, words in [
                ([], "no command"), (["fly"], "unknown command 'fly'"), (["lint"], "MODEL"),
                (["lint", "a", "b"], "'b' is too much"), (["lint", "--fast", "a"], "unknown option --fast"),
                (["lint", "-x", "a"], "unknown option -x"), (["lint", "--filters"], "needs an argument"),
                (["explain", CATALOG], "MODEL ENTITY"), (["try", CATALOG, "Country"], "FILE.json"),
                (["lint", "--filters=a,,b", CATALOG], "empty part"),
                (["lint", "--color=pink", CATALOG], "not 'pink'"),
                (["try", "--limit=many", CATALOG, "Country", "x"], "not 'many'"),
                (["try", "--limit=-1", CATALOG, "Country", "x"], "not '-1'"),
                (["try", "--max-size=99999999999999999999", CATALOG, "Country", "x"], "whole number"),
                (["try", "--only=all", CATALOG, "Country", "x"], "not 'all'")]:
            self.assertIn(words, self.fails(*arguments), arguments)

    def test_options_may_stand_behind_operands_and_end_with_two_dashes(self):
        self.assertEqual(self.runs("lint", CATALOG, "--notes"), self.runs("lint", "--notes", "--", CATALOG))

    def test_what_is_typed_cannot_command_a_terminal(self):
        self.assertIn(r"\u001b[31m", self.fails("\x1b[31m"))
        self.assertIn(r"\u001b", self.fails("lint", "\x1b[2Jmissing"))


class Colours(JnmapCase):
    def on_terminal(self, *arguments, **environment):
        """What it writes to a terminal."""
        terminal, end = pty.openpty()
        with subprocess.Popen([JNMAP, *map(str, arguments)], stdout=end, stderr=subprocess.PIPE,
                              env={**os.environ, "TERM": "xterm", **environment}) as process:
            os.close(end)
            output = b""
            while True:
                try:
                    part = os.read(terminal, 4096)
                except OSError:
                    break
                if not part:
                    break
                output += part
            os.close(terminal)
        return output.decode()

    def test_a_terminal_gets_colours(self):
        self.assertIn("\x1b[", self.on_terminal("lint", "--notes", CATALOG, NO_COLOR=""))
        self.assertNotIn("\x1b[", self.on_terminal("lint", "--notes", CATALOG, NO_COLOR="1"))
        self.assertNotIn("\x1b[", self.on_terminal("lint", "--notes", CATALOG, NO_COLOR="", TERM="dumb"))
        self.assertNotIn("\x1b[", self.on_terminal("lint", "--color=never", "--notes", CATALOG, NO_COLOR=""))
        self.assertIn("\x1b[", self.on_terminal("lint", "--color=always", "--notes", CATALOG, NO_COLOR="1"))

    def test_a_pipe_gets_none_unless_they_are_wanted(self):
        plain = self.runs("explain", CATALOG, "Product")
        self.assertNotIn("\x1b", plain)
        coloured = self.runs("explain", "--color=always", CATALOG, "Product")
        self.assertEqual(re.sub(r"\x1b\[\d+m", "", coloured), plain)


class Writing(JnmapCase):
    def test_a_full_disk_is_told(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("no /dev/full here")
        for arguments in (["lint", CATALOG], ["explain", CATALOG, "Product"], ["--help"], ["--version"],
                          ["try", "--at=products", CATALOG, "Product", PRODUCTS], ["lint", "--help"]):
            with open("/dev/full", "w") as full:
                done = subprocess.run([JNMAP, *map(str, arguments)], stdout=full, stderr=subprocess.PIPE,
                                      text=True, timeout=60)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertIn("standard output: No space left", done.stderr)

    def test_a_reader_that_goes_away_ends_it_quietly(self):
        text = "[" + ",".join(['{"title": "%d"}' % i for i in range(50_000)]) + "]"
        command = [JNMAP, "try", str(CATALOG), "Product", str(self.write("many.json", text))]
        for ignored in (False, True):
            with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  restore_signals=not ignored) as process:
                self.assertTrue(process.stdout.readline())
                process.stdout.close()
                errors = process.stderr.read().decode()
                status = process.wait(timeout=60)
            if ignored:
                self.assertEqual((status, errors), (2, "jnmap: standard output: Broken pipe\n"))
            else:
                self.assertEqual((status, errors), (-13, ""))


class Pages(JnmapCase):
    def options(self):
        """The options of every command, as its help lists them."""
        return {command: re.findall(r"(?m)^  --([\w-]+)", self.runs(command, "--help"))
                for command in COMMANDS}

    def test_the_man_page_and_the_completions_know_every_option(self):
        page = (TOOL / "jnmap.1").read_text().replace("\\-", "-")
        bash = (TOOL / "completions" / "jnmap").read_text()
        zsh = (TOOL / "completions" / "_jnmap").read_text()
        for command, options in self.options().items():
            self.assertGreater(len(options), 2)
            self.assertIn(f".B {command}\n", page)
            self.assertIn(f"'{command}:", zsh)
            of_bash = re.search(rf"(?m)^      {command}\) options\+='(.*)'", bash)[1].split()
            self.assertEqual({option.strip("-=") for option in of_bash} | {"help"}, set(options))
            for option in options:
                self.assertIn(f"--{option}", page)
                self.assertIn(f"--{option}", zsh)

    def test_the_man_page_has_no_mistakes(self):
        if not shutil.which("groff"):
            self.skipTest("no groff here")
        done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z", str(TOOL / "jnmap.1")],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def completed(self, *words):
        """What bash offers for the last of the words."""
        script = (f"source {TOOL / 'completions' / 'jnmap'}; COMP_WORDS=(\"$@\"); "
                  "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _jnmap; printf '%s\\n' \"${COMPREPLY[@]}\"")
        done = subprocess.run(["bash", "-c", script, "bash", "jnmap", *map(str, words)],
                              capture_output=True, text=True, timeout=60, cwd=self.folder)
        return [line for line in done.stdout.splitlines() if line]

    def test_bash_completes_commands_options_and_entities(self):
        self.assertEqual(self.completed("l"), ["lint"])
        self.assertEqual(self.completed("lint", "--no"), ["--notes"])
        self.assertEqual(self.completed("try", "--color", "=", "a"), ["auto", "always"])
        self.assertEqual(self.completed("try", "--only", "="),
                         ["stored", "cleared", "sent", "refused", "ignored"])
        self.assertEqual(self.completed("explain", CATALOG, "C"), ["CatalogItem", "Country"])
        self.assertEqual(self.completed("explain", "--dot", CATALOG / "contents", "P"), ["Product"])
        self.write("records.json", "[]")
        self.assertEqual(self.completed("try", CATALOG, "Product", "rec"), ["records.json"])

    def test_bash_runs_nothing_that_a_model_says(self):
        path = self.write("M.xcdatamodel/contents",
                          '<model>\n<entity name="$(touch evil)"/>\n<entity name="`touch evil`"/></model>')
        self.completed("explain", path.parent, "")
        self.assertFalse((self.folder / "evil").exists())

    def test_zsh_takes_its_completion(self):
        if not shutil.which("zsh"):
            self.skipTest("no zsh here")
        done = subprocess.run(["zsh", "-n", str(TOOL / "completions" / "_jnmap")], capture_output=True,
                              text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
