"""Imports Medit meshes, text and binary, and holds the simulation file against the description.

Usage: medit_test.py PDMSIM [unittest arguments]"""

import struct
import sys
import unittest

import numpy as np

from gmsh_test import HEX, QUADRATIC, Case, one

NODES = [(*xyz, ref) for xyz, ref in zip([*HEX.tolist(), [0.5, 0.5, 2.0], [3.0, 0.0, 0.0]], [0, 4, 4, 0, -5, 0, 0, 0, 4, 0])]
# Keyword, number in binary files, rows: ints, or reals where the first is one.
MESH = [("Vertices", 4, NODES), ("Hexahedra", 10, [(1, 2, 3, 4, 5, 6, 7, 8, 3)]),
        ("Pyramids", 49, [(5, 6, 7, 8, 9, 3)]), ("Corners", 13, [(1,), (2,)]), ("Normals", 60, [(0.0, 0.0, 1.0)]),
        ("Quadrilaterals", 7, [(1, 5, 8, 4, 3), (2, 3, 7, 6, 3), (4, 3, 2, 1, 0)]), ("Triangles", 6, [(5, 6, 9, 8)]),
        ("Edges", 5, [(2, 10, 6)]), ("RequiredVertices", 15, [(1,)]), ("NormalAtVertices", 20, [(1, 1), (2, 1)])]


def text(sections, dimension=3):
    rows = lambda rows: "\n".join(" ".join(map(repr, row)) for row in rows)
    return f"# a comment\nMeshVersionFormatted 2\nDimension\n{dimension}\n" + "".join(
        f"\n{name}\n{len(r)}\n{rows(r)}\n" for name, _, r in sections) + "End\n"


def binary(sections, version, order):
    real, integer, place = "f" if version == 1 else "d", "q" if version == 4 else "i", "I" if version < 3 else "Q"
    out = bytearray(struct.pack(order + "iii", 1, version, 3))
    out += struct.pack(order + place + "i", len(out) + struct.calcsize("<" + place) + 4, 3)
    for _, code, rows in sections + [("Other", 77, [(1, 2)])]:
        form = "".join(real if isinstance(n, float) else integer for n in (rows[0] if rows else ()))
        size = 4 + struct.calcsize("<" + place + integer) + len(rows) * struct.calcsize("<" + form)
        out += struct.pack(order + "i" + place + integer, code, len(out) + size, len(rows))
        for row in rows:
            out += struct.pack(order + form, *row)
    return bytes(out + struct.pack(order + "i" + place, 54, 0))


class Medit(Case):
    def check(self, sim):
        m, same = sim.mesh, np.testing.assert_array_equal
        same(one(sim, m.nodeFields[b"coordinates"]).reshape(-1, 3), [n[:3] for n in NODES])
        self.assertEqual({k: list(sim.members(v)) for k, v in m.nodeSets.items()}, {b"ref_4": [1, 2, 8], b"ref_-5": [4]})
        self.assertEqual({k: list(sim.members(v)) for k, v in m.elementSets.items()},
                         {b"ref_3_HEX8": [0], b"ref_3_PYRAMID5": [1], b"ref_3": [0, 1], b"ref_6": [2]})
        same(np.ravel(sim.drawers(m.elementFields[b"connectivity"])[1].values), [4, 5, 6, 7, 8])
        self.assertEqual({k: [(int(e), int(s)) for d in sim.drawers(v) for e, s in zip(d.members, d.values)]
                          for k, v in m.surfaces.items()}, {b"ref_3": [(0, 3), (0, 1)], b"ref_8": [(1, 0)]})

    def test_the_same_mesh_in_every_variant(self):
        notes = ["Corners (2)", "Normals (1)", "RequiredVertices (1)", "NormalAtVertices (2)",
                 "faces without group that are sides of other elements (1)"]
        path = self.dir / "a.mesh"
        path.write_text(text(MESH))
        self.check(self.import_(path, notes))
        path.write_text(text(MESH)[:-4])
        self.check(self.import_(path, notes + ["what may have followed: the text has no End"]))
        path.write_text(text(MESH).replace("2\nDimension\n3", "2 Dimension 3").replace("\n", "\r\n"))
        self.check(self.import_(path, notes))
        for version in (1, 2, 3, 4):
            for order in "<>":
                with self.subTest(version=version, order=order):
                    path = self.dir / "b.bin"
                    path.write_bytes(binary(MESH, version, order))
                    self.check(self.import_(path, notes + ["section 77"]))

    def test_second_degree_and_the_plane(self):
        for keyword, code, name in (("TetrahedraP2", 30, "TET10"), ("TrianglesP2", 24, "TRI6"),
                                    ("QuadrilateralsQ2", 27, "QUAD9"), ("EdgesP2", 25, "BAR3")):
            _, corners, _, edges = QUADRATIC[name]
            at = np.array([*corners, *(corners[[int(c) for c in e]].mean(axis=0) for e in edges)])
            axes = 3 if name == "TET10" else 2
            (self.dir / "q.mesh").write_text(text([("Vertices", 4, [(*x[:axes], 0) for x in at.tolist()]),
                                                   (keyword, code, [(*range(1, len(at) + 1), 0)])], axes))
            sim = self.import_(self.dir / "q.mesh", [])
            drawer = sim.drawers(sim.mesh.elementFields[b"connectivity"])[0]
            self.assertEqual(drawer.long_name.decode(), name)
            xyz = one(sim, sim.mesh.nodeFields[b"coordinates"]).reshape(-1, axes)[np.ravel(drawer.values)]
            for k, edge in enumerate(edges):
                middle = corners[[int(c) for c in edge]].mean(axis=0)[:axes]
                np.testing.assert_allclose(xyz[len(corners) + k], middle)

    def test_refs_of_several_dimensions_are_blocks_of_different_numbers(self):
        path = self.dir / "m.mesh"
        path.write_text(text([("Vertices", 4, NODES), ("Tetrahedra", 8, [(1, 2, 3, 5, 7)]), ("Edges", 8, [(7, 9, 7)])]))
        sim = self.import_(path)
        numbers = sim.drawers(sim.mesh.regionFields[b"label"])[0].values.ravel().tolist()
        self.assertEqual((len(numbers), len(set(numbers))), (2, 2))

    def test_meshes_that_contradict_themselves(self):
        good = text([("Vertices", 4, NODES), ("Tetrahedra", 8, [(1, 2, 3, 5, 7)])])
        path = self.dir / "bad.mesh"
        for old, new, *says in (("Tetrahedra", "Kugeln", "line 19", "'Kugeln'"), ("1 2 3 5 7", "1 2 3 55 7", "line 21", "55"),
                                ("1 2 3 5 7", "1 2 3 0 7", "1..10", "0"), ("\n10\n", "\n11\n", "'Tetrahedra'"),
                                ("\n10\n", "\n1000000000\n", "1000000000"), ("\n10\n", "\n-1\n", "-1"),
                                ("Dimension\n3", "Dimension\n4", "4"), ("Formatted 2", "Formatted 9", "9"),
                                ("Vertices", "Edges", "'0.0'"), ("Tetrahedra", "HexahedraQ2", "HexahedraQ2"),
                                ("Dimension\n3\n", "", "Dimension")):
            with self.subTest(new=new):
                self.assertEqual(good.count(old), 1, old)
                path.write_text(good.replace(old, new))
                self.refused(path, *says)
        for at in range(len(good) - 2, good.index("Tetra") - 9, -1):  # within words, numbers and lines
            path.write_text(good[:at])
            if not good[:at].strip("\n").endswith(("0.0 0", "3 5 7")) or good[at - 1] != "\n":
                self.refused(path)
        whole = binary(MESH, 3, ">")
        for at in range(len(whole) - 20, 12, -61):
            path.write_bytes(whole[:at])
            self.refused(path)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
