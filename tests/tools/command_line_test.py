"""The command line of pdmsim: help, wrong words, wrong files, completions, output that cannot be written.

Usage: command_line_test.py PDMSIM MESH_FOLDER [unittest arguments]"""

import pathlib
import shutil
import subprocess
import sys
import unittest

import h5py
import numpy as np

from pdmsim_cases import MESHES, PDMSIM, QUAD, Case, run


class CommandLine(Case):
    def test_use(self):
        self.assertRegex(run("--version").stdout, rb"^pdmsim \d+\.\d+\.\d+\nHDF5 1\.\d+\.\d+\nfile layout 102, format 2\n$")
        done = run("show", "--help")
        self.assertEqual((done.returncode, done.stderr, b"Examples:" in done.stdout), (0, b"", True))
        for args in (("frobnicate",), ("import", "a"), ("show", "a", "--head", "-1"), ("show", "a", "b", "c")):
            done = run(*args)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (1, b"", 1), args)

    def test_the_bare_word_teaches(self):
        lines = self.done(PDMSIM).decode().splitlines()
        commands = [line.split()[1] for line in lines if line.startswith("  pdmsim ")]
        self.assertEqual((commands, len(lines)), (["import", "info", "show", "draw", "check"], 7))
        for folder in ("/proc/none", MESHES / "README.md" / "x"):
            self.refused(2, "generate", folder, says=[f"{folder}: expected a folder to write to, found: "])

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
        for words, wanted in (("pdmsim sh", "show"), ("pdmsim show f --dr", "--drawer"), ("pdmsim help comp", "compact"),
                              ("pdmsim draw f --with m", "matplotlib"), ("pdmsim export f x --format g", "gmsh"),
                              ("pdmsim draw f bea", "")):
            script = complete(self.dir / "pdmsim.bash", words, len(words.split()) - 1)
            self.assertEqual(self.done("bash", "-c", script).decode().split(), wanted.split())
        self.assertIn("-l digits", (self.dir / "pdmsim.fish").read_text())
        if shutil.which("groff"):
            self.assertIn(b"--digits N", self.done("groff", "-man", "-Tascii", "-P-cbou", self.dir / "pdmsim-show.1"))

    def test_numbers_that_are_none_or_absurd(self):
        out = {"draw": ["-o", "x.png"], "report": ["-o", "x.html"], "export": ["x.exo"], "diff": ["b"]}
        for command, options in {
                "show": {"--head": "-1 1e9 2.5", "--digits": "0 99", "--step": "-1 1e9 x", "--drawer": "-1", "--most": "0"},
                "export": {"--step": "-1 1e9 99999999999"}, "dofs": {"--node": "1e9 x 99999999999"},
                "draw": {"--step": "-1", "--component": "-2 1.5", "--mode": "0 x", "--scale": "nan x 1e300",
                         "--size": "x 800 0x0 12x1e9"},
                "report": {"--steps": "0 -1", "--most": "0 nan"}, "watch": {"--interval": "0 nan -1"},
                "diff": {"--abs": "-1 nan x", "--rel": "inf", "--floor": "-1", "--time-tolerance": "-1"},
                "check": {"--wait": "-1 1e9 x"}, "view": {"--wait": "-1"}}.items():
            for option, values in options.items():
                for value in values.split():
                    self.refused(1, command, "a.pdm", *out.get(command, []), option, value,
                                 says=[option, "expected ", "found ", value.lstrip("-")])

    def test_nothing_goes_where_it_is_read_or_to_a_dash(self):
        mesh, out = shutil.copy(MESHES / "block.exo", self.dir), self.dir / "a.pdm"
        self.done(PDMSIM, "import", mesh, out, "--quiet")
        page, picture, view = (shutil.copy(out, self.dir / name) for name in ("a.html", "a.png", "a.hdf"))
        before = out.read_bytes()
        for command, to in (("import", [mesh, mesh]), ("export", [out, out, "--format", "vtu"]), ("report", [page, "-o", page]),
                            ("draw", [picture, "-o", picture]), ("view", [view, "-o", view]),
                            ("diff", [out, page, "--write-tolerances", out])):
            self.refused(2, command, *to, *([] if command == "diff" else ["--force"]), says=["the one that is read"])
        for command, to in (("import", [mesh, "-"]), ("export", [out, "-", "--format", "vtu"]), ("report", [out, "-o", "-"]),
                            ("draw", [out, "-o", "-"]), ("view", [out, "-o", "-"]), ("compact", [out, "-o", "-"]),
                            ("diff", [out, page, "--write-tolerances", "-"])):
            self.refused(1, command, *to, says=["-: expected"])
        self.assertEqual({file.read_bytes() for file in map(pathlib.Path, (out, page, picture, view))}, {before})

    def test_damage_is_told_by_its_cause(self):
        whole = self.dir / "whole.pdm"
        self.done(PDMSIM, "import", MESHES / "block.exo", whole, "--quiet")
        for name in ("no members", "no numbers", "other numbers"):
            bad = shutil.copy(whole, self.dir / "bad.pdm")
            with h5py.File(bad, "r+") as file:
                drawer = file["store/distributions/1/0"]
                if name == "no members":
                    del drawer.attrs["members"]
                elif name == "no numbers":
                    del file["store"]
                else:
                    drawer[0, 0] += 1
            says = {"no members": "/store/distributions/1/0: describe drawer: can't locate", "no numbers": "no object of that kind",
                    "other numbers": "/store/distributions/1/0: read drawer: the data is damaged"}[name]
            x = self.dir / "x"
            for args in (["draw", bad, "-o", f"{x}.png"], ["report", bad, "-o", x], ["export", bad, f"{x}.exo"],
                         ["view", bad, "-o", f"{x}.hdf"], ["diff", bad, whole]):
                if (args[0], name) != ("view", "other numbers"):  # which viewers do not look at
                    with self.subTest(name, args=args):
                        self.refused(2, *args, says=[says])
                        self.assertEqual(run(*args).stderr.count(b"bad.pdm"), 1)

    def test_what_moves_a_terminal_is_escaped(self):
        bad, wide = b"\x1b[31m\x9b\xc2\x9b\xed\x07", "Ümläut €".encode()
        (self.dir / "a.msh").write_bytes(bad + wide + b"\n")
        done = run("import", self.dir / "a.msh", self.out)
        self.assertIn(b"\\x1b[31m\\x9b\\xc2\\x9b\\xed\\x07" + wide, done.stderr)
        named = self.dir / "\x1b[32m.pdm"
        self.assertNotIn(b"\x1b", self.done(PDMSIM, "import", MESHES / "block.exo", named))

    def test_one_exit_code_for_one_fault(self):
        pdm, golden = self.out, pathlib.Path(__file__).parents[1] / "golden" / "0.2"
        self.done(PDMSIM, "import", MESHES / "block.exo", pdm, "--quiet")
        x = self.dir / "x"
        for args in (["export", pdm, f"{x}.vtu", "--step", "1"], ["draw", pdm, "-o", f"{x}.png", "--step", "1"]):
            self.refused(1, *args, says=["expected a step in 0..0, found 1"])
        modal = golden / "modal.pdm"
        for args in (["export", modal, f"{x}.vtu", "--step", "0"], ["draw", modal, "-o", f"{x}.png", "--step", "0"]):
            self.refused(1, *args, says=["expected no --step, as it has none, found 0"])
        for args in (["export", f"{x}.vtu", "--lossy"], ["view", "-o", f"{x}.hdf"], ["draw", "-o", f"{x}.png"]):
            self.refused(2, args[0], golden / "systems.pdm", *args[1:], says=["found none"])

    def test_output_that_cannot_be_written(self):
        run("import", MESHES / "block.exo", self.out)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([PDMSIM, "show", self.out], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"standard output", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
