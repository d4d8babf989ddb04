"""Drives pdmsim view: what VTK shows by a view against what stands in the simulation file, number by number.

Usage: view_test.py PDMSIM MODAL_ANALYSIS PROGRAM_THAT_DIES MESH_FOLDER [unittest arguments]; MODAL_ANALYSIS "-" for none."""

import itertools
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

import h5py
import numpy as np
import vtk
from vtk.util.numpy_support import vtk_to_numpy

import exo_make
import programs
from pdm_reader import Sim, systems

PDMSIM, MODAL, DYING, MESHES = *sys.argv[1:4], pathlib.Path(sys.argv[4])
same = np.testing.assert_array_equal

# Corners and edges of Exodus II's elements on the unit cube, square and line; a face's corners for its middle.
HEX = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)]
TET, WEDGE = [HEX[i] for i in (0, 1, 3, 4)], [HEX[i] for i in (0, 1, 3, 4, 5, 7)]
PYRAMID, TRI = HEX[:4] + [(0.5, 0.5, 1)], [HEX[i] for i in (0, 1, 3)]
RING4, RING3 = [(0, 1), (1, 2), (2, 3), (3, 0)], [(0, 1), (1, 2), (2, 0)]
HEX_EDGES = RING4 + [(0, 4), (1, 5), (2, 6), (3, 7), (4, 5), (5, 6), (6, 7), (7, 4)]
HEX_FACES = [tuple(range(8)), (0, 1, 2, 3), (4, 5, 6, 7), (0, 3, 4, 7), (1, 2, 5, 6), (0, 1, 4, 5), (2, 3, 6, 7)]
WEDGE_EDGES = RING3 + [(0, 3), (1, 4), (2, 5), (3, 4), (4, 5), (5, 3)]
# Name: corners, middles, volume or area.
ELEMENTS = {
    "HEX8": (HEX, [], 1), "HEX20": (HEX, HEX_EDGES, 1), "HEX27": (HEX, HEX_EDGES + HEX_FACES, 1),
    "TETRA4": (TET, [], 1 / 6), "TETRA10": (TET, RING3 + [(0, 3), (1, 3), (2, 3)], 1 / 6),
    "WEDGE6": (WEDGE, [], 1 / 2), "WEDGE15": (WEDGE, WEDGE_EDGES, 1 / 2), "PYRAMID5": (PYRAMID, [], 1 / 3),
    "PYRAMID13": (PYRAMID, RING4 + [(0, 4), (1, 4), (2, 4), (3, 4)], 1 / 3),
    "HEX9": (HEX, [tuple(range(8))], 1),  # which VTK has not
    "SHELL8": (HEX[:4], RING4, 1), "SHELL9": (HEX[:4], RING4 + [(0, 1, 2, 3)], 1), "TRI6": (TRI, RING3, 1 / 2),
    "BAR3": (HEX[:2], [(0, 1)], 1), "SPHERE": (HEX[:1], [], 0)}
VTK_ORDER = {15: [3, 4, 5, 0, 1, 2, 12, 13, 14, 6, 7, 8, 9, 10, 11]}


class Grid:
    """What VTK reads."""
    def __init__(self, path):
        reader = vtk.vtkHDFReader()
        reader.SetFileName(str(path))
        reader.Update()
        self.vtk = grid = reader.GetOutput()
        self.points = vtk_to_numpy(grid.GetPoints().GetData())
        self.types = vtk_to_numpy(grid.GetCellTypesArray())
        cells = grid.GetCells()
        self.cells = np.split(vtk_to_numpy(cells.GetConnectivityArray()),
                              vtk_to_numpy(cells.GetOffsetsArray())[1:-1])
        self.point, self.cell, self.field = (
            {d.GetArrayName(i): vtk_to_numpy(d.GetArray(i)) for i in range(d.GetNumberOfArrays())}
            for d in (grid.GetPointData(), grid.GetCellData(), grid.GetFieldData()))


class View(programs.Case):
    def setUp(self):
        super().setUp()
        vtk.vtkObject.GlobalWarningDisplayOff()  # of versions that VTK 9.1 does not know
        self.pdm = self.dir / "100%b" / "out.pdm"
        self.pdm.parent.mkdir()

    def view(self, mesh, *flags, notes=()):
        if mesh:
            self.done(PDMSIM, "import", mesh, self.pdm, "--quiet", "--force")
        done = programs.run(PDMSIM, "view", self.pdm, "--json", *flags)
        self.assertEqual(done.returncode, 0, done)
        summary = json.loads(done.stdout)
        self.assertEqual(len(summary["notes"]), len(notes), summary["notes"])
        for note in notes:
            self.assertIn(note, done.stderr.decode())
        self.assertEqual(summary["bytes"], sum(pathlib.Path(p).stat().st_size for p in summary["views"]))
        return summary

    def test_everything(self):
        """Each step of a series, and the same by the one file that has them all."""
        mesh = exo_make.everything()
        summary = self.view(exo_make.write(self.dir / "mesh.exo", width=200, **mesh), "--series", notes=("flux",))
        listed = json.loads(pathlib.Path(summary["views"][0]).read_text())
        self.assertEqual([(f["name"], f["time"]) for f in listed["files"]],
                         [("out_0.hdf", 0.0), ("out_1.hdf", 0.5), ("out_2.hdf", 2.25)])
        grids = [Grid(self.pdm.with_name(f["name"])) for f in listed["files"]]
        sim = Sim(self.pdm)
        one = lambda fields, name, drawer=0: sim.drawers(fields[name])[drawer].values
        blocks = sim.drawers(sim.mesh.elementFields[b"connectivity"])
        cells = [row[VTK_ORDER.get(len(row), range(len(row)))] for block in blocks for row in block.values]
        ids = np.concatenate([[b["id"]] * len(d.values) for b, d in zip(mesh["blocks"], blocks)])
        masks = {"wall": [0, 1, 5, 11], "sideset_2": [2], "picked": [11, 0, 6]}
        for step, grid in enumerate(grids):
            same(grid.points, mesh["nodes"])
            self.assertTrue(len(cells) == len(grid.cells) and all(map(np.array_equal, cells, grid.cells)))
            same(grid.types, [12] * 5 + [10] * 4 + [26] * 3)
            same(grid.cell["block"], ids)
            same(grid.point["label"], mesh["node_labels"])
            same(grid.point["origin"], mesh["node_maps"]["origin"])
            same(grid.cell["label"], mesh["elem_labels"])
            same(grid.field["TimeValue"], [mesh["times"][step]])
            same(grid.field["energy"], [mesh["glob_vars"]["energy"][step]])
            for name in ("temperature", exo_make.LONG):
                self.assertIn(mesh["node_vars"][name][step].tolist(), [a.tolist() for a in grid.point.values()])
            stress, every = (mesh["elem_vars"][name] for name in ("stress", "all"))
            same(grid.cell["stress"], np.concatenate([stress[0][step], [np.nan] * 4, stress[3][step]]))
            same(grid.cell["all"], np.concatenate([every[k][step] for k in (0, 1, 3)]))
            for name, members in masks.items():
                same(np.flatnonzero(grid.cell[name]), sorted(members))
            for one_set in mesh["node_sets"]:
                found = grid.point[(one_set["name"] or "nodeset_103").replace("/", "_")
                                   if one_set["name"] != exo_make.LONG else exo_make.LONG]
                if found.dtype == np.uint8:
                    same(np.flatnonzero(found), sorted(np.unique(one_set["members"]) - 1))
            (reaction,) = (a for n, a in grid.point.items() if n.startswith("reaction"))
            expected = np.full(40, np.nan)
            expected[mesh["node_sets"][1]["members"] - 1] = mesh["nset_vars"]["reaction"][1][step]
            same(reaction, expected)
        self.view(None, notes=("flux",))
        whole = Grid(self.pdm.with_suffix(".hdf"))  # VTK 9.1 shows step 0
        same(whole.point["temperature"], grids[0].point["temperature"])
        with h5py.File(self.pdm.with_suffix(".hdf")) as file:
            root = file["VTKHDF"]
            same(root.attrs["Version"], [2, 0])
            self.assertEqual((root["Steps"].attrs["NSteps"], list(root["Steps/Values"])), (3, mesh["times"]))
            for (kind, n, of), (step, grid) in itertools.product((("Point", 40, "point"), ("Cell", 12, "cell"), ("Field", 1, "field")),
                                                                 enumerate(grids)):
                self.assertEqual(set(root[kind + "Data"]), set(root[f"Steps/{kind}DataOffsets"]))
                for name, data in root[kind + "Data"].items():
                    first = root[f"Steps/{kind}DataOffsets"][name][step]
                    same(data[first:first + n], getattr(grid, of)[name])

    def test_elements(self):
        """Each type as VTK understands it: middles between their corners, faces outwards, the volume."""
        nodes, blocks = [], []
        for k, (name, (corners, middles, _)) in enumerate(ELEMENTS.items()):
            corners = np.array(corners, float) * [2, 3, 5] + [10 * k, 0, 0]
            every = [*corners, *(corners[list(m)].mean(axis=0) for m in middles)]
            blocks.append({"id": k + 1, "name": "", "type": name,
                           "conn": [np.arange(len(every)) + len(nodes) + 1]})
            nodes += every
        self.view(exo_make.write(self.dir / "mesh.exo", nodes=nodes, blocks=blocks), notes=("HEX9",))
        grid = Grid(self.pdm.with_suffix(".hdf"))
        for k, (name, (corners, middles, size)) in enumerate(ELEMENTS.items()):
            with self.subTest(name):
                cell = grid.vtk.GetCell(k)
                at = lambda part: vtk_to_numpy(part.GetPoints().GetData()).copy()
                self.assertEqual(len(at(cell)), len(corners) + (len(middles) if name != "HEX9" else 0))
                for edge in ([cell] if name == "BAR3" else map(cell.GetEdge, range(cell.GetNumberOfEdges()))):
                    points = at(edge)
                    if len(points) == 3:
                        np.testing.assert_allclose(points[2], points[:2].mean(axis=0))
                volume = 0
                for i in range(cell.GetNumberOfFaces()):
                    points = at(cell.GetFace(i))
                    n = 3 if len(points) in (3, 6) else 4
                    if len(points) == 9:
                        np.testing.assert_allclose(points[8], points[:4].mean(axis=0))
                    volume += sum(np.dot(points[0], np.cross(points[j], points[j + 1])) / 6 for j in range(1, n - 1))
                if cell.GetCellDimension() == 3:
                    self.assertAlmostEqual(volume, size * 30)
                if name == "HEX27":
                    np.testing.assert_allclose(at(cell)[26], at(cell)[:8].mean(axis=0))

    def test_plane(self):
        """Polygons without their padding; z is 0; blocks whose nodes keep their order are mapped."""
        mesh = dict(nodes=np.random.default_rng(3).random((9, 2)), blocks=[
            {"id": 4, "type": "QUAD4", "conn": [[1, 2, 5, 4]]},
            {"id": 2, "type": "nsided", "conn": [2, 3, 6, 5, 8, 4, 5, 7], "corners": [5, 3]}])
        self.view(exo_make.write(self.dir / "mesh.exo", **mesh))
        grid = Grid(self.pdm.with_suffix(".hdf"))
        same(grid.points, np.c_[mesh["nodes"], np.zeros(9)])
        self.assertEqual([list(c) for c in grid.cells], [[0, 1, 4, 3], [1, 2, 5, 4, 7], [3, 4, 6]])
        same(grid.types, [9, 7, 7])
        mesh["blocks"].pop()
        arrays = self.view(exo_make.write(self.dir / "mesh.exo", **mesh), "--force")["arrays"]
        self.assertLessEqual({"Points", "Connectivity", "PointData/label"}, {a["path"] for a in arrays if a["mapped"]})

    def test_mixed_blocks(self):
        """A host's blocks need not follow each other in the file: cells go by block, all that is theirs with them."""
        r = np.random.default_rng(8)
        conn, heat, order = r.permuted(np.tile(np.arange(1, 9), (6, 1)), axis=1)[:, :4], r.random((2, 6)), [4, 0, 5, 2, 1, 3]
        mesh = exo_make.write(
            self.dir / "mesh.exo", nodes=r.random((8, 3)), times=[0.0, 1.0], elem_labels=np.arange(6) + 100,
            blocks=[{"id": k, "type": "TETRA4", "conn": conn[3 * k - 3:3 * k]} for k in (1, 2)],
            elem_sets=[{"id": 9, "name": "some", "members": [5, 2]}],
            elem_vars={"heat": {0: heat[:, :3], 1: heat[:, 3:]}})
        self.done(PDMSIM, "import", mesh, self.pdm, "--quiet")
        with h5py.File(self.pdm, "r+") as file:
            data = file[f"store/distributions/{Sim(self.pdm).mesh.elementFields[b'connectivity']}"]
            for drawer, items in (("0", order[:3]), ("1", order[3:])):
                members = file["store/collections/{}/sets/{}".format(*data[drawer].attrs["members"])]
                members[:] = items
                for name in list(members.attrs):  # the checksums
                    del members.attrs[name]
        self.view(None)
        grid = Grid(self.pdm.with_suffix(".hdf"))
        same(np.array(grid.cells), conn - 1)
        same(grid.cell["label"], np.array(order) + 100)
        same(grid.cell["heat"], heat[0][order])
        same(np.array(order)[grid.cell["some"] > 0], [4, 1])

    def test_values_on_a_scattered_set(self):
        """Each of a few pieces is mapped; many are copied, which takes no time with their square."""
        r = np.random.default_rng(4)
        for nodes, many in ((400, False), (120000, True)):
            members = r.permutation(nodes)[:nodes // 4] + 1
            mesh = dict(nodes=r.random((nodes, 1)), times=[0.0, 1.0], node_sets=[{"id": 1, "name": "some", "members": members}],
                        nset_vars={"q": {0: r.random((2, len(members)))}})
            arrays = self.view(exo_make.write(self.dir / "mesh.exo", **mesh), "--force")["arrays"]
            self.assertEqual([a["mapped"] for a in arrays if a["path"] == "PointData/q (some)"], [not many])
            with h5py.File(self.pdm.with_suffix(".hdf")) as file:
                found = np.split(file["VTKHDF/PointData/q (some)"][:], 2)
            for step in range(2):
                same(found[step][members - 1], mesh["nset_vars"]["q"][0][step])
                self.assertEqual(np.isnan(found[step]).sum(), nodes - len(members))

    @unittest.skipIf(MODAL == "-", "without the examples")
    def test_modes(self):
        self.done(PDMSIM, "import", MESHES / "block.exo", self.pdm, "--quiet")
        for name in ("clamped", "free"):
            self.done(MODAL, self.pdm, "--modes", 3, "--name", name, *(["--clamp", "none"] if name == "free" else []))
        self.refused(1, PDMSIM, "view", self.pdm, "--system", "loose", says=("'loose'", "'clamped', 'free'"))
        self.view(None, notes=("--system",))
        self.view(None, "--system", "clamped", "-o", self.dir / "modes.hdf")
        grid = Grid(self.dir / "modes.hdf")
        with h5py.File(self.pdm) as file:
            system = systems(file)[0]
            modes = [f"mode {k + 1} ({f:.4g} Hz)" for k, f in enumerate(system.field("frequencies"))]
            self.assertEqual(sorted(n for n in grid.point if n.startswith("mode")), modes)
            for k, name in enumerate(modes):
                same(grid.point[name], system.field("modeShapes", k))

    def test_stale(self):
        """A view that was made of another mesh, or of datasets that are other ones now, is told in a line."""
        view, r = self.pdm.with_suffix(".hdf"), np.random.default_rng(6)

        def made(nodes, *flags):
            mesh = dict(nodes=r.random((nodes, 3)), times=[0.0, 1.0], node_vars={"heat": r.random((2, nodes))},
                        blocks=[{"id": 1, "type": "TETRA4", "conn": [[1, 2, 3, 4], [4, 3, 2, 1]]}],
                        elem_vars={"load": {0: r.random((2, 2))}})
            self.done(PDMSIM, "import", exo_make.write(self.dir / "mesh.exo", **mesh), self.pdm, "--quiet", "--force")
            if flags:
                self.done(PDMSIM, "view", self.pdm, "--quiet", *flags)

        def check(path, *says):
            done = programs.run(PDMSIM, "check", path)
            self.assertEqual((done.returncode, done.stdout.count(b"\n"), done.stderr), (1 if says else 0, 1, b""), done)
            for text in says:
                self.assertIn(text, done.stdout.decode())

        made(6, "--force")
        check(view)
        (self.dir / "far").mkdir()
        (self.dir / "far" / "link.hdf").symlink_to(view)
        check(self.dir / "far" / "link.hdf")
        self.done(PDMSIM, "import", exo_make.write(self.dir / "lines.exo", nodes=np.eye(3), times=[0.0], node_vars={"two\nlines": [[1.0, 2, 3]]}),
                  self.pdm, "--quiet", "--force")
        self.done(PDMSIM, "view", self.pdm, "--quiet", "--force")
        check(view)
        made(6, "--force")
        made(5)
        check(view, "it has 5 nodes, and had 6", f"pdmsim view {self.pdm} --force makes it anew")
        made(5, "--series")
        check(view.with_name("out_1.hdf"))
        self.done(PDMSIM, "compact", self.pdm)
        self.assertNotIn(b"anew", self.done(PDMSIM, "check", view.with_name("out_1.hdf")))
        for name in "ab":  # a set of another name is all that changes
            mesh = dict(nodes=np.eye(5, 3), node_sets=[{"id": 1, "name": name, "members": [1]}])
            self.done(PDMSIM, "import", exo_make.write(self.dir / "mesh.exo", **mesh), self.pdm, "--quiet", "--force")
            if name == "a":
                self.done(PDMSIM, "view", self.pdm, "-o", view.with_name("set.hdf"), "--quiet")
        self.assertIn(b"note: its source out.pdm has been made anew since", self.done(PDMSIM, "check", view.with_name("set.hdf")))
        made(4)
        check(view.with_name("out_1.hdf"), "4 nodes", f"pdmsim view {self.pdm} --series --force")
        made(5, "--force")
        sim = Sim(self.pdm)
        heat, load = sim.mesh.nodeFields[b"heat"], sim.mesh.elementFields[b"load"]
        sim.file.close()
        whole = self.pdm.read_bytes()
        for edit, *says in ((lambda d: d.move(f"{heat}/1", f"{heat}/9"), f"{heat}/1 any more"),
                            (lambda d: (d.move(f"{heat}", "x"), d.move(f"{load}", f"{heat}"), d.move("x", f"{load}")),
                             "is 'load', float64 2, and was 'heat', float64 5", "and 3 more"),
                            (lambda d: d[f"{heat}/1"].write_direct(np.ones(5)),)):
            with h5py.File(self.pdm, "r+") as file:
                edit(file["store/distributions"])
            check(view, *says)
            self.pdm.write_bytes(whole)
        self.pdm.write_bytes(b"no simulation")
        check(view, "expected a simulation file, found something else")

    def test_whole_or_not_at_all(self):
        """Where room is lacking nothing is left of a view or a series, and nothing gone of the one that it replaces."""
        def series(steps, limit, *flags):
            if steps:
                self.done(PDMSIM, "import", exo_make.write(self.dir / "mesh.exo", nodes=np.eye(3), times=np.arange(steps) * 1.0),
                          self.pdm, "--quiet", "--force")
            return subprocess.run(["bash", "-c", f'ulimit -f {limit}; exec "$@"', "-", PDMSIM, "view", self.pdm, "--quiet", *flags],
                                  capture_output=True, timeout=60)

        there = lambda: {p.name: p.read_bytes() for p in self.pdm.parent.iterdir() if p != self.pdm}
        self.assertEqual(series(101, 100, "--series").returncode, 0)
        before = there()
        self.assertEqual(len(before), 102)
        for steps, limit, *flags in ((0, 4, "-o", self.pdm.with_name("a.hdf")), (0, 4, "--series", "--force"),
                                     (450, 20, "--series", "--force")):  # then the list has no room
            done = series(steps, limit, *flags)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), done)
            self.assertTrue(there() == before, flags)
        self.assertEqual(series(3, 100, "--series", "--force").returncode, 0)
        short = ["out.hdf.series", "out_0.hdf", "out_1.hdf", "out_2.hdf"]
        self.assertEqual(sorted(there()), short)
        twice = str(self.pdm.with_suffix(".hdf")).replace("/out", "//out")  # the same folder
        self.assertEqual(series(3, 100, "-o", twice, "--series", "--force").returncode, 0)
        self.assertEqual(sorted(there()), short)

    def test_what_is_no_view(self):
        """Exports stay, and are not taken for views; views by way of links, and those of copies, are views."""
        self.view(exo_make.write(self.dir / "mesh.exo", nodes=np.eye(3), times=[0.0, 1.0], node_vars={"u": np.ones((2, 3))}), "--series")
        kept, listed = self.pdm.with_name("out_7.hdf"), self.pdm.with_name("out.hdf.series")
        self.done(PDMSIM, "export", self.pdm, kept, "--quiet")
        listed.write_text(listed.read_text().replace("out_1.hdf", "out_7.hdf"))
        self.view(None, "--series", "--force")
        self.assertTrue(kept.exists())
        self.refused(2, PDMSIM, "view", self.pdm, "-o", kept, "--force", says=("or a view to replace, found another file",))
        self.refused(2, PDMSIM, "show", kept, says=("a VTKHDF file, which VTK and ParaView read",))
        self.refused(2, PDMSIM, "show", self.pdm.with_name("out_0.hdf"), says=("shows the data of another file",))
        for _ in range(2):
            self.view(None, "--live", "--force", "-o", self.dir / "live.hdf")
        self.assertIn(b"sound", self.done(PDMSIM, "check", self.dir / "live.hdf"))
        (self.dir / "far" / "near").mkdir(parents=True)
        link, real = self.dir / "link.hdf", self.dir / "far" / "near" / "real.hdf"
        link.symlink_to("far/near/real.hdf")
        self.view(None, "-o", link)
        self.assertIn(b"sound", self.done(PDMSIM, "check", real))
        same(Grid(real).points, np.eye(3))
        real.chmod(0)
        mine = "-dac_override,-dac_read_search"  # what root reads in spite of modes
        plain = ["setpriv", f"--bounding-set={mine}", f"--inh-caps={mine}"] if os.getuid() == 0 else []
        done = subprocess.run([*plain, PDMSIM, "view", self.pdm, "-o", real, "--force"], capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr.count(b"\n"), b"cannot be read, which stays: Permission" in done.stderr), (2, 1, True), done)
        for command in (("import", self.dir / "mesh.exo"), ("compact", self.pdm, "-o")):
            self.refused(2, PDMSIM, *command, self.dir / "no" / "a.pdm", says=(f"the directory {self.dir}/no to write it in",))

    def test_refused(self):
        """What viewers would show wrongly, or what would be lost."""
        self.view(MESHES / "block.exo")
        view, other = self.pdm.with_suffix(".hdf"), self.dir / "other.hdf"
        self.refused(2, PDMSIM, "view", self.pdm, says=("--force",))
        shutil.copy(self.pdm, other)
        self.refused(2, PDMSIM, "view", self.pdm, "-o", other, "--force", says=("another file",))
        self.refused(1, PDMSIM, "view", self.pdm, "-o", self.dir / "a.vtu", says=(".hdf",))
        self.refused(2, PDMSIM, "view", self.pdm, "-o", self.dir / "no" / "a.hdf", says=(f"the directory {self.dir}/no to write it in",))
        self.done(PDMSIM, "check", view)
        self.pdm.rename(self.dir / "away.pdm")
        gone = programs.run(PDMSIM, "check", view)
        self.assertEqual((gone.returncode, b"out.pdm is not there" in gone.stdout), (1, True), gone)
        self.view(exo_make.write(self.dir / "mesh.exo", width=200, **exo_make.everything()), "--force",
                  notes=("flux",))
        notes = self.dir / "notes.hdf.series"
        notes.write_text("mine")
        self.refused(2, PDMSIM, "view", self.pdm, "--series", "-o", self.dir / "notes.hdf", "--force", says=("another file",))
        self.assertEqual(notes.read_text(), "mine")
        self.assertEqual(programs.run(DYING, "die", self.pdm).returncode, -9)
        self.refused(2, PDMSIM, "view", self.pdm, "-o", self.dir / "b.hdf", says=("pdmsim recover",))
        self.assertIn(b"has a journal", programs.run(PDMSIM, "check", view).stdout)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
