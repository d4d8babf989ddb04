"""Drives pdmsim export: what it writes, read by other eyes; what comes back by import; what it refuses.

Usage: export_test.py PDMSIM MESH_FOLDER GOLDEN_FOLDER [unittest arguments]"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import unittest

import numpy as np

import exo_make
import programs
from pdm_reader import Sim

PDMSIM, MESHES, GOLDEN = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])


def whole(path):
    """All of a mesh by names, whatever numbers the file has for its collections and sets."""
    sim = Sim(path)

    def drawers(distribution):
        of = sim.file[f"store/distributions/{distribution}"].attrs
        return [str(of.get("unit", ""))] + [
            (d.long_name, d.values.dtype.str, d.values.shape, d.values.tobytes(), d.members.tolist())
            for d in sim.drawers(distribution)]

    found = {name: sim.items(getattr(of, name)) for of, names in
             ((sim.model, ("vectors", "localNodes", "frames")), (sim.mesh, ("nodes", "elements", "regions")))
             for name in names}
    for name, value in vars(sim.mesh).items():
        if isinstance(value, dict):
            of_sets = name.endswith("Sets")
            found[name] = {k: sim.members(v).tolist() if of_sets else drawers(v) for k, v in value.items()}
            for key in set(found[name]) - {b"connectivity", b"attribute"} if not of_sets else ():
                found[name][key][1:] = sorted(found[name][key][1:], key=lambda d: d[0])  # sets come in any order
    sim.file.close()
    return found


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.pdm = self.dir / "in.pdm"

    def import_(self, mesh, out=None):
        """Warnings of names and entries that are not kept are those of the first import."""
        done = programs.run(PDMSIM, "import", mesh, out or self.pdm, "--force", "--quiet")
        self.assertEqual(done.returncode, 0, done)
        return out or self.pdm

    def make(self, name="mesh.exo", **kw):
        return exo_make.write(self.dir / name, **kw)

    def export(self, out, *options):
        return json.loads(self.done(PDMSIM, "export", self.pdm, self.dir / out, "--json", *options))

    def refused(self, code, *args, says=()):
        super().refused(code, PDMSIM, "export", *args, says=says)

    def lossy(self, out, *options, losses):
        """Without --lossy refused with a line that has all of them; with it each is told twice."""
        self.refused(2, self.pdm, self.dir / out, *options, says=losses)
        done = programs.run(PDMSIM, "export", self.pdm, self.dir / out, "--json", "--lossy", *options)
        self.assertEqual(done.returncode, 0, done)
        told = json.loads(done.stdout)["losses"]
        self.assertEqual(done.stderr.decode().splitlines(),
                         [f"{self.dir / out}: not exported: {line}" for line in told])
        for loss in losses:
            self.assertIn(loss, "\n".join(told))
        return told


class Exodus(Case):
    def round_trip(self, pdm):
        self.pdm = pdm
        self.assertEqual(self.export("back.exo", "--force")["losses"], [])
        back, first = whole(self.import_(self.dir / "back.exo", self.dir / "back.pdm")), whole(pdm)
        for name in first:
            self.assertEqual(first[name], back[name], name)

    def test_an_import_of_the_export_has_no_difference(self):
        meshes = sorted(MESHES.glob("*.exo"))
        self.assertEqual(len(meshes), 3)
        for pdm in [self.import_(mesh, self.dir / (mesh.stem + ".pdm")) for mesh in meshes] + sorted(
                GOLDEN.glob("*/import.pdm")):
            with self.subTest(pdm=pdm):
                self.round_trip(pdm)

    def test_everything_there_is_comes_back(self):
        r = np.random.default_rng(2)
        tet = [[1, 2, 3, 4]]
        everything = exo_make.everything()
        blocks = everything["blocks"]
        blocks[1]["attribute_names"] = ["", "b, c"]
        meshes = {
            "all": everything, "float": everything | {"reals": "f4"},
            "no steps": everything | {"times": [], **{k: {n: {e: x[:0] for e, x in v.items()} if isinstance(v, dict)
                                                          else v[:0] for n, v in everything[k].items()}
                                                      for k in ("node_vars", "elem_vars", "nset_vars", "sset_vars",
                                                                "glob_vars")}},
            "long": everything | {"ints": "i8", "node_labels": np.arange(40) + (1 << 40)},
            "nothing": {"nodes": np.zeros((0, 2))}, "nodes": {"nodes": r.random((7, 2))},
            # Sets of all nodes or elements look like fields of the whole mesh.
            "full sets": dict(nodes=r.random((4, 3)), blocks=[{"id": 1, "type": "TET4", "conn": tet}], times=[1.0, 2.0],
                              node_sets=[{"id": 1, "name": "all", "members": [1, 2, 3, 4]}],
                              elem_sets=[{"id": 2, "name": "every", "members": [1]}],
                              node_vars={"u": r.random((2, 4))}, nset_vars={"v": {0: r.random((2, 4))}, "none": {}}),
            "polygons": dict(nodes=r.random((6, 2)), blocks=[
                {"id": 4, "type": "nsided", "conn": [1, 2, 3, 4, 5, 6, 1], "corners": [3, 4]},
                {"id": 2, "type": "NSIDED", "conn": [3, 2, 1], "corners": [3]}])}
        for name, mesh in meshes.items():
            with self.subTest(name=name):
                self.round_trip(self.import_(self.make(width=200, **mesh), self.dir / f"{name}.pdm"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
