"""The command line of pdmsim: help, wrong words, wrong files, completions, output that cannot be written.

Usage: command_line_test.py PDMSIM MESH_FOLDER [unittest arguments]"""

import shutil
import subprocess
import sys
import unittest

import numpy as np

from pdmsim_cases import MESHES, PDMSIM, QUAD, Case, run


class CommandLine(Case):
    def test_use(self):
        self.assertRegex(run("--version").stdout, rb"^pdmsim \d+\.\d+\.\d+\nHDF5 1\.\d+\.\d+\nfile layout 102, format 2\n$")
        done = run("show", "--help")
        self.assertEqual((done.returncode, done.stderr, b"Examples:" in done.stdout), (0, b"", True))
        for args in ((), ("frobnicate",), ("import", "a"), ("show", "a", "--head", "-1"), ("show", "a", "b", "c")):
            done = run(*args)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (1, b"", 1), args)

    def test_words_that_are_nearly_right(self):
        for word, guess in (("shwo", "did you mean 'show'?"), ("imp", "'import'"), ("frobnicate", "there are import"),
                            ("generat", "there are import")):
            for args in ((word,), ("help", word), (word, "file")):
                self.refused(1, *args, says=[f"found '{word}'", guess])
        self.assertEqual(run("help", "show").stdout, run("show", "--help").stdout)
        self.assertEqual(run("help").stdout, run("--help").stdout)
        self.assertNotIn(b"generate", run("help").stdout)
        self.refused(1, "show", "a", "--head", "-1", says=["--head", "found -1", "pdmsim help show"])

    def test_one_wording_for_what_is_no_simulation(self):
        mesh, classic = MESHES / "block.exo", self.make(nodes=np.eye(4, 2), blocks=QUAD, format="NETCDF3_CLASSIC")
        (self.dir / "empty").touch()
        (self.dir / "text").write_text("nothing\n")
        run("import", mesh, self.out)
        for name, says in ((mesh, "found an Exodus mesh: 'pdmsim import' makes"), (classic, "found an Exodus mesh"),
                           ("none", "found none: No such file"), (self.dir, "found a directory"),
                           (self.dir / "empty", "found an empty file"), (self.dir / "text", "found something else")):
            for command in ("show", "info", "check", "recover", "compact", "dofs", "watch"):
                self.refused(2, command, name, says=[f"pdmsim: {name}: expected a simulation file, {says}"])
        self.refused(2, "import", "none", self.dir / "new", says=["none: expected a mesh, found none: No such file"])
        self.refused(2, "import", self.out, self.dir / "new", says=["expected a mesh, found a simulation file: 'pdmsim show'"])

    def test_man_pages_and_completions_say_what_help_says(self):
        self.done(PDMSIM, "generate", self.dir)
        page = (self.dir / "pdmsim-show.1").read_text()
        for text in ("pdmsim\\-show \\- Print what", "\\fB\\-\\-digits\\fR \\fIN\\fR", "nodeSets/inlet"):
            self.assertIn(text, page)
        complete = ("source {}; COMP_WORDS=({}); COMP_CWORD={}; _pdmsim; echo ${{COMPREPLY[@]}}").format
        for words, wanted in (("pdmsim sh", "show"), ("pdmsim show f --dr", "--drawer"), ("pdmsim help comp", "compact")):
            script = complete(self.dir / "pdmsim.bash", words, len(words.split()) - 1)
            self.assertEqual(self.done("bash", "-c", script).decode().split(), [wanted])
        self.assertIn("-l digits", (self.dir / "pdmsim.fish").read_text())
        if shutil.which("groff"):
            self.assertIn(b"--digits N", self.done("groff", "-man", "-Tascii", "-P-cbou", self.dir / "pdmsim-show.1"))

    def test_output_that_cannot_be_written(self):
        run("import", MESHES / "block.exo", self.out)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([PDMSIM, "show", self.out], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"standard output", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
