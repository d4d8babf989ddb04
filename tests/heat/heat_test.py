"""Drives examples/heat as its README does. Usage: heat_test.py HEAT PDMSIM PROJECT_FOLDER [unittest arguments]"""

import json
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

import nbclient
import nbformat

PACKAGE = os.environ.get("PYTHONPATH")
HEAT, PDMSIM, PROJECT = map(Path, sys.argv[1:4])
sys.path.append(str(PROJECT / "tests/tools"))
import programs  # noqa: E402

STEPS = 12


class Heat(programs.Case):
    def setUp(self):
        super().setUp()
        self.bar = self.mesh("bar.pdm")

    def mesh(self, name):
        self.done(PDMSIM, "import", PROJECT / "examples/meshes/block.exo", self.dir / name, "--quiet")
        return self.dir / name

    def heat(self, file, *flags):
        return self.done(HEAT, file, "--steps", STEPS, *flags)

    def diff(self, *args):
        return programs.run(PDMSIM, "diff", *args).returncode

    def test_a_run_that_is_killed_goes_on_and_ends_as_if_nothing_had_been(self):
        whole, exact = self.mesh("whole.pdm"), self.mesh("exact.pdm")
        self.assertIn(b"step %d of %d" % (STEPS, STEPS), self.heat(whole))
        running = subprocess.Popen([HEAT, self.bar, "--steps", str(STEPS), "--pause", "20"], stdout=subprocess.PIPE)
        self.addCleanup(running.stdout.close)
        for _ in range(5):
            running.stdout.readline()
        running.kill()
        running.wait(60)
        self.assertRegex(self.heat(self.bar), rb"[56] steps are there, going on\nstep [56] of")  # every step that was told
        self.assertEqual(self.diff(whole, self.bar), 0)
        self.assertRegex(self.done(PDMSIM, "check", self.bar), rb"(.*note: .*\n){5}.* \d+ more notes \[orphan\].*\n.*: sound")

        self.heat(exact, "--series")
        self.assertEqual(self.diff(exact, self.bar, "--tol", "temperature=abs:0.3"), 0)
        self.assertEqual(self.diff(exact, self.bar, "--tol", "temperature=abs:0.001"), 1)

    def test_is_watched_while_it_runs(self):
        running = subprocess.Popen([HEAT, self.bar, "--steps", str(STEPS), "--pause", "50"], stdout=subprocess.PIPE)
        self.addCleanup(running.wait, 60)
        self.addCleanup(running.stdout.close)
        running.stdout.readline()
        watch = subprocess.Popen([PDMSIM, "watch", self.bar, "--json", "--interval", "0.02"], stdout=subprocess.PIPE)
        self.addCleanup(watch.wait, 60)
        self.addCleanup(watch.stdout.close)
        self.addCleanup(watch.kill)
        first, second = (json.loads(watch.stdout.readline()) for _ in range(2))
        self.assertGreater(second["time"], first["time"])

    @unittest.skipUnless(PACKAGE, "without Python's package")
    def test_a_notebook_follows_it(self):
        notebook = nbformat.read(PROJECT / "examples/heat/follow.ipynb", 4)
        client = nbclient.NotebookClient(notebook, timeout=120, resources={"metadata": {"path": self.dir}})
        with client.setup_kernel():
            for index, cell in enumerate(notebook.cells):
                client.execute_cell(cell, index)
                if "live=True" in cell.source:  # the file is open: however long that took, now the solver begins
                    running = subprocess.Popen([HEAT, self.bar, "--pause", "100"], stdout=subprocess.DEVNULL)
                    self.addCleanup(running.wait, 60)
                    self.addCleanup(running.kill)
        outputs = [output for cell in notebook.cells for output in cell.get("outputs", ())]
        said = "".join(output.get("text", "") for output in outputs if output.get("name") == "stdout")
        steps, looks, off = re.fullmatch(r"(\d+) steps in (\d+) looks\nat most (\S+) K\n", said).groups()
        self.assertEqual(int(steps), 31)
        self.assertGreater(int(looks), 1)  # while it ran
        self.assertLess(float(off), 0.1)
        shown = [output["data"] for output in outputs if "data" in output]
        self.assertEqual(sum("image/png" in data for data in shown), 1)  # one picture that changed
        self.assertIn("temperature", shown[-1]["text/html"])

    def test_a_mesh_that_it_cannot_take_is_named(self):
        flat = self.dir / "flat.pdm"
        self.done(PDMSIM, "import", PROJECT / "examples/meshes/annulus-20.exo", flat, "--quiet")
        self.refused(1, HEAT, flat, says=["heat: expected a mesh in space, found 2 dimensions"])
        self.refused(1, HEAT, self.dir / "none.pdm", says=["none.pdm", "No such file"])


unittest.main(argv=sys.argv[:1] + sys.argv[4:])
