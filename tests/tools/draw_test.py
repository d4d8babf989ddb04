"""Drives pdmsim draw: the colours of its pictures, the paths that it takes, modes.

Usage: draw_test.py PDMSIM MODAL_ANALYSIS PROGRAM_THAT_DIES MESH_FOLDER [unittest arguments]; MODAL_ANALYSIS "-" for none."""

import json
import pathlib
import sys
import unittest

import matplotlib.image
import numpy as np

import exo_make
import programs

PDMSIM, MODAL, DYING, MESHES = *sys.argv[1:4], pathlib.Path(sys.argv[4])


class Draw(programs.Case):
    def draw(self, pdm, *args, **env):
        out = self.dir / "out.png"
        self.told = json.loads(self.done(PDMSIM, "draw", pdm, *args, "-o", out, "--force", "--json", **env))
        picture = (matplotlib.image.imread(out)[..., :3] * 255).round().astype(int)
        return picture.shape[:2], lambda *colour: int((abs(picture - colour).max(axis=2) < 30).sum())

    def test_pictures(self):
        """By VTK and by Matplotlib: the colours that must be there are, and no others."""
        pdm = self.dir / "out.pdm"
        ring = [[1, 2, 3, 4], [2, 5, 6, 3]]
        nodes = [[0, 0], [1, 0], [1, 1], [0, 1], [2, 0], [2, 1]]
        mesh = exo_make.write(
            self.dir / "mesh.exo", nodes=nodes, times=[0.0, 1.0],
            blocks=[{"id": k + 1, "type": "QUAD4", "name": "", "conn": [c]} for k, c in enumerate(ring)],
            elem_sets=[{"id": 1, "name": "picked", "members": [2]}],
            elem_vars={"heat": {0: [[0.0], [1.0]], 1: [[0.0], [2.0]]}})
        self.done(PDMSIM, "import", mesh, pdm, "--quiet")
        yellow, violet, red, blue, orange = (253, 231, 37), (68, 1, 84), (209, 73, 91), (78, 121, 167), (242, 142, 43)
        for drawer in ("vtk", "matplotlib"):
            with self.subTest(drawer):
                size, count = self.draw(pdm, "--with", drawer, "--size", "600x400")
                self.assertEqual(size, (400, 600))
                self.assertAlmostEqual(count(*blue) / count(*orange), 1, delta=0.1)
                _, count = self.draw(pdm, "picked", "--with", drawer)
                self.assertTrue(count(*red) > 50000 and count(*blue) < 1000)
                _, count = self.draw(pdm, "discreteModel/mesh/elementFields/heat", "--with", drawer)
                self.assertAlmostEqual(count(*violet) / count(*yellow), 1, delta=0.2)
                _, first = self.draw(pdm, "heat", "--step", 0, "--with", drawer)
                self.assertLess(first(*yellow), count(*yellow) / 10)
        self.refused(1, PDMSIM, "draw", pdm, "cold", "-o", self.dir / "x.png", says=("'cold'", "there are block, label, picked, heat, coordinates"))
        self.refused(1, PDMSIM, "draw", pdm, "--mode", 1, "-o", self.dir / "x.png", says=("mode shapes",))
        self.refused(1, PDMSIM, "draw", pdm, "heat", "--component", 1, "-o", self.dir / "x.png", says=("component below 1",))
        self.refused(2, PDMSIM, "draw", pdm, "-o", self.dir / "no" / "x.png", says=("expected the directory",))
        self.refused(2, PDMSIM, "draw", pdm, "-o", self.dir / "out.png", says=("--force",))

    def test_kinds(self):
        """Integers that elements share have a colour each and a legend; those that number elements have a scale."""
        pdm, violet, blue, orange = self.dir / "out.pdm", (68, 1, 84), (78, 121, 167), (242, 142, 43)
        nodes = [[x, y] for y in (0, 1) for x in range(5)]
        self.done(PDMSIM, "import", exo_make.write(
            self.dir / "mesh.exo", nodes=nodes, elem_labels=[5, 6, 7, 8],
            blocks=[{"id": 1, "type": "QUAD4", "conn": [[k, k + 1, k + 6, k + 5] for k in (1, 2, 3, 4)]}]), pdm, "--quiet")
        self.done(PDMSIM, "partition", pdm, 2)
        for drawer in ("vtk", "matplotlib"):
            _, count = self.draw(pdm, "partition", "--with", drawer)
            self.assertEqual([self.told[k] for k in ("min", "max", "shows")], [0, 1, "elementFields/partition"])
            self.assertTrue(count(*blue) > 20000 and count(*violet) == 0, drawer)
            self.assertAlmostEqual(count(*blue) / count(*orange), 1, delta=0.1)
            _, count = self.draw(pdm, "elementFields/label", "--with", drawer)
            self.assertGreater(count(*violet), 10000)

    def test_paths(self):
        """Whatever show prints is drawn or said to be no picture; wrong names get a guess."""
        pdm, white, violet = self.dir / "out.pdm", (255, 255, 255), (68, 1, 84)
        nodes = [[0, 0], [1, 0], [1, 1], [0, 1], [2, 0], [2, 1]]
        heat, nothing = [[0.0] * 6, [1.0] * 6], [[1.0] * 6, [np.nan] * 6]
        self.done(PDMSIM, "import", exo_make.write(
            self.dir / "mesh.exo", nodes=nodes, times=[0.0, 1.0], node_vars={"heat": heat, "nothing": nothing},
            node_sets=[{"id": k + 1, "name": n, "members": [k + 1, 5]} for k, n in enumerate("ab")],
            nset_vars={"on one": {1: [[3.0, 4.0]] * 2}, "on two": {0: [[5.0, 6.0]] * 2, 1: [[7.0, 8.0]] * 2}},
            blocks=[{"id": k + 1, "type": "QUAD4", "name": n, "conn": [c]}
                    for k, (n, c) in enumerate({"left": [1, 2, 3, 4], "right": [2, 5, 6, 3]}.items())]), pdm, "--unit", "on one=N", "--quiet")
        mesh = "discreteModel/mesh/"
        (self.dir / "real.png").write_bytes(b"")
        (self.dir / "real.png").chmod(0o640)
        (self.dir / "out.png").symlink_to("real.png")
        for drawer in ("vtk", "matplotlib"):
            for path in ("elementSets/right", mesh + "regionSets/right"):
                _, count = self.draw(pdm, path, "--with", drawer)
                self.assertTrue(count(209, 73, 91) > 50000 and self.told["members"] == 1)
            self.draw(pdm, mesh + "nodeFields/coordinates", "--component", 0, "--with", drawer)
            self.assertEqual([self.told[k] for k in ("min", "max", "by")], [0, 2, drawer])
            for path in ("on one", mesh + "nodeFields/on one", "nodeFields/on one (b)"):
                self.draw(pdm, path, "--with", drawer)
                self.assertEqual([self.told[k] for k in ("min", "max", "unit", "shows")], [3, 4, "N", "nodeFields/on one (b)"])
            _, count = self.draw(pdm, "nothing", "--with", drawer)
            self.assertEqual((self.told["min"], self.told["missing"], count(*violet)), (None, 6, 0))
        self.assertTrue((self.dir / "out.png").is_symlink() and (self.dir / "real.png").stat().st_mode & 0o777 == 0o640)
        self.assertIn(b"step 1 (time 1): no values", self.done(PDMSIM, "draw", pdm, "nothing", "-o", self.dir / "y.png"))
        for path, says in (("haet", "did you mean 'heat'?"), (mesh + "nodeFields/haet", "did you mean 'nodeFields/heat' or"),
                           ("nodeFields/on two", "'nodeFields/on two (a)', 'nodeFields/on two (b)'"), ("frameFields/time", "values of steps"), (mesh + "elementSets/up", "elementSets/left")):
            self.refused(1, PDMSIM, "draw", pdm, path, "-o", self.dir / "x.png", says=(says,))
        self.done(PDMSIM, "import", exo_make.write(self.dir / "mesh.exo", nodes=nodes), pdm, "--quiet", "--force")
        self.refused(2, PDMSIM, "draw", pdm, "-o", self.dir / "x.png", says=("expected elements with nodes to draw, found none",))

    @unittest.skipIf(MODAL == "-", "without the examples")
    def test_modes(self):
        """The deformed shape covers other pixels than the body at rest; a matrix has its band."""
        pdm = self.dir / "out.pdm"
        self.done(PDMSIM, "import", MESHES / "block.exo", pdm, "--quiet")
        self.done(MODAL, pdm, "--modes", 2)
        for drawer in ("vtk", "matplotlib"):
            white = [self.draw(pdm, "--mode", 1, "--scale", s, "--with", drawer)[1](255, 255, 255) for s in (0, 500)]
            self.assertGreater(abs(white[0] - white[1]), 5000)
        shown = []
        for args in (["--mode", 2], ["modes/2"], ["discreteModel/mesh/systems/0/userDistributions/modeShapes", "--mode", 2]):
            self.draw(pdm, *args)
            shown.append(self.told | {"seconds": 0})
        self.assertTrue(shown[0] == shown[1] == shown[2] and shown[0]["mode"]["number"] == 2, shown)
        _, count = self.draw(pdm, "--spy", "modal analysis")
        self.assertTrue(5000 < count(78, 121, 167) < 200000)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
