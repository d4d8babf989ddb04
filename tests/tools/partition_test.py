"""pdmsim partition: what its parts are, what it says of them, and that nothing is lost where it is stopped.

Usage: partition_test.py PDMSIM WATCH_LIBRARY [unittest arguments]; WATCH_LIBRARY "-" for none."""

import collections
import fcntl
import json
import os
import shutil
import sys
import unittest

import h5py
import numpy as np

import exo_make
import mesh_make
import programs
from pdm_reader import Sim, content

PDMSIM, WATCH = sys.argv[1:3]
NAME = b"partition"
ROUNDS = 12  # kills of each run
# Corners of the first letters of a type, and how many of them a side has.
SHAPES = {"HEX": (8, 3), "TET": (4, 3), "SHELL4": (4, 2), "QUAD": (4, 2), "nsided": (None, 2), "BAR": (2, 1), "SPHERE": (1, 1)}
RING = [(0, 0), (1, 0), (1, 1), (0, 1)]


def grid(n):
    """Nodes of a cube, and its hexahedra, 1-based."""
    at = np.stack(np.meshgrid(*[np.arange(n + 1)] * 3, indexing="ij"), -1)
    number = np.arange(1, (n + 1) ** 3 + 1).reshape(at.shape[:3])
    corner = [number[i:n + i, j:n + j, k:n + k].ravel() for k in (0, 1) for i, j in RING]
    return at.reshape(-1, 3), np.stack(corner, 1)


class Partition(programs.Case):
    def setUp(self):
        super().setUp()
        self.pdm = self.dir / "a.pdm"

    def import_(self, **mesh):
        self.done(PDMSIM, "import", exo_make.write(self.dir / "a.exo", **mesh), self.pdm, "--quiet", "--force")

    def partition(self, count, pdm=None):
        told = json.loads(self.done(PDMSIM, "partition", pdm or self.pdm, count, "--json"))
        self.assertGreater(told.pop("seconds"), 0)
        self.assertEqual((told.pop("file"), told.pop("field")), (str(pdm or self.pdm), "elementFields/partition"))
        self.read(pdm or self.pdm)
        # What it says is what is stored.
        sizes = np.bincount(self.parts, minlength=count)
        self.assertEqual((len(sizes), sizes.min() > 0), (count, True))
        pairs = [(a, b) for a, others in self.neighbours.items() for b in others if a < b]
        cut = sum(self.parts[a] != self.parts[b] for a, b in pairs)
        self.assertAlmostEqual(told.pop("imbalance"), 100 * (sizes.max() / sizes.mean() - 1), places=9)
        replaced = told.pop("replaced")
        self.assertEqual(told, {"elements": len(self.parts), "parts": count, "min": sizes.min(), "max": sizes.max(),
                                "pairs": len(pairs), "cut": cut})
        return cut, replaced

    def read(self, pdm):
        """The parts as h5py reads them, and who shares enough corners with whom."""
        sim = Sim(pdm)
        drawer, = sim.drawers(sim.mesh.elementFields[NAME])
        self.assertEqual((drawer.long_name, drawer.values.dtype, drawer.values.ndim), (NAME, "<i4", 1))
        self.assertEqual(list(drawer.members), list(range(sim.items(sim.mesh.elements))))
        self.parts, corners, needs, at = drawer.values, {}, {}, collections.defaultdict(set)
        for block in sim.drawers(sim.mesh.elementFields[b"connectivity"]):
            count, need = next(v for k, v in SHAPES.items() if block.long_name.decode().startswith(k))
            for item, nodes in zip(block.members, block.values.reshape(len(block.members), -1)):
                corners[item] = {n for n in nodes[:count] if n >= 0}
                needs[item] = min(need, len(corners[item]))
                for node in corners[item]:
                    at[node].add(item)
        sim.file.close()
        self.neighbours = {a: {b for n in c for b in at[n] if b != a and len(c & corners[b]) >= min(needs[a], needs[b])}
                           for a, c in corners.items()}

    def pieces(self, part):
        """In how many pieces a part is."""
        left, count = set(np.flatnonzero(self.parts == part)), 0
        while left:
            front, count = [left.pop()], count + 1
            while front:
                near = self.neighbours[front.pop()] & left
                left -= near
                front += near
        return count

    def test_parts_of_a_cube(self):
        """Its elements are in no order, and in two blocks that take turns."""
        n, count = 12, 8
        nodes, hexes = grid(n)
        order = np.random.default_rng(1).permutation(len(hexes))
        hexes, half = hexes[order], len(hexes) // 2
        self.import_(nodes=nodes, blocks=[{"id": k + 1, "type": "HEX8", "name": "ab"[k], "conn": c}
                                          for k, c in enumerate((hexes[::2], hexes[1::2]))])
        sim = Sim(self.pdm)
        sets = [sim.set_data(sim.mesh.elementSets[name]).name for name in (b"a", b"b")]
        sim.file.close()
        with h5py.File(self.pdm, "r+") as file:
            for k, name in enumerate(sets):
                file[name][...] = np.arange(k, 2 * half, 2)
                del file[name].attrs["checksums"]
        shutil.copy(self.pdm, self.dir / "b.pdm")
        cut, replaced = self.partition(count)
        self.assertEqual((replaced, sum(map(len, self.neighbours.values()))), (False, 6 * n * n * (n - 1)))
        self.assertLess(cut, 0.6 * (count - 1) * n * n)  # of stripes as thick as they are many
        self.assertLess(np.bincount(self.parts).max(), 1.05 * len(hexes) / count)
        self.assertEqual([self.pieces(part) for part in range(count)], [1] * count)
        self.partition(count, self.dir / "b.pdm")
        first = content(self.pdm)
        self.assertEqual(content(self.dir / "b.pdm"), first)
        # Other parts take the place of these, and give it back.
        self.assertTrue(self.partition(5)[1])
        changed = {name for name, data in content(self.pdm).items() if data != first[name]}
        self.assertEqual((len(changed), content(self.pdm).keys()), (1, first.keys()))
        self.partition(count)
        self.assertEqual(content(self.pdm), first)
        self.assertIn(b": sound", self.done(PDMSIM, "check", self.pdm))
        for extreme in (1, len(hexes) - 1, len(hexes)):
            self.partition(extreme)
            self.assertLessEqual(np.bincount(self.parts).max(), {1: len(hexes)}.get(extreme, 2))

    def test_elements_of_all_dimensions(self):
        """A face makes solids neighbours, not an edge; an edge surfaces, not a corner; a node what ends there."""
        nodes = np.random.default_rng(2).random((90, 3))
        hex20 = [5, 6, 7, 8, 9, 10, 11, 12, *range(60, 72)]
        blocks = {"HEX8": [[1, 2, 3, 4, 5, 6, 7, 8], [7, 8, 13, 14, 15, 16, 17, 18], [20, 20, 21, 21, 22, 23, 24, 25]],
                  "HEX20": [hex20, [9, 10, 11, 12, 26, 27, 28, 29, *range(72, 84)]],
                  "SHELL4": [[1, 2, 3, 4], [3, 4, 30, 31], [31, 32, 33, 34]], "TETRA4": [[20, 21, 22, 35], [35, 36, 37, 38]],
                  "BAR2": [[33, 40], [40, 41], [41, 9], [50, 51], [40, 52]], "SPHERE": [[52], [53]]}
        self.import_(nodes=nodes, blocks=[{"id": k + 1, "type": t, "conn": c} for k, (t, c) in enumerate(blocks.items())] +
                     [{"id": 50, "type": "nsided", "conn": [30, 31, 54, 55, 56, 54, 55, 57], "corners": [5, 3]}])
        for count in (1, 2, 3, 7, 18, 19):
            self.partition(count)
        wanted = {0: {3, 5, 6}, 1: set(), 2: {8}, 3: {0, 4, 12}, 4: {3, 12}, 5: {0, 6}, 6: {0, 5, 17}, 7: {10}, 8: {2}, 9: set(),
                  10: {7, 11, 14}, 11: {10, 12, 14}, 12: {3, 4, 11}, 13: set(), 14: {10, 11, 15}, 15: {14}, 16: set(),
                  17: {6, 18}, 18: {17}}
        self.assertEqual(self.neighbours, wanted)  # by which the neighbours of this test are held

    def test_other_formats_have_it(self):
        nodes, hexes = grid(3)
        self.import_(nodes=nodes, blocks=[{"id": 1, "type": "HEX8", "conn": hexes}], elem_labels=np.arange(27) + 100)
        self.partition(4)
        parts = list(self.parts)
        for name in ("out.exo", "out.vtu", "out.hdf"):
            self.done(PDMSIM, "export", self.pdm, self.dir / name, "--quiet")
            if name != "out.hdf":
                self.done(PDMSIM, "import", self.dir / name, self.dir / "back.pdm", "--quiet", "--force")
                sim = Sim(self.dir / "back.pdm")
                self.assertEqual(list(sim.drawers(sim.mesh.elementFields[NAME])[0].values), parts)
                sim.file.close()
        with h5py.File(self.dir / "out.hdf") as file:
            self.assertEqual(list(file["VTKHDF/CellData/partition"]), parts)
        self.done(PDMSIM, "export", self.pdm, self.dir / "out.csv", "--field", "partition", "--quiet")
        _, *rows = [line.split(",")[1:] for line in (self.dir / "out.csv").read_text().splitlines()]
        self.assertEqual([(int(label), int(part)) for label, part in rows], list(zip(range(100, 127), parts)))

    def test_refused(self):
        def refused(code, *args, says):
            before = self.pdm.read_bytes()
            self.refused(code, PDMSIM, "partition", *args, says=says)
            self.assertEqual(self.pdm.read_bytes(), before)

        nodes, hexes = grid(2)
        self.import_(nodes=nodes, blocks=[{"id": 1, "type": "HEX8", "conn": hexes}])
        refused(1, self.pdm, 9, says=["at most as many parts as elements, 8, found 9"])
        for count in ("0", "-1", "2.5", "many"):
            refused(1, self.pdm, count, says=["whole number from 1"])
        refused(2, self.dir / "a.exo", 2, says=["pdmsim import"])
        with open(self.pdm, "rb") as file:
            fcntl.flock(file, fcntl.LOCK_SH)
            refused(2, self.pdm, 2, says=["--wait"])
        self.pdm.chmod(0o400)
        if os.geteuid() != 0:
            refused(2, self.pdm, 2, says=["Permission denied"])
        self.pdm.chmod(0o600)
        self.import_(nodes=nodes)
        refused(2, self.pdm, 1, says=["expected elements to share out, found none"])
        # Fields of the name that others have made.
        hexes = {"points": nodes, "cells": [(12, list(cell - 1)) for cell in hexes], "point": {}}
        for values, found in ((np.arange(8.0) / 2, "1 drawer of 8 x 1 double"), (np.arange(24.0).reshape(8, 3), "8 x 3 double")):
            mesh = mesh_make.vtk(self.dir / "f.vtk", hexes | {"cell": {"partition": values}})
            self.done(PDMSIM, "import", mesh, self.pdm, "--quiet", "--force")
            refused(1, self.pdm, 2, says=["one int32 for each element", found, "another name"])

    @unittest.skipIf(WATCH == "-", "where sanitizers stand")
    def test_killed_at_any_call(self):
        place = self.dir / "place"
        nodes, hexes = grid(4)
        self.import_(nodes=nodes, blocks=[{"id": 1, "type": "HEX8", "conn": hexes}])
        for before in (None, 3):
            if before:
                self.partition(before)
            old = content(self.pdm)
            watch = {"LD_PRELOAD": WATCH, "PDM_WATCH": str(place)}

            def prepare():
                shutil.rmtree(place, ignore_errors=True)
                place.mkdir()
                return shutil.copy(self.pdm, place / "a.pdm")

            told = self.dir / "told"
            self.done(PDMSIM, "partition", prepare(), 5, "--quiet", **watch, PDM_TOLD=str(told))
            new, calls = content(place / "a.pdm"), int(told.read_text().split("\n")[0])
            self.assertTrue(new != old and calls > 5)
            for i in range(ROUNDS):
                with self.subTest(before=before, kill=i, of=calls):
                    at, file = 1 + (calls - 1) * i // (ROUNDS - 1), prepare()
                    self.assertEqual(programs.run(PDMSIM, "partition", file, 5, **watch, PDM_KILL_AT=str(at)).returncode, -9)
                    self.done(PDMSIM, "recover", file, "--apply")
                    self.assertIn(content(file), (old, new))
                    self.assertIn(b": sound", self.done(PDMSIM, "check", file))
                    self.done(PDMSIM, "partition", file, 5, "--quiet")
                    self.assertEqual(content(file), new)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
