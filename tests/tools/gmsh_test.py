"""Imports Gmsh meshes in every variant of the format, and holds the simulation file against the description.

Usage: gmsh_test.py PDMSIM [unittest arguments]"""

import itertools
import json
import os
import sys
import unittest

import numpy as np

import gmsh_make
import programs
from pdm_reader import Sim

PDMSIM = sys.argv[1]
HEX = np.array([(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)], float)
WEDGE = HEX[[0, 1, 3, 4, 5, 7]]
PYRAMID = np.array([*HEX[:4], (0.5, 0.5, 1)])

# Number at Gmsh, corners, then edges and faces by their corners: as Gmsh numbers their nodes, as Exodus II does.
QUADRATIC = {
    "BAR3": (8, HEX[:2], ["01"], ["01"]),
    "TRI6": (9, HEX[[0, 1, 3]], ["01", "12", "20"], ["01", "12", "20"]),
    "QUAD8": (16, HEX[:4], ["01", "12", "23", "30"], ["01", "12", "23", "30"]),
    "QUAD9": (10, HEX[:4], ["01", "12", "23", "30", "0123"], ["01", "12", "23", "30", "0123"]),
    "TET10": (11, HEX[[0, 1, 3, 4]], ["01", "12", "20", "30", "32", "31"], ["01", "12", "20", "03", "13", "23"]),
    "PYRAMID13": (19, PYRAMID, ["01", "03", "04", "12", "14", "23", "24", "34"],
                  ["01", "12", "23", "30", "04", "14", "24", "34"]),
    "WEDGE15": (18, WEDGE, ["01", "02", "03", "12", "14", "25", "34", "35", "45"],
                ["01", "12", "20", "03", "14", "25", "34", "45", "53"]),
    "HEX20": (17, HEX, ["01", "03", "04", "12", "15", "23", "26", "37", "45", "47", "56", "67"],
              ["01", "12", "23", "30", "04", "15", "26", "37", "45", "56", "67", "74"]),
    "HEX27": (12, HEX, ["01", "03", "04", "12", "15", "23", "26", "37", "45", "47", "56", "67",
                        "0321", "0154", "0473", "1265", "2376", "4567", "01234567"],
              ["01", "12", "23", "30", "04", "15", "26", "37", "45", "56", "67", "74",
               "01234567", "0321", "4567", "0473", "1265", "0154", "2376"]),
}


def mesh():
    """Two bricks side by side, a pyramid on the first, and everything that can be said of them."""
    at = [(x, y, z) for z in (0, 1) for y in (0, 1) for x in (0, 1, 2)] + [(0.5, 0.5, 2), (3, 0, 0), (3, 1, 0)]
    nodes = [(7 + 3 * i * i, tuple(map(float, xyz))) for i, xyz in enumerate(at)]
    on = lambda *places: [nodes[p][0] for p in places]
    faces = {1: (0, 6, 9, 3), 2: (1, 7, 10, 4), 3: (2, 13, 14, 5), 4: (2, 8, 11, 5), 5: (0, 3, 4, 1), 6: (0, 6, 9, 3)}
    return {
        "nodes": nodes,
        "names": {(3, 1): "solid", (3, 2): "cap", (3, 3): "both of them", (2, 1): "inlet", (2, 7): "middle/wall",
                  (2, 9): "shell", (1, 4): "beam", (0, 5): "probe", (0, 6): "end", (2, 8): "mixed", (3, 77): "nobody"},
        "entities": {(3, 1): [1], (3, 2): [1, 3], (3, 3): [2, 3], (2, 1): [1], (2, 2): [7], (2, 3): [9, 8], (2, 4): [],
                     (2, 5): [12], (2, 6): [8], (1, 1): [4], (1, 2): [], (0, 1): [5], (0, 2): [6]},
        "elements": [(50, 5, 1, on(0, 1, 4, 3, 6, 7, 10, 9)), (40, 7, 3, on(6, 7, 10, 9, 12)), (30, 15, 1, on(12)), (31, 15, 2, on(5)),
                     (29, 5, 2, on(1, 2, 5, 4, 7, 8, 11, 10)), (28, 1, 1, on(5, 14)), (27, 1, 2, on(0, 6)),
                     *((i, 3, i, on(*faces[i])) for i in faces)],
        "data": [("NodeData", "T", 0.5, 0, {n: [1.5 * n] for n, _ in nodes}),
                 ("NodeData", "T", 1.5, 1, {n: [-2.5 * n] for n, _ in nodes[:3]}),
                 ("NodeData", "U", 1.5, 1, {n: [n, 0.25, 1e-300] for n, _ in nodes}),
                 ("ElementData", "s", 0.5, 0, {50: [1.0], 29: [2.0], 40: [4.0], 1: [8.0]}),
                 ("ElementNodeData", "en", 0.5, 0, {50: [1.0]})],
        "more": "$Periodic\n1\n2 1 2\n0\n$EndPeriodic\n",
        "parametric": True}


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.out = self.dir / "out.pdm"

    def import_(self, path, notes=None):
        """The file and the notes, which must be these, if they are given, in any order."""
        self.out.unlink(missing_ok=True)  # which a test has open
        done = programs.run(PDMSIM, "import", path, self.out, "--json")
        self.assertEqual(done.returncode, 0, done)
        found = json.loads(done.stdout)["notImported"]
        if notes is not None:
            self.assertEqual(sorted(found), sorted(notes))
        return Sim(self.out)

    def refused(self, path, *says):
        super().refused(2, PDMSIM, "import", path, self.out, says=[str(path), "expected", "found", *says])


def one(sim, field):
    return sim.drawers(field)[0].values


class Gmsh(Case):
    def check(self, sim, version):
        same, m = np.testing.assert_array_equal, sim.mesh
        wanted = mesh()
        same(one(sim, m.nodeFields[b"label"]), [n for n, _ in wanted["nodes"]])
        same(one(sim, m.nodeFields[b"coordinates"]).reshape(-1, 3), [x for _, x in wanted["nodes"]])
        blocks = [("HEX8", [[0, 1, 4, 3, 6, 7, 10, 9], [1, 2, 5, 4, 7, 8, 11, 10]]), ("PYRAMID5", [[6, 7, 10, 9, 12]]),
                  ("SHELL4", [[2, 13, 14, 5]]), ("SHELL4", [[0, 6, 9, 3]]), ("BAR2", [[5, 14]])]
        drawers = sim.drawers(m.elementFields[b"connectivity"])
        self.assertEqual([d.long_name.decode() for d in drawers], [t for t, _ in blocks])
        for drawer, (_, nodes) in zip(drawers, blocks):
            same(np.array(drawer.values).reshape(len(nodes), -1), nodes)
        # `middle/wall` is seen from outside of the second brick. The group `mixed` has cells of which one is no side, and the first group of that cell is `shell`.
        same(one(sim, m.elementFields[b"label"]), [50, 29, 40, 3, 6, 28])
        self.assertEqual({k: list(sim.members(v)) for k, v in m.nodeSets.items()}, {b"probe": [12], b"end": [5]})
        self.assertEqual(list(one(sim, m.meshFields[b"nodeSetLabel"])), [6, 5])
        self.assertEqual({k.decode(): list(sim.members(v)) for k, v in m.elementSets.items()},
                         {"solid": [0, 1], "cap": [2], "both of them": [1, 2], "shell": [3], "mixed": [3, 4],
                          "mixed_SHELL4": [4], "beam": [5], "nobody": []})
        self.assertEqual({k.decode(): [(int(e), int(s)) for d in sim.drawers(v) for e, s in zip(d.members, d.values)]
                          for k, v in m.surfaces.items()},
                         {"inlet": [(0, 3)], "middle/wall": [(1, 3)], "sideset_12": [(0, 4)]})
        ids = dict(zip(sorted(m.elementSets), one(sim, m.meshFields[b"elementSetLabel"])))
        self.assertEqual([ids[k] for k in (b"solid", b"cap", b"both of them", b"shell", b"beam", b"mixed")],
                         [1, 2, 3, 9, 4, 8])
        same(one(sim, m.frameFields[b"time"]), [0.5, 1.5])
        labels, nan = np.array([n for n, _ in wanted["nodes"]]), np.nan
        t = sim.drawers(m.nodeFields[b"T"])
        same(t[0].values, 1.5 * labels)
        same(t[1].values, np.where(np.arange(len(labels)) < 3, -2.5 * labels, nan))
        u = sim.drawers(m.nodeFields[b"U"])
        self.assertTrue(np.isnan(u[0].values).all())
        same(np.reshape(u[1].values, (-1, 3)), [(n, 0.25, 1e-300) for n in labels])
        same(one(sim, m.elementFields[b"s"]), [1, 2, 4, nan, nan, nan])

    def test_the_same_mesh_in_every_variant(self):
        always = ["section $Periodic", "values of s on what became sides or nodes of sets", "the field en, one value a node of an element (1)",
                  "faces without group that are sides of other elements (1)",
                  "lines without group that are sides of other elements (1)",
                  "labels of faces that became sides in surfaces (3)", "labels of points that became nodes of sets (2)"]
        more = {"2.2": ["second labels of elements that the mesh has once for each of their groups (3)"],
                "4.1": ["the parameters of nodes on their geometric entities"]}
        for version, order, wide in gmsh_make.VARIANTS:
            with self.subTest(version=version, order=order, wide=wide):
                path = gmsh_make.write(self.dir / "a.msh", mesh(), version, order, wide)
                self.check(self.import_(path, always + more[version]), version)
                text = path.read_bytes()
                if order is None:  # lines that end otherwise, white space, a comment in front
                    path.write_bytes(b"$Comments\nof $MeshFormat\n$EndComments\n\n" +
                                     text.replace(b"\n", b" \r\n").replace(b" 1.0 ", b"\t+1.0e0  "))
                    self.check(self.import_(path), version)

    def test_nodes_of_quadratic_elements_are_where_the_shape_functions_want_them(self):
        for name, (kind, corners, gmsh, exodus) in QUADRATIC.items():
            with self.subTest(name):
                middle = lambda text: corners[[int(c) for c in text]].mean(axis=0)
                corners = corners @ [[2, 0.1, 0], [0, 3, 0.2], [0.3, 0, 1]] + 0.125
                at = [*corners, *map(middle, gmsh)]
                nodes = [(3 * i + 2, tuple(x)) for i, x in enumerate(at)]
                path = gmsh_make.write(self.dir / "q.msh", {
                    "nodes": nodes, "entities": {(gmsh_make.dimension(kind), 1): []},
                    "elements": [(9, kind, 1, [n for n, _ in nodes])]})
                sim = self.import_(path, [])
                xyz = one(sim, sim.mesh.nodeFields[b"coordinates"]).reshape(-1, 3)
                drawer = sim.drawers(sim.mesh.elementFields[b"connectivity"])[0]
                self.assertIn(drawer.long_name.decode(), (name, "SHELL" + name[-1]))
                np.testing.assert_allclose(xyz[np.ravel(drawer.values)], [*corners, *map(middle, exodus)])

    def test_groups_of_edges_points_and_the_plane(self):
        label = [1, 2, 3, 4, 5, 2**40]
        for z, quad, tri, edge in ((0.0, "QUAD4", "TRI3", 3), (1.0, "SHELL4", "SHELL3", 5)):
            with self.subTest(z=z):
                self.plane(label, z, quad, tri, edge)

    def plane(self, label, z, quad, tri, edge):
        flat = [(n, (float(i % 3), float(i // 3), z)) for i, n in enumerate(label)]
        path = gmsh_make.write(self.dir / "flat.msh", {
            "nodes": flat, "names": {(2, 1): "plate", (1, 1): "left", (1, 2): "loose"},
            "entities": {(2, 1): [1], (1, 1): [1], (1, 2): [2], (0, 1): []},
            "elements": [(1, 3, 1, [1, 2, 5, 4]), (2, 2, 1, [2, 3, 2**40]), (3, 2, 1, [2, 2**40, 5]), (4, 1, 1, [4, 1]),
                         (2**41, 1, 2, [1, 2**40]), (6, 15, 1, [1])]})
        sim = self.import_(path, ["points without group that are sides of other elements (1)",
                                  "labels of lines that became sides in surfaces (1)"])
        m = sim.mesh
        self.assertEqual(one(sim, m.nodeFields[b"coordinates"]).size, 18 if z else 12)
        self.assertEqual(list(one(sim, m.nodeFields[b"label"])), label)
        self.assertEqual(list(one(sim, m.elementFields[b"label"])), [1, 2, 3, 2**41])
        self.assertEqual({k.decode(): list(sim.members(v)) for k, v in m.elementSets.items()},
                         {"plate_" + quad: [0], "plate_" + tri: [1, 2], "plate": [0, 1, 2], "loose": [3]})
        side = sim.drawers(m.surfaces[b"left"])[0]
        self.assertEqual((list(side.members), list(side.values)), ([0], [edge]))

    def test_groups_of_one_number(self):
        """Of lower dimensions, beside the solid: two element sets. Their names are kept, their ids differ."""
        at = [(i + 1, (float(i), i * i * 1.0, i**3 * 1.0)) for i in range(9)]
        sim = self.import_(gmsh_make.write(self.dir / "n.msh", {
            "nodes": at, "names": {(2, 5): "fin", (1, 5): "rod", (1, 6): "rope"},
            "entities": {(3, 1): [1], (2, 1): [5], (1, 1): [5], (1, 2): [6, 5]},
            "elements": [(1, 4, 1, [1, 2, 3, 4]), (2, 2, 1, [4, 5, 6]), (3, 3, 1, [5, 6, 7, 8]), (4, 1, 1, [8, 9]),
                         (5, 1, 2, [1, 9])]}))
        ids = dict(zip(sorted(sim.mesh.elementSets), one(sim, sim.mesh.meshFields[b"elementSetLabel"])))
        self.assertLessEqual({b"fin", b"rod", b"rope"}, set(ids))
        self.assertEqual(len(set(ids.values())), len(ids), ids)

    def test_partitions_and_their_parents(self):
        text = gmsh_make.write(self.dir / "p.msh", mesh()).read_text()
        head, rest = text.split("$EndEntities\n")
        parts = ("$PartitionedEntities\n2\n1\n9 2\n0 0 1 2\n21 3 1 2 1 2 0 0 0 0 0 0 1 3 1 4\n11 3 1 1 1 0 0 0 0 0 0 0 0\n"
                 "12 2 1 2 1 2 0 0 0 0 0 0 1 3 1 4\n$EndPartitionedEntities\n")
        (self.dir / "p.msh").write_text(head + "$EndEntities\n" + parts + rest.replace("\n3 1 5 1\n", "\n3 11 5 1\n")
                                        .replace("\n3 2 5 1\n", "\n3 12 5 1\n").replace("\n2 5 3 1\n", "\n2 21 3 1\n"))
        sim = self.import_(self.dir / "p.msh")
        self.assertEqual(set(sim.mesh.surfaces), {b"inlet", b"middle/wall"})  # not a face between parts
        self.assertEqual([list(sim.members(sim.mesh.elementSets[k])) for k in (b"solid", b"both of them")],
                         [[0], [1, 2]])  # the second brick's own group counts


class BadGmsh(Case):
    def test_texts_that_contradict_themselves(self):
        simple = {"nodes": [(i, (float(i), i * 0.5, i * i * 1.0)) for i in range(1, 5)], "entities": {(3, 1): [1]},
                  "names": {(3, 1): "v"}, "elements": [(1, 4, 1, [1, 2, 3, 4])],
                  "data": [("NodeData", "T", 0.0, 0, {1: [1.0]})]}
        cases = {
            "2.2": [("$MeshFormat\n2.2", "$MeshFormat\n3", "2.2 or 4.1"), ("2.2 0 8", "2.2 0 4", "8 bytes"),
                    ("1 4 2 1 1", "1 13 2 1 1", "line 17: ", "1 of type 13 (prisms of 18 nodes)"), ("1 4 2 1 1", "1 4 2 1 x", "'x'"),
                    ("1 2 3 4\n", "1 2 3 9\n", "line 17", "9"), ("$Nodes\n4", "$Nodes\n5", "line 14"),
                    ("$Nodes\n4", "$Nodes\n999999999999", "at most", "999999999999"), ("$Nodes\n4", "$Nodes\n-4", "-4"),
                    ("\n2 2.0", "\n1 2.0", "node 1 twice"), ("1 4 2 1 1", "1 4 999999 1 1", "tags"),
                    ("$Elements\n1", "$Elements\n400000", "400000"), ('3 1 "v"', "3 1 v", "quotes"),
                    ('3 1 "v"', '7 1 "v"', "dimension"), ("\n1 1.0\n$EndN", "\n8 1.0\n$EndN", "8"),
                    ("3\n0\n1\n1\n1 1.0", "3\n0\n1\n99\n1 1.0", "99"), ("1 1.0\n$EndN", "1 one\n$EndN", "one"),
                    ("$Nodes", "$Knoten", "$EndKnoten"),
                    ("3\n0\n1\n1\n1 1.0", "3\n0\n65\n1\n1 1.0", "1..64"), ("$Elements", "4 Elements", "line 15"),
                    ("$Elements", "$MeshFormat", "line 15", "another"),
                    ("$MeshFormat", "$NOD", "line 1:", "$NOD")],
            "4.1": [("4.1 0 8", "4.1 0 3", "4 or 8"), ("3 1 4 1\n", "3 1 44 1\n", "1 of type 44"),
                    ("3 1 4 1\n", "2 1 4 1\n", "TET4"), ("3 1 4 1\n", "3 1 4 2\n", "elements"),
                    ("$Nodes\n2 4 1 4", "$Nodes\n2 5 1 4", "5 nodes"), ("1 1 2 3 4\n$", "1 1 2 3 5\n$", "5"),
                    ("$Entities\n0 0 0 1", "$Entities\n0 0 99999999 1", "99999999"),
                    ("$Elements\n1 1 1 1", "$Elements\n1 77 1 1", "77")],
        }
        for version, changes in cases.items():
            text = gmsh_make.write(self.dir / "good.msh", simple, version).read_text()
            self.import_(self.dir / "good.msh", [])
            os.remove(self.out)
            for old, new, *says in changes:
                with self.subTest(version, new=new):
                    self.assertEqual(text.count(old), 1, old)
                    (self.dir / "bad.msh").write_text(text.replace(old, new))
                    self.refused(self.dir / "bad.msh", *says)

    def test_cut_and_wild_bytes(self):
        for (version, order, wide), step in itertools.product(gmsh_make.VARIANTS, (1, -1)):
            whole = gmsh_make.write(self.dir / "w.msh", mesh(), version, order, wide).read_bytes()
            (self.dir / "w.msh").unlink()
            begins = whole.index(b"$Nodes")
            for at in range(begins, whole.index(b"$EndElements"), 197 if step > 0 else 231):
                with self.subTest(version, order=order, wide=wide, at=at, step=step):
                    if step > 0:
                        (self.dir / "bad.msh").write_bytes(whole[:at])
                        self.refused(self.dir / "bad.msh", "bad.msh: ")
                    else:
                        (self.dir / "bad.msh").write_bytes(whole[:at] + b"\xff" * 12 + whole[at + 12:])
                        done = programs.run(PDMSIM, "import", self.dir / "bad.msh", self.out, "--force")
                        self.assertIn(done.returncode, (0, 2), done)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
