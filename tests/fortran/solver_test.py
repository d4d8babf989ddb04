"""A solver in Fortran and who follows it live; killed, its file has whole steps.

Usage: solver_test.py HEAT FOLLOW PDMSIM, PDMSIM "-" where it is not built
"""

import math
import re
import subprocess
import sys
import time
import unittest

import h5py

sys.path.insert(0, __file__.rsplit("/", 2)[0] + "/tools")
import pdm_reader
import programs

HEAT, FOLLOW, PDMSIM = sys.argv[1:4]
DIFFUSIVITY, SIDE = 1e-2, 16


class Solver(programs.Case):
    def start(self, *args):
        started = subprocess.Popen(list(map(str, args)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(started.communicate)
        self.addCleanup(started.kill)
        return started

    def steps(self, file):
        """What h5py sees of a closed file: the largest temperature of each step."""
        with h5py.File(file) as stored:
            field = pdm_reader.members(stored["sim/discreteModel/mesh"], "Mesh")["nodeFields"][b"temperature"]
            drawers = stored[f"store/distributions/{field}"]
            return [float(drawers[str(i)][()].max()) for i in range(len(drawers))]

    def test_its_mesh_is_one_block(self):
        file = self.dir / "heat.pdm"
        self.done(HEAT, file, 1, 2)
        with h5py.File(file) as stored:
            mesh = pdm_reader.members(stored["sim/discreteModel/mesh"], "Mesh")
            quads = pdm_reader.Store(stored).drawer_data(mesh["elementFields"][b"connectivity"])
            self.assertEqual(quads[()].tolist(), [[0, 1, 4, 3], [1, 2, 5, 4], [3, 4, 7, 6], [4, 5, 8, 7]])
            self.assertEqual([sorted(mesh[sets]) for sets in ("elementSets", "regionSets")], [[b"plate"]] * 2)

    def test_each_step_is_seen_as_it_is_written(self):
        file, count = self.dir / "heat.pdm", 40
        follow = self.start(FOLLOW, file)
        solver = self.start(HEAT, file, count, SIDE, 30)
        first = follow.stdout.readline()
        self.assertIsNone(solver.poll(), "the first step is seen while the solver is at work")
        rest = follow.stdout.read()
        self.assertEqual((solver.wait(60), follow.wait(60), follow.stderr.read()), (0, 0, ""))
        lines = [re.fullmatch(r"step (\d+) of 40 at (\S+): at most (\S+) K", line).groups()
                 for line in (first + rest).splitlines()]
        self.assertEqual([int(step) for step, _, _ in lines], list(range(1, count + 1)))
        for (_, at, most), stored in zip(lines, self.steps(file), strict=True):
            self.assertAlmostEqual(float(most), stored, places=8)
            self.assertAlmostEqual(float(most), math.exp(-2 * math.pi**2 * DIFFUSIVITY * float(at)), delta=2e-3)
        if PDMSIM != "-":
            self.done(PDMSIM, "check", file)

    def test_a_killed_solver_leaves_whole_steps(self):
        file = self.dir / "heat.pdm"
        solver = self.start(HEAT, file, 1000, SIDE, 5)
        follow = self.start(FOLLOW, file)
        seen = [follow.stdout.readline() for _ in range(20)]
        self.assertIsNone(solver.poll())
        solver.kill()
        solver.wait()
        again = self.start(FOLLOW, file)  # a live reader shows what was committed
        self.assertEqual([again.stdout.readline() for _ in seen], seen)
        self.assertRegex(seen[-1], "^step 20 of 1000 at ")


unittest.main(argv=sys.argv[:1])
