"""A program that uses every word of a language, and the ten lines in it; h5py judges the file.

Usage: words_test.py PROGRAM TEN_LINES PDMSIM, PDMSIM "-" where it is not built
"""

import sys
import unittest

import h5py
import numpy as np

sys.path.insert(0, __file__.rsplit("/", 2)[0] + "/tools")
import pdm_reader
import programs

PROGRAM, TEN_LINES, PDMSIM = sys.argv[1:4]
SAID = b"""node set "inlet"
node set "nobody"
the first inlet node is at 1 1 0
its temperature at 0.5 s is 324
8 equations
"""


class Words(programs.Case):
    def test_what_it_writes_is_what_h5py_reads(self):
        file = self.dir / "words.pdm"
        self.assertEqual(self.done(PROGRAM, file), b"")
        self.judge(file)
        self.assertEqual(self.done(TEN_LINES, file), SAID)
        with h5py.File(file) as stored:
            self.drawers(stored, "nodeFields", "heat", [[[324 - 4 + i] for i in range(6)]], "<f8", b"W")
        if PDMSIM != "-":
            self.done(PDMSIM, "check", file)

    def judge(self, file):
        with h5py.File(file) as stored:
            self.assertEqual(sorted(self.mesh(stored)["nodeSets"]), [b"inlet", b"nobody"])
            store = pdm_reader.Store(stored)
            self.assertEqual(list(store.members(self.mesh(stored)["nodeSets"][b"inlet"])), [4, 1])
            xyz = [[i % 3, i // 3, 0] for i in range(6)]
            x = self.drawers(stored, "nodeFields", "coordinates", [xyz], "<f8", b"m")
            self.assertEqual((x[0].compression_opts, x[0].chunks), (5, (4, 3)))
            self.drawers(stored, "nodeFields", "label", [[[10], [20], [30], [40], [50], [1 << 40]]], "<i8", b"")
            blocks = self.drawers(stored, "elementFields", "connectivity", [[[1, 2, 5, 4], [0, 1, 4, 3]]], "<i4", b"")
            self.assertEqual(list(store.members(blocks[0].attrs["members"])), [1, 0])
            steps = [[[300 + 10 * k + i] for i in range(6)] for k in range(3)]
            self.drawers(stored, "nodeFields", "temperature", steps, "<f4", b"K")
            self.drawers(stored, "frameFields", "time", [[[0], [0.25], [0.5]]], "<f8", b"s")
            sides = self.drawers(stored, "surfaces", "edge", [[[0]], [[3]]], "<i4", b"")
            self.assertEqual([list(store.members(s.attrs["members"])) for s in sides], [[1], [1]])
            (system,) = pdm_reader.systems(stored)
            self.assertEqual((system.name, system.kind), ("modal analysis", "ModalSystem"))
            self.assertEqual(system.base_field("nodalActivityMask")[()].ravel().tolist(), [0, 7, 7, 0, 3, 0])
            self.assertEqual(system.order()[()].tolist(), list(range(7, -1, -1)))
            self.assertEqual(system.field("frequencies")[()].ravel().tolist(), [12.5, 80])
            self.assertEqual(system.field("modeShapes")[()].ravel().tolist(), list(range(1, 9)))

    def mesh(self, stored):
        return pdm_reader.members(stored["sim/discreteModel/mesh"], "Mesh")

    def drawers(self, stored, member, name, values, kind, unit):
        """The drawers of a field, which hold these numbers."""
        field = self.mesh(stored)[member][name.encode()]
        found = [pdm_reader.Store(stored).drawer_data(field, i) for i in range(len(values))]
        self.assertEqual(len(stored[f"store/distributions/{field}"]), len(values), name)
        for drawer, expected in zip(found, values):
            self.assertEqual(drawer.dtype, np.dtype(kind), name)
            self.assertEqual(drawer[()].reshape(len(expected), -1).tolist(), expected, name)
        units = {d.attrs.get("unit", b"") for d in [*found, found[0].parent]}
        self.assertIn(unit, {u.encode() if isinstance(u, str) else u for u in units}, name)
        return found


unittest.main(argv=sys.argv[:1])
