"""Imports one mesh from every variant of VTK legacy, .vtu, XDMF and MED, number by number; and what must be refused.

Usage: formats_test.py PDMSIM [unittest arguments]"""

import itertools
import sys
import unittest

import h5py
import numpy as np

import mesh_make
import programs
from pdm_reader import Sim

PDMSIM = sys.argv[1]
LINEAR, QUADRATIC = [10, 14, 13, 12, 12], [24, 26, 25, 27]
# Between which corners the further nodes of an element lie, in the order of Exodus II; beside which corners three
# others stand right-handed.
LOOP = mesh_make.LOOP
UP = [(k, k + 4) for k in range(4)]
BETWEEN = {"TET10": mesh_make.EDGES[24], "PYRAMID13": mesh_make.EDGES[27],
           "WEDGE15": [(0, 1), (1, 2), (2, 0), (0, 3), (1, 4), (2, 5), (3, 4), (4, 5), (5, 3)],
           "HEX20": LOOP + UP + [(a + 4, b + 4) for a, b in LOOP]}
BETWEEN["HEX27"] = BETWEEN["HEX20"] + [tuple(range(8)), (0, 1, 2, 3), (4, 5, 6, 7), (0, 3, 4, 7), (1, 2, 5, 6),
                                       (0, 1, 4, 5), (2, 3, 6, 7)]
CORNER = {"T": (1, 2, 3), "P": (1, 3, 4), "W": (1, 2, 3), "H": (1, 3, 4)}
same = np.testing.assert_array_equal


def run(*args):
    return programs.run(PDMSIM, *args)


class Formats(programs.Case):
    def setUp(self):
        super().setUp()
        self.out = self.dir / "out.pdm"

    def import_(self, path, *options, notes=b""):
        self.out.unlink(missing_ok=True)  # which the case before may have open
        done = run("import", path, self.out, "--json", *options)
        self.assertEqual((done.returncode, bool(done.stderr)), (0, bool(notes)), done.stderr)
        self.assertIn(notes, done.stderr)
        return Sim(self.out)

    def rows(self, sim, field, step=0):
        """The values of a field, by item; None for those without."""
        drawer = sim.drawers(field)[step]
        values = drawer.values.reshape(len(drawer.members), -1)
        return dict(zip(drawer.members, values.tolist()))

    def elements(self, sim, ids):
        """The imported elements by the place of their cells in the mesh, each held against its type."""
        found, label = {}, self.rows(sim, sim.mesh.elementFields[b"label"])
        at = sim.drawers(sim.mesh.nodeFields[b"coordinates"])[0].values.reshape(sim.items(sim.mesh.nodes), -1)
        for drawer in sim.drawers(sim.mesh.elementFields[b"connectivity"]):
            kind = drawer.long_name.decode()
            for element, nodes in zip(drawer.members, drawer.values.reshape(len(drawer.members), -1)):
                x = at[nodes]
                if kind[0] in CORNER:
                    self.assertGreater(np.linalg.det(x[list(CORNER[kind[0]])] - x[0]), 0, kind)
                    between = BETWEEN.get(kind, [])
                    np.testing.assert_allclose(x[len(x) - len(between):], np.array(
                        [x[list(some)].mean(axis=0) for some in between]).reshape(-1, 3), atol=1e-12)
                found[ids.index(label[element][0])] = (element, kind, nodes)
        return found

    def compare(self, path, mesh, *options, ids=None, steps=1, shift=0, notes=b""):
        """The simulation file against the mesh; the values of a step are larger by `shift`."""
        sim = self.import_(path, *options, notes=notes)
        ids = ids if ids is not None else mesh["cell"]["GlobalElementId"].tolist()
        same(sim.drawers(sim.mesh.nodeFields[b"coordinates"])[0].values.reshape(-1, 3), mesh["points"])
        found = self.elements(sim, ids)
        self.assertEqual(sorted(found), list(range(len(mesh["cells"]))))
        for k, (vtk, nodes) in enumerate(mesh["cells"]):
            self.assertEqual(sorted(found[k][2]), sorted(nodes), vtk)
        for step in range(steps):
            for name, array in mesh["point"].items():
                wanted = (array + shift * step if array.dtype.kind == "f" else array).reshape(len(array), -1)
                drawers = sim.drawers(sim.mesh.nodeFields[name.encode()])
                self.assertEqual(drawers[step].values.dtype, "f4" if array.dtype == "f4" else "f8")
                same(list(self.rows(sim, sim.mesh.nodeFields[name.encode()], step).values()), wanted)
            for name in mesh["cell"].keys() - {"GlobalElementId"}:
                rows = self.rows(sim, sim.mesh.elementFields[name.encode()], step)
                wanted = mesh["cell"][name].reshape(len(ids), -1)
                same([rows[found[k][0]] for k in range(len(ids))],
                     wanted + (shift * step if wanted.dtype.kind == "f" else 0))
        return sim

    def test_vtk_legacy(self):
        for types in (LINEAR, QUADRATIC, [29], [12, 12]):
            mesh = mesh_make.solids(types)
            ids = mesh["cell"].pop("GlobalElementId")
            for binary, version in itertools.product((False, True), (2, 5)):
                written = mesh | {"cell": {"label": ids, **mesh["cell"]}}
                path = mesh_make.vtk(self.dir / "m.vtk", written, binary, version)
                self.compare(path, mesh, ids=ids.tolist())

    def test_vtk_cells_of_other_kinds(self):
        """What becomes other cells, in a plane and in space, and cells of all dimensions beside each other."""
        points = np.array([(x, y, z) for z in (0, 1) for y in (0, 1, 2) for x in (0, 1, 2)], float)
        mesh = {"points": points, "point": {}, "cell": {}, "cells": [
            (2, [0, 4]), (4, [0, 1, 2]), (6, [0, 1, 3, 4]), (7, [4, 5, 8, 7]), (7, [0, 1, 4])]}
        mesh["cell"]["c"] = np.arange(5.0)
        for binary, version in itertools.product((False, True), (2, 5)):
            flat = mesh | {"points": points[:9]}
            sim = self.import_(mesh_make.vtk(self.dir / "p.vtk", flat, binary, version, "POLYDATA"))
            parts = {d.long_name: (d.values.ravel().tolist(), d.members)
                     for d in sim.drawers(sim.mesh.elementFields[b"connectivity"])}
            self.assertEqual({k: v for k, (v, _) in parts.items()},
                             {b"SPHERE": [0, 4], b"BAR2": [0, 1, 1, 2], b"TRI3": [0, 1, 4, 0, 1, 3, 1, 4, 3],
                              b"QUAD4": [4, 5, 8, 7]})
            c = self.rows(sim, sim.mesh.elementFields[b"c"])
            # Polydata lists vertices, lines, polygons, strips; the array follows that order.
            self.assertEqual({k: sorted(c[m][0] for m in members) for k, (_, members) in parts.items()},
                             {b"SPHERE": [0, 0], b"BAR2": [1, 1], b"TRI3": [3, 4, 4], b"QUAD4": [2]})
            self.assertEqual(sim.items(sim.model.vectors), 2)
        mesh["cells"] = [(11, [0, 1, 3, 4, 9, 10, 12, 13]), (8, [4, 5, 7, 8]), (0, [])]
        mesh["cell"] = {}
        sim = self.import_(mesh_make.vtk(self.dir / "v.vtk", mesh))
        conn = {d.long_name: d.values.ravel().tolist() for d in sim.drawers(sim.mesh.elementFields[b"connectivity"])}
        self.assertEqual(conn, {b"HEX8": [0, 1, 4, 3, 9, 10, 13, 12], b"SHELL4": [4, 5, 8, 7]})

    def test_polygons(self):
        """Of more than four corners: in rows of the longest, filled up with -1, beside other cells and as Exodus II has them."""
        cells = [(7, [0, 1, 2, 3, 4]), (9, [0, 1, 6, 5]), (7, [1, 2, 3, 4, 5, 6]), (7, [2, 3, 4]), (7, [6, 5, 4, 3, 2])]
        points = np.array([(np.cos(k), np.sin(k), k % 2) for k in range(7)])
        mesh = {"points": points, "point": {}, "cell": {"c": np.arange(5.0), "label": np.arange(5) * 3 + 2}, "cells": cells}
        path = mesh_make.med(self.dir / "m.med", mesh | {"cells": cells[1:2]}, {}, {"quad": {0}})
        with h5py.File(path, "a") as file:
            file["ENS_MAA/box"].attrs["UNI"], (step,) = np.string_(""), file["ENS_MAA/box"].values()
            step["MAI/QU4/NUM"][:] = 5
            pog = step.create_group("MAI/POG")
            pog["INN"], pog["NUM"] = np.cumsum([1, 5, 6, 3, 5]), mesh["cell"]["label"][[0, 2, 3, 4]]
            pog["NOD"] = np.array([i for k in (0, 2, 3, 4) for i in cells[k][1]]) + 1
            pog["FAM"] = np.array([0, -1, -1, 0])
        for make, *way in ([mesh_make.vtk, False, 2], [mesh_make.vtk, True, 5], [mesh_make.vtu], [lambda *_: path]):
            sim = self.import_(make(self.dir / "m.vtk", mesh, *way))
            label, seen = self.rows(sim, sim.mesh.elementFields[b"label"]), {}
            for drawer in sim.drawers(sim.mesh.elementFields[b"connectivity"]):
                seen |= {label[item][0]: (drawer.long_name, row.tolist()) for item, row in zip(
                    drawer.members, drawer.values.reshape(len(drawer.members), -1))}
            tri = (b"nsided", [2, 3, 4, -1, -1, -1]) if way == [] and make != mesh_make.vtu else (b"SHELL3", [2, 3, 4])
            self.assertEqual(seen, {2: (b"nsided", cells[0][1] + [-1]), 5: (b"SHELL4", cells[1][1]), 11: tri,
                                    8: (b"nsided", cells[2][1]), 14: (b"nsided", cells[4][1] + [-1])})
            if b"c" in sim.mesh.elementFields:
                self.assertEqual({label[i][0]: c for i, (c,) in self.rows(sim, sim.mesh.elementFields[b"c"]).items()},
                                 {3 * k + 2: k for k in range(5)})
            else:
                self.assertEqual([label[i][0] for i in sim.members(sim.mesh.elementSets[b"quad_nsided"])], [8, 11])
        with h5py.File(path, "a") as file:
            next(iter(file["ENS_MAA/box"].values()))["MAI/POG/NOD"][7] = 0
        self.refused(2, PDMSIM, "import", path, self.dir / "no.pdm", says=["expected nodes 1 to 7 in NOD of polygons, found 0"])
        self.done(PDMSIM, "export", self.out, self.dir / "x.exo")
        self.done(PDMSIM, "import", self.dir / "x.exo", self.dir / "x.pdm")
        self.done(PDMSIM, "diff", self.out, self.dir / "x.pdm", "--quiet")

    def test_vtu(self):
        ways = [("ascii", ""), ("binary", ""), ("appended", "raw"), ("appended", "base64")]
        for k, (way, packed, header, order) in enumerate(itertools.product(
                ways, (False, True), ("UInt32", "UInt64"), ("LittleEndian", "BigEndian"))):
            mesh = mesh_make.solids((LINEAR, QUADRATIC, [29], [12])[k % 4])
            sim = self.compare(mesh_make.vtu(self.dir / "m.vtu", mesh, *way, packed, header, order), mesh)
            same(sim.drawers(sim.mesh.frameFields[b"time"])[0].values.ravel(), [2.5])
        mesh = mesh_make.solids(LINEAR)
        sim = self.import_(mesh_make.vtu(self.dir / "m.vtu", mesh, "appended", pieces=2))
        n, m = len(mesh["points"]), len(LINEAR)
        self.assertEqual([sim.items(sim.mesh.nodes), sim.items(sim.mesh.elements)], [2 * n, 2 * m])
        nodes = np.concatenate([d.values.ravel() for d in sim.drawers(sim.mesh.elementFields[b"connectivity"])])
        same(np.sort(nodes), np.arange(2 * n))
        same(sim.drawers(sim.mesh.nodeFields[b"temperature"])[0].values.ravel(), np.tile(mesh["point"]["temperature"], 2))

    def test_integers_that_no_double_holds(self):
        """Exact values, wide ones and labels; what 64 bits with a sign do not hold is said to be rounded."""
        mesh = mesh_make.solids(LINEAR)
        n, m = len(mesh["points"]), len(LINEAR)
        mesh["point"] = {"seed": 2**53 + 1 + 2 * np.arange(n), "few": np.arange(n)}
        mesh["cell"] = {"label": 2**60 + 1 + np.arange(m)[::-1], "pair": np.array([[-2**62 - k, k] for k in range(m)])}
        for make, *way in ([mesh_make.vtk, False, 5], [mesh_make.vtk, True, 2], [mesh_make.vtu], [mesh_make.vtu, "appended"],
                           [mesh_make.xdmf, True, (1., 2.)], [mesh_make.xdmf, False]):
            sim = self.import_(make(self.dir / "m.vtk", mesh, *way))
            found = self.elements(sim, mesh["cell"]["label"].tolist())
            for step in range(len(way[-1]) if make == mesh_make.xdmf and way[0] else 1):
                seed = sim.drawers(sim.mesh.nodeFields[b"seed"])[step].values
                self.assertEqual((seed.dtype, sim.drawers(sim.mesh.nodeFields[b"few"])[step].values.dtype), ("i8", "f8"))
                same(seed.ravel(), mesh["point"]["seed"])
                pair = self.rows(sim, sim.mesh.elementFields[b"pair"], step)
                same([pair[found[k][0]] for k in range(m)], mesh["cell"]["pair"])
        mesh["point"]["seed"] = 2**63 - 1 - np.arange(n)  # the greatest of all
        sim = self.import_(mesh_make.vtu(self.dir / "m.vtu", mesh, "appended"))
        same(sim.drawers(sim.mesh.nodeFields[b"seed"])[0].values.ravel(), mesh["point"]["seed"])
        mesh["point"]["seed"] = mesh["point"]["seed"].astype("u8") + np.uint64(2**62)
        self.import_(mesh_make.vtu(self.dir / "m.vtu", mesh), notes=b"the last digits of integers in seed")
        mesh["cell"], mesh["point"], seed = {}, {}, 2**60 + 1 + np.arange(n)
        for profile in (False, True):  # half of the nodes have none
            path = mesh_make.med(self.dir / "m.med", mesh, fields=[("seed", "NOE", {1.0: seed}, [""])], profile=profile)
            sim = self.import_(path, notes=b"the last digits of integers in seed" if profile else b"")
            found, wanted = sim.drawers(sim.mesh.nodeFields[b"seed"])[0].values.ravel()[::2], seed[::2].astype("f8" if profile else "i8")
            self.assertEqual((found.dtype, found.tolist()), (wanted.dtype, wanted.tolist()))

    def test_sets_from(self):
        mesh = mesh_make.solids(LINEAR)
        path = mesh_make.vtu(self.dir / "m.vtu", mesh)
        sim = self.import_(path, "--sets-from", "mat id")
        found = self.elements(sim, mesh["cell"]["GlobalElementId"].tolist())
        for value in (1, 2):
            members = sorted(found[k][0] for k in range(len(LINEAR)) if mesh["cell"]["mat id"][k] == value)
            same(sim.members(sim.mesh.elementSets[f"mat id_{value}".encode()]), members)
        sim = self.import_(path, "--sets-from", "part")
        for value in range(3):
            same(sim.members(sim.mesh.nodeSets[f"part_{value}".encode()]), np.flatnonzero(mesh["point"]["part"] == value))
        for name, says in (("no such", "temperature"), ("velocity", "one integer a row"), ("temperature", "integers")):
            self.refused(2, PDMSIM, "import", path, self.dir / "no.pdm", "--sets-from", name, says=[str(path), says])
        self.refused(1, PDMSIM, "import", path, self.dir / "no.pdm", "--format", "gmsh", "--sets-from", "part", says=["Gmsh"])

    def test_xdmf(self):
        for types, hdf, (times, form) in itertools.product(
                (LINEAR, QUADRATIC, [29], [12, 12]), (True, False),
                (((), "own"), ((.5, 1.5), "own"), ((.5, 1.5), "include"), ((.5, 1.5), "Reference"))):
            mesh = mesh_make.solids(types)
            sim = self.compare(mesh_make.xdmf(self.dir / "m.xdmf", mesh, hdf, times, form), mesh,
                               steps=len(times) or 1, shift=1)
            if times:
                same(sim.drawers(sim.mesh.frameFields[b"time"])[0].values.ravel(), times)
        sets = "".join(f'<Set Name="{name}" SetType="{kind}"><DataItem Dimensions="2" NumberType="Int" Format="XML">'
                       f'{members}</DataItem></Set>' for name, kind, members in
                       (("pins", "Node", "3 5"), ("core", "Cell", "0 3")))
        mesh = mesh_make.solids(LINEAR)
        sim = self.compare(mesh_make.xdmf(self.dir / "m.xdmf", mesh, sets=sets), mesh)
        found = self.elements(sim, mesh["cell"]["GlobalElementId"].tolist())
        for members, wanted in ((sim.mesh.nodeSets[b"pins"], [3, 5]), (sim.mesh.elementSets[b"core"], sorted(found[k][0] for k in (0, 3)))):
            same(sim.members(members), wanted)

    def test_xdmf_2_and_hyperslabs(self):
        with h5py.File(self.dir / "s.h5", "w") as file:
            file["xy"] = np.arange(16.0).reshape(8, 2)
            file["t"] = np.array([[9, 9, 9, 9], [1, 2, 3, 4]], "f4")
        (self.dir / "s.xmf").write_text("""<?xml version="1.0"?><!DOCTYPE Xdmf SYSTEM "Xdmf.dtd" []>
            <Xdmf Version="2.0"><Domain><DataItem Name="q" Dimensions="1 4" NumberType="Int">1 2 3 4</DataItem>
            <Grid><Topology Type="Quadrilateral" Dimensions="1" BaseOffset="1">
            <DataItem Reference="XML">/Xdmf/Domain/DataItem[@Name="q"]</DataItem></Topology>
            <Geometry Type="XY"><DataItem ItemType="HyperSlab" Dimensions="4 2"><DataItem Dimensions="3 2" NumberType="Int">
            1 0  2 1  4 2</DataItem><DataItem Format="HDF" Dimensions="8 2">s.h5:/xy</DataItem></DataItem></Geometry>
            <Attribute Name="t" Center="Node"><DataItem ItemType="HyperSlab" Dimensions="1 4"><DataItem Dimensions="3 2"
            NumberType="Int">1 0 1 1 1 4</DataItem><DataItem Format="HDF" Dimensions="2 4">s.h5:/t</DataItem></DataItem>
            </Attribute></Grid></Domain></Xdmf>""")
        sim = self.import_(self.dir / "s.xmf")
        same(sim.drawers(sim.mesh.nodeFields[b"coordinates"])[0].values.ravel(), np.arange(16).reshape(8, 2)[1::2].ravel())
        same(sim.drawers(sim.mesh.nodeFields[b"t"])[0].values.ravel(), [1, 2, 3, 4])
        self.assertEqual(sim.drawers(sim.mesh.elementFields[b"connectivity"])[0].values.ravel().tolist(), [0, 1, 2, 3])

    def test_med(self):
        for types in (LINEAR, QUADRATIC, [29], [12, 12]):
            mesh = mesh_make.solids(types)
            n, m = len(mesh["points"]), len(types)
            point, cell, mesh["point"], mesh["cell"] = mesh["point"], mesh["cell"], {}, {}
            fields = [("velocity", "NOE", {0.0: point["velocity"].astype(float), .5: point["velocity"] + 1.0}, ["m/s"] * 3),
                      ("stress", "MAI", {.5: cell["stress"]}, ["MPa"] * 6),
                      ("mass", "MAI", {None: cell["stress"][:, 0]}, ["kg"])]
            path = mesh_make.med(self.dir / "m.med", mesh, {"fixed": {0, 2}, "all": set(range(n))},
                                 {"core": {0}, "shell": {0, m - 1}}, fields)
            sim = self.compare(path, mesh, ids=list(range(1, 5 * m, 5)))
            same(sim.drawers(sim.mesh.nodeFields[b"label"])[0].values.ravel(), np.arange(n) * 3 + 2)
            for name, nodes in ((b"fixed", [0, 2]), (b"all", np.arange(n))):
                same(sim.members(sim.mesh.nodeSets[name]), nodes)
            found = self.elements(sim, [5 * k + 1 for k in range(m)])
            for name, cells in (("core", {0}), ("shell", {0, m - 1})):
                same(sim.members(sim.mesh.elementSets[name.encode()]), sorted(found[k][0] for k in cells))
            same(sim.drawers(sim.mesh.frameFields[b"time"])[0].values.ravel(), [0, .5])
            for step in (0, 1):
                same(sim.drawers(sim.mesh.nodeFields[b"velocity"])[step].values.ravel(), (point["velocity"] + step).ravel())
            stress = [self.rows(sim, sim.mesh.elementFields[b"stress"], step) for step in (0, 1)]
            self.assertTrue(np.isnan(list(stress[0].values())).all())
            same([stress[1][found[k][0]] for k in range(m)], cell["stress"])
            mass = self.rows(sim, sim.mesh.elementFields[b"mass"])
            same([mass[found[k][0]][0] for k in range(m)], cell["stress"][:, 0])

    def test_med_steps_of_one_time_keep_their_values(self):
        mesh = mesh_make.solids([12])
        value, mesh["point"], mesh["cell"] = mesh["point"]["temperature"], {}, {}
        path = mesh_make.med(self.dir / "m.med", mesh, fields=[("t", "NOE", {k: value + 10 * k - 10 for k in (1.0, 2.0, 3.0)}, ["K"])])
        with h5py.File(path, "a") as file:
            for step in file["CHA/t"].values():
                step.attrs["PDT"] = 0.0
        sim = self.import_(path, notes=b"times of steps")
        for step, drawer in enumerate(sim.drawers(sim.mesh.nodeFields[b"t"])):
            same(drawer.values.ravel(), value + 10 * step)
        self.assertEqual(len(sim.drawers(sim.mesh.nodeFields[b"t"])), 3)

    def test_med_faces_profiles_and_what_is_left_out(self):
        mesh = mesh_make.solids([12, 12])
        mesh["cells"] += [(9, [0, 3, 2, 1]), (9, [8, 9, 10, 11]), (3, [0, 8])]
        point, mesh["point"], mesh["cell"] = mesh["point"], {}, {}
        path = mesh_make.med(self.dir / "f.med", mesh, {}, {"skin": {2, 3}, "rod": {4}, "block": {0, 1}},
                             [("t", "NOE", {1.0: point["temperature"]}, ["K"])], labels=False, profile=True)
        with h5py.File(path, "a") as file:
            step = next(iter(file["CHA/t"].values()))
            step.copy("NOE", "NOE.HE8")
            file["ENS_MAA/elsewhere"] = h5py.ExternalLink("none.med", "/x")
        sim = self.import_(path, notes=b"the field t on NOE.HE8")
        self.assertEqual(set(sim.mesh.surfaces), {b"skin"})
        self.assertEqual(sum(len(d.members) for d in sim.drawers(sim.mesh.surfaces[b"skin"])), 2)
        self.assertEqual(len(sim.members(sim.mesh.elementSets[b"rod"])), 1)
        t = sim.drawers(sim.mesh.nodeFields[b"t"])[0].values.ravel()
        same(t[::2], point["temperature"][::2])
        self.assertTrue(np.isnan(t[1::2]).all())

    def test_bad(self):
        """One line, exit 2, and nothing left behind."""
        mesh = mesh_make.solids(LINEAR)
        ascii_vtk = mesh_make.vtk(self.dir / "a.vtk", mesh).read_bytes()
        big = mesh_make.vtk(self.dir / "b.vtk", mesh, True).read_bytes()
        flat = b"# vtk DataFile Version 3.0\n\nASCII\nDATASET POLYDATA\nPOINTS 3 float\n0 0 0 1 0 0 0 1 0\n"
        plain = mesh_make.vtu(self.dir / "a.vtu", mesh).read_bytes()
        two = mesh_make.vtu(self.dir / "a.vtu", mesh, pieces=2).read_bytes()
        raw = mesh_make.vtu(self.dir / "r.vtu", mesh, "appended").read_bytes()
        packed = mesh_make.vtu(self.dir / "z.vtu", mesh, "appended", "raw", True).read_bytes()
        text = mesh_make.xdmf(self.dir / "x.xdmf", mesh, False).read_bytes()
        hdf = mesh_make.xdmf(self.dir / "h.xdmf", mesh).read_bytes()
        med = mesh_make.med(self.dir / "m.med", mesh).read_bytes()
        n, start = len(mesh["points"]), raw.index(b"\n _") + 3
        cases = [
            ("a.vtk", ascii_vtk.replace(b"UNSTRUCTURED", b"STRUCTURED"), "structured_grid"),
            ("a.vtk", ascii_vtk.replace(b"POINTS %d" % n, b"POINTS 99999999999"), "hold"),
            ("a.vtk", ascii_vtk.replace(b"POINTS %d" % n, b"POINTS 999"), "number"),
            ("a.vtk", ascii_vtk.replace(b"CELL_TYPES 5\n10 14 13", b"CELL_TYPES 5\n32 14 32"), "2 of VTK's type 32 (prisms of 18"),
            ("p.vtk", flat + b"POLYGONS 1 3\n2 0 1\n", "found one of 2"),
            ("p.vtk", flat + b"POLYGONS 1 6\n5 0 1 2 -1 0\n", "node -1"),
            ("a.vtk", ascii_vtk.replace(b"CELL_TYPES 5\n10", b"CELL_TYPES 5\n12"), "nodes"),
            ("a.vtk", ascii_vtk.replace(b"0.25", b"0.2x", 1), "'0.2x'"),
            ("t.xdmf", mesh_make.xdmf(self.dir / "t.xdmf", mesh, False, (0.0, 1e-9, 1e-9)).read_bytes(), "temperature once at each time, found it twice at time 1e-09"),
            ("p.vtk", flat + b"POLYGONS 1 4\n3 0 1 2\nVERTICES 1 2\n1 0\nCELL_DATA 2\nSCALARS s int\nLOOKUP_TABLE default\n10 20\n", "in this order"),
            ("a.vtk", ascii_vtk[: len(ascii_vtk) // 3], "found"),
            ("b.vtk", big.replace(b"POINTS %d" % n, b"POINTS 2000"), "bytes"),
            ("b.vtk", big[:-300], "found"),
            ("b.vtk", big.replace(b"\0\0\0\4\0\0\0\0", b"\0\0\0\4\0\1\0\0", 1), "node"),
            ("a.vtu", plain.replace(b"UnstructuredGrid", b"PolyData"), "PolyData"),
            ("a.vtu", plain.replace(b"</Piece>", b""), "mismatched tag"),
            ("a.vtu", plain.replace(b'NumberOfPoints="', b'NumberOfPoints="9999999999999'), "hold"),
            ("a.vtu", plain.replace(b'="3" format="ascii">\n', b'="3" format="ascii">\n 7.5', 1), "found another: '"),
            ("a.vtu", two.replace(b"  0 1 2", b"  0 1 %d" % n, 1), "found point %d" % n),
            ("p.vtk", flat + b"POLYGONS 1 8\n3 0 1 2 3 0 2 1\n", "4 numbers more"),
            ("r.vtu", raw.replace(b'header_type="UInt32"', b'header_type="UInt32" compressor="vtkLZ4DataCompressor"'), "LZ4"),
            ("r.vtu", raw[:start] + b"\xff\xff\xff\x7f" + raw[start + 4 :], "hold"),
            ("r.vtu", raw.replace(b'offset="0"', b'offset="99999"'), "offset"),
            ("z.vtu", packed[:-60] + bytes(40) + packed[-20:], "found"),
            ("z.vtu", packed[:start + 99], "found"),
            ("x.xdmf", text.replace(b'Version="3.0"', b"<"), "XML"),
            ("x.xdmf", text.replace(b"Mixed", b"3DCoRectMesh"), "3DCoRectMesh"),
            ("x.xdmf", text.replace(b'Dimensions="%d 3"' % n, b'Dimensions="4294967296 4294967296"'), "Dimensions"),
            ("x.xdmf", text.replace(b'Dimensions="%d 3"' % n, b'Dimensions="%d 3"' % (n + 1)), "number"),
            ("x.xdmf", text.replace(b'Dimensions="%d 3"' % n, b'Dimensions="%d 3"' % (n - 1)), "found another: '"),
            ("h.xdmf", hdf.replace(b"h.h5", b"none.h5"), "none.h5"),
            ("h.xdmf", hdf.replace(b"/g/d1\n", b"/g/none\n"), "g/none"),
            ("m.med", med[: len(med) // 2], "file"),
        ]
        for name, content, says in cases:
            with self.subTest(says=says):
                (self.dir / name).write_bytes(content)
                self.refused(2, PDMSIM, "import", self.dir / name, self.dir / "no.pdm", says=[name, says])

    def test_bad_med(self):
        mesh = mesh_make.solids(LINEAR)
        step = "ENS_MAA/box/-0000000000000000001-0000000000000000001"

        def replaced(place, data):
            def work(file):
                del file[place]
                file[place] = data
            return work

        def external(file):
            file.move(f"{step}/NOE/COO", "elsewhere")
            file[f"{step}/NOE/COO"] = h5py.ExternalLink("m.med", "/elsewhere")

        cases = [(replaced(f"{step}/MAI/HE8/NOD", np.arange(17)), "HE8"),
                 (replaced(f"{step}/MAI/HE8/NOD", np.arange(16) * 2**40), "NOD"),
                 (replaced(f"{step}/MAI/HE8/FAM", np.full(2, -77)), "-77"),
                 (replaced(f"{step}/NOE/FAM", np.zeros(3, int)), "FAM"),
                 (lambda file: file.move(f"{step}/MAI/HE8", f"{step}/MAI/POE"), "POE (polyhedra)"),
                 (lambda file: file.move(f"{step}/MAI/HE8", f"{step}/MAI/SE4"), "4 of SE4 (lines of 4 nodes)"),
                 (lambda file: file.move(f"{step}/MAI/HE8", f"{step}/MAI/POG"), "INN"),
                 (lambda file: file["ENS_MAA/box"].attrs.update(TYP=np.int32(1)), "TYP"),
                 (external, "COO")]
        for change, says in cases:
            with self.subTest(says=says):
                path = mesh_make.med(self.dir / "m.med", mesh)
                with h5py.File(path, "a") as file:
                    change(file)
                self.refused(2, PDMSIM, "import", path, self.dir / "no.pdm", says=["m.med", says])

    def test_content_tells_the_format(self):
        mesh = mesh_make.solids([12])
        for make in (mesh_make.vtk, mesh_make.vtu, mesh_make.xdmf, mesh_make.med):
            self.import_(make(self.dir / "mesh.exo", mesh))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
