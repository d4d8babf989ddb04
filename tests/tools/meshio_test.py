"""Imports Abaqus and Nastran meshes, which meshio reads.

Usage: meshio_test.py PDMSIM [unittest arguments]"""

import sys
import unittest

import meshio
import numpy as np

import programs
from gmsh_test import HEX, PDMSIM, QUADRATIC, Case, one

ABAQUS = """*Heading
 a brick with a beam
*NODE
{nodes}
*ELEMENT, TYPE=C3D20, ELSET=brick
4, {twenty}
*ELEMENT, TYPE=B31, ELSET=beam
7, 22, 29
*NSET, NSET=fixed
22,23
24
*ELSET, ELSET=all, GENERATE
4,7,3
*MATERIAL, NAME=steel
"""
NASTRAN = """SOL 101
BEGIN BULK
GRID,11,,0.,0.,0.
GRID,12,,1.,0.,0.
GRID,13,,1.,1.,0.
GRID,14,,0.,1.,0.
GRID,15,,0.,0.,1.
CTETRA,5,3,11,12,14,15
CTRIA3,6,9,12,13,14
CTRIA3,8,9,11,14,12
MAT1,1,2.1+11,,.3
ENDDATA
"""


def abaqus():
    """The brick's nodes on edges are around the bottom, around the top, between."""
    edges = ["01", "12", "23", "30", "45", "56", "67", "74", "04", "15", "26", "37"]
    at = [*HEX, *(HEX[[int(c) for c in e]].mean(axis=0) for e in edges)]
    nodes = [f"{22 + i}, {x}, {y}, {z}" for i, (x, y, z) in enumerate(at)]
    return ABAQUS.format(nodes="\n".join(nodes), twenty=", ".join(str(22 + i) for i in range(20)))


class Meshio(Case):
    def write(self, name, text):
        (self.dir / name).write_text(text)
        return self.dir / name

    def sets(self, sim):
        return {k.decode(): list(sim.members(v)) for k, v in sim.mesh.elementSets.items()}

    def test_abaqus(self):
        sim = self.import_(self.write("a.inp", abaqus()), [
            f"what meshio {meshio.__version__} may have left out: this format is experimental", "labels of nodes and elements",
            "keywords MATERIAL"])
        self.assertEqual(self.sets(sim), {"brick": [0], "beam": [1], "all": [0, 1]})
        self.assertEqual(list(sim.members(sim.mesh.nodeSets[b"fixed"])), [0, 1, 2])
        drawer = sim.drawers(sim.mesh.elementFields[b"connectivity"])[0]
        xyz = one(sim, sim.mesh.nodeFields[b"coordinates"]).reshape(-1, 3)[np.ravel(drawer.values)]
        for node, edge in zip(xyz[8:], QUADRATIC["HEX20"][3], strict=True):
            np.testing.assert_allclose(node, HEX[[int(c) for c in edge]].mean(axis=0), err_msg=edge)

    def test_nastran(self):
        sim = self.import_(self.write("a.bdf", NASTRAN))
        self.assertEqual(self.sets(sim), {"property_3": [0], "property_9": [1, 2]})  # sides of others stay
        np.testing.assert_array_equal(one(sim, sim.mesh.elementFields[b"label"]), [5, 6, 8])
        np.testing.assert_array_equal(one(sim, sim.mesh.nodeFields[b"label"]), [11, 12, 13, 14, 15])

    def test_what_meshio_would_lose_is_refused(self):
        for text, old, new, *says in (
                (abaqus(), "C3D20", "C3D20X", "line 24", "C3D20X"), (abaqus(), "*MATERIAL, NAME=steel", "*SURFACE, NAME=wet", "wet"),
                (abaqus(), "*NSET, NSET=fixed", "*ELSET, ELSET=beam", "beam"), (abaqus(), "\n24\n", "\n24, brick\n", "fixed"),
                (abaqus(), "C3D20", "C3D15", "C3D15"), (abaqus(), "4,7,3", "4,9,1", "all"), (abaqus(), "*MATERIAL", "*INCLUDE", "*INCLUDE"),
                (abaqus(), "*NODE\n", "*NODE, NSET=every\n", "every"), (abaqus(), "7, 22, 29", "7, 22, 99", "99"),
                (NASTRAN, "CTRIA3,6", "CWELD,6", "CWELD"), (NASTRAN, "MAT1", "RBE2", "RBE2"),
                (NASTRAN, "GRID,15,,", "GRID,15,4,", "system 4"), (NASTRAN, "ENDDATA\n", "", "EOF")):
            with self.subTest(new=new):
                self.assertIn(old, text)
                self.refused(self.write("bad.inp" if text != NASTRAN else "bad.nas", text.replace(old, new)), *says)

    def test_without_meshio(self):
        path = self.write("a.inp", abaqus())
        lacking = self.write("python", f'#!/bin/sh\nexec {sys.executable} -S "$@"\n')
        lacking.chmod(0o755)
        for python, says in ((lacking, "install python3-meshio"), ("/nowhere/python3", "/nowhere/python3")):
            done = programs.run(PDMSIM, "import", path, self.out, PDMSIM_PYTHON=str(python))
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), done)
            self.assertIn(says, done.stderr.decode())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
