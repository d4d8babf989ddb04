"""Drives pdmsim export: what it writes, read by other eyes; what comes back by import; what it refuses.

Usage: export_test.py PDMSIM MESH_FOLDER GOLDEN_FOLDER [unittest arguments]"""

import math
import pathlib
import resource
import signal
import subprocess
import sys
import unittest
import xml.etree.ElementTree

import h5py
import numpy as np
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkCommonCore import reference, vtkObject
from vtkmodules.vtkFiltersVerdict import vtkCellSizeFilter

import exo_make
import gmsh_reader
from export_meshes import PDMSIM, TYPES, Case, arrays, edit, one_of_each, read_hdf, read_vtu, whole
from pdm_reader import Sim

MESHES, GOLDEN = pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])


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
        blocks[1]["attribute_names"] = ["", "b"]
        blocks[3] |= {"attributes": r.random((3, 1)), "attribute_names": ["b, c"]}
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

    def test_one_step_alone(self):
        mesh = exo_make.everything()
        self.import_(self.make(width=200, **mesh))
        self.export("back.exo", "--step", "1")
        back = Sim(self.import_(self.dir / "back.exo", self.dir / "back.pdm"))
        (heat,), (time_,) = back.drawers(back.mesh.nodeFields[b"temperature"]), back.drawers(back.mesh.frameFields[b"time"])
        self.assertEqual(time_.values, [0.5])
        np.testing.assert_array_equal(heat.values, mesh["node_vars"]["temperature"][1])
        back.file.close()
        for out in ("out.pvd", "out.msh"):
            self.done(PDMSIM, "export", self.pdm, self.dir / out, "--lossy", "--quiet", "--step", "2")
        self.assertIn('timestep="2.25" part="0" file="out_2.vtu"', (self.dir / "out.pvd").read_text())
        found = gmsh_reader.read(self.dir / "out.msh").node_data["temperature"]
        self.assertEqual({k: list(v.values()) for k, v in found.items()}, {(2, 2.25): [[x] for x in mesh["node_vars"]["temperature"][2]]})
        self.refused(1, self.pdm, self.dir / "no.exo", "--step", "3", says=("0..2", "found 3"))

    def test_ids_that_two_have_are_refused_or_new(self):
        blocks, sets = [{"id": 3, "type": "TET4", "conn": [[1, 2, 3, 4]]}] * 2, [{"id": i, "members": [1]} for i in (5, 5, 1)]
        self.import_(self.make(nodes=np.eye(4, 3), blocks=blocks, node_sets=sets))
        self.lossy("back.exo", losses=("id 3 of the block block_3_3, which another has", "id 5 of the node set"))
        m = (back := Sim(self.import_(self.dir / "back.exo"))).mesh
        for f, ids in ((m.regionFields[b"label"], [3, 1]), (m.meshFields[b"nodeSetLabel"], [1, 5, 2])):
            self.assertEqual(back.drawers(f)[0].values.tolist(), ids)

    def test_structure_that_the_format_lacks_is_told(self):
        self.import_(self.make(width=200, **exo_make.everything()))
        vector, values = np.arange(120.0).reshape(40, 3), np.arange(40, dtype="i4")
        edit(self.pdm, b"temperature", [vector], "K")
        edit(self.pdm, b"coordinates_2", [values, values + 1, values + 2])
        edit(self.pdm, b"coordinates", unit="mm")
        told = self.lossy("back.exo", losses=(
            "the unit of length mm", "the unit K of the field temperature", "field temperature is the same at all times",
            "the 3 components of the field temperature are one", "the field coordinates_2 is of integers"))
        self.assertEqual(len(told), 5)
        back = Sim(self.import_(self.dir / "back.exo"))
        for axis, name in enumerate("xyz"):
            for drawer in back.drawers(back.mesh.nodeFields[b"temperature_" + name.encode()]):
                np.testing.assert_array_equal(drawer.values, vector[:, axis])
        steps = back.drawers(back.mesh.nodeFields[b"coordinates_2"])
        self.assertEqual([d.values.tolist() for d in steps], [(values + i).tolist() for i in range(3)])
        back.file.close()

        values = np.arange(6.0).reshape(2, 3)
        self.import_(self.make(nodes=np.ones((4, 3)), times=[1.0, 2.0], node_sets=[
            {"id": 1, "name": "a", "members": [1, 2, 3]}, {"id": 2, "name": "b", "members": [2, 3, 4]}],
            nset_vars={"v": {0: values, 1: values + 9}}))
        edit(self.pdm, b"v", keep=2)  # both sets, once for all times
        self.lossy("sets.exo", losses=("that the field v is the same at all times",))
        back = Sim(self.import_(self.dir / "sets.exo"))
        self.assertEqual([d.values.tolist() for d in back.drawers(back.mesh.nodeFields[b"v"])],
                         [values[0].tolist(), (values[0] + 9).tolist()] * 2)
        back.file.close()

    def test_elements_without_nodes(self):
        self.pdm = self.import_(self.make(nodes=np.eye(3), blocks=[{"id": 4, "type": "NFACED", "conn": [[1, 2], [3, 1]]},
                                                                   {"id": 5, "type": "TRI3", "conn": [[1, 2, 3]]}],
                                          elem_labels=[7, 8, 9]), self.dir / "in.pdm")
        for out, loss in (("back.exo", "the type NFACED of block block_4, which has no nodes"),
                          ("out.vtu", "the type NFACED of the elements of block block_4"),
                          ("out.msh", "the elements of block block_4")):
            self.assertEqual(len(self.lossy(out, losses=(loss,))), 1)
        back, first = whole(self.import_(self.dir / "back.exo", self.dir / "back.pdm")), whole(self.pdm)
        self.assertEqual((back["elementSets"], back["elementFields"][b"label"]),
                         (first["elementSets"], first["elementFields"][b"label"]))
        grid = read_vtu(self.dir / "out.vtu")
        self.assertEqual([grid.GetCellType(i) for i in range(3)], [0, 0, 5])
        self.assertEqual(gmsh_reader.read(self.dir / "out.msh").elements, {(2, "block_5"): {2: {9: [1, 2, 3]}}})

    def test_blocks_whose_elements_are_mixed(self):
        r = np.random.default_rng(3)
        conn = r.integers(1, 10, (3, 4))
        blocks = [{"id": 1, "name": "a", "type": "TET4", "conn": conn[:2]}, {"id": 2, "name": "b", "type": "TET4",
                                                                              "conn": conn[2:]}]
        self.import_(self.make(nodes=r.random((9, 3)), blocks=blocks, times=[1.0], elem_labels=[10, 20, 30],
                               elem_sets=[{"id": 7, "name": "some", "members": [3, 2]}],
                               elem_vars={"p": {0: [[1.0, 2.0]], 1: [[3.0]]}}))
        sim = Sim(self.pdm)
        sets = [sim.set_data(sim.mesh.elementSets[name]).name for name in (b"a", b"b")]
        sim.file.close()
        with h5py.File(self.pdm, "r+") as file:  # elements 0 and 2 are of a, 1 of b
            for name, members in zip(sets, ([0, 2], [1])):
                file[name][...] = members
                del file[name].attrs["checksums"]
        self.export("back.exo")
        back = Sim(self.import_(self.dir / "back.exo"))
        label, p = (back.drawers(back.mesh.elementFields[k])[0].values.tolist() for k in (b"label", b"p"))
        self.assertEqual((label, p), ([10, 30, 20], [1.0, 3.0, 2.0]))
        self.assertEqual(back.members(back.mesh.elementSets[b"some"]).tolist(), [1, 2])
        back.file.close()

    def test_what_is_no_whole_mesh_is_refused_in_a_line(self):
        for name, code, says in (("first_model", 2, ("the system statics", "the unit of length m")),
                                 ("modal", 2, ("the system modal analysis",)), ("systems", 2, ("no coordinates",)),
                                 ("store", 2, ("which is null",))):
            for golden in GOLDEN.glob(f"*/{name}.pdm"):
                self.refused(code, golden, self.dir / "out.exo", says=says)
        self.refused(2, golden.with_name("systems.pdm"), self.dir / "out.exo", "--lossy",
                     says=("expected coordinates of the nodes, found none",))
        pdm, out = golden.with_name("import.pdm"), self.dir / "out.exo"
        self.refused(1, pdm, self.dir / "out.xyz", says=("ends with", ".msh", ".vtu"))
        self.refused(1, pdm, out, "--field", "label", says=("--field",))
        self.refused(1, pdm, out, "--ascii", says=("gmsh only",))
        self.refused(1, pdm, out, "--compress", says=("vtu only",))
        self.refused(1, pdm, self.dir / "out.csv", says=("--field",))
        self.refused(2, pdm, self.dir / "no" / "out.exo", says=(f"the directory {self.dir}/no to write it in",))
        self.refused(2, self.dir / "none.pdm", out)
        out.write_text("mine")
        self.refused(2, pdm, out, says=("--force",))
        self.assertEqual(out.read_text(), "mine")


class Vtu(Case):
    def test_cells_have_their_nodes_where_vtk_looks_for_them(self):
        mesh, sizes = one_of_each()
        self.import_(self.make(**mesh))
        self.assertEqual(self.export("out.vtu")["losses"], [])
        self.import_(self.dir / "out.vtu")
        grid = read_vtu(self.dir / "out.vtu")
        vtkObject.GlobalWarningDisplayOff()  # of HEX27
        measure = vtkCellSizeFilter()
        measure.SetInputData(grid)
        measure.Update()
        found = arrays(measure.GetOutput().GetCellData())
        found = found["Volume"] + found["Area"] + found["Length"]
        found[2] = sizes[2]  # it has no formula for HEX27
        np.testing.assert_allclose(found, sizes, rtol=1e-12)
        for i, (name, (of, middles, faces)) in enumerate(TYPES.items()):
            cell = grid.GetCell(i)
            for k in range(cell.GetNumberOfEdges() if middles else 0):
                points = [np.array(cell.GetEdge(k).GetPoints().GetPoint(p)) for p in range(3)]
                np.testing.assert_allclose(points[2], (points[0] + points[1]) / 2, err_msg=name)
            for k in range(6 if name == "HEX27" else 0):
                points = [np.array(cell.GetFace(k).GetPoints().GetPoint(p)) for p in range(9)]
                np.testing.assert_allclose(points[8], np.mean(points[:4], 0))
            center = [0.0] * 3
            cell.GetParametricCenter(center)
            point, weights = [0.0] * 3, [0.0] * cell.GetNumberOfPoints()
            cell.EvaluateLocation(reference(0), center, point, weights)
            if not name.startswith("PYR"):
                corners = np.array(mesh["nodes"])[np.array(mesh["blocks"][i]["conn"][0])[: len(of[0])] - 1]
                np.testing.assert_allclose(point, corners.mean(0), err_msg=name)

    def test_sets_and_values_of_every_step(self):
        mesh = exo_make.everything() | {"node_sets": [{"id": 8, "name": "temperature", "members": [2, 3, 9]}],
                                        "nset_vars": {}, "elem_sets": [{"id": 5, "name": 'a<"&', "members": [1, 7]}]}
        self.import_(self.make(width=200, **mesh))
        self.lossy("out.pvd", "--compress", losses=("the side set wall", "the 2 attributes of block block_7", "is called temperature_set"))
        self.refused(1, self.pdm, self.dir / "out.vtu", "--lossy", says=("3 steps",))
        listed = xml.etree.ElementTree.parse(self.dir / "out.pvd").findall(".//DataSet")
        self.assertEqual([float(one.get("timestep")) for one in listed], mesh["times"])
        for step, one in enumerate(listed):
            grid = read_vtu(self.dir / one.get("file"))
            nodes, cells, field = (arrays(d) for d in (grid.GetPointData(), grid.GetCellData(), grid.GetFieldData()))
            np.testing.assert_array_equal(vtk_to_numpy(grid.GetPoints().GetData()), mesh["nodes"])
            np.testing.assert_array_equal(nodes["label"], mesh["node_labels"])
            np.testing.assert_array_equal(nodes["temperature"], mesh["node_vars"]["temperature"][step])
            np.testing.assert_array_equal(np.flatnonzero(nodes["temperature_set"]), [1, 2, 8])
            np.testing.assert_array_equal(nodes["origin"], mesh["node_maps"]["origin"])
            np.testing.assert_array_equal(np.flatnonzero(cells['a<"&']), [0, 6])
            np.testing.assert_array_equal(cells["block"], [10] * 5 + [7] * 4 + [3] * 3)
            stress = mesh["elem_vars"]["stress"]
            np.testing.assert_array_equal(cells["stress"], np.r_[stress[0][step], [math.nan] * 4, stress[3][step]])
            self.assertEqual([field[k][0] for k in ("TimeValue", "global energy", "node set temperature", "block void")],
                             [mesh["times"][step], mesh["glob_vars"]["energy"][step], 8, 99])
        self.assertFalse(list(self.dir.glob("*.new-*")))

    def test_polygons_and_vectors(self):
        self.import_(self.make(nodes=np.arange(12.0).reshape(6, 2), times=[4.0], node_vars={"u": np.zeros((1, 6))}, blocks=[
            {"id": 4, "name": "p", "type": "nsided", "conn": [1, 2, 3, 4, 5, 6, 1], "corners": [3, 4]}]))
        vector = np.arange(12.0).reshape(6, 2).astype("f4")
        edit(self.pdm, b"u", [vector])
        self.export("out.vtu", "--compress")
        self.assertIn(b"vtkZLibDataCompressor", (self.dir / "out.vtu").read_bytes())
        grid = read_vtu(self.dir / "out.vtu")
        u = arrays(grid.GetPointData())["u"]
        np.testing.assert_array_equal(u, vector)
        self.assertEqual(u.dtype, np.float32)
        self.assertEqual([[grid.GetCell(c).GetPointId(i) for i in range(grid.GetCell(c).GetNumberOfPoints())]
                          for c in range(2)], [[0, 1, 2], [3, 4, 5, 0]])


class VtkHdf(Case):
    def parts(self, grid):
        """All numbers of a grid, those of points and cells by their arrays' names in HDF5."""
        cells = grid.GetCells()
        return [{"points": vtk_to_numpy(grid.GetPoints().GetData()), "types": vtk_to_numpy(grid.GetCellTypesArray()),
                 "corners": vtk_to_numpy(cells.GetConnectivityArray()), "offsets": vtk_to_numpy(cells.GetOffsetsArray())},
                *({name.replace("/", "_"): values for name, values in arrays(data).items()}
                  for data in (grid.GetPointData(), grid.GetCellData(), grid.GetFieldData()))]

    def test_a_file_of_its_own(self):
        """Each step by VTK against the export as VTU, and all of them in one file; the simulation file is gone."""
        vtkObject.GlobalWarningDisplayOff()  # of a version that VTK 9.1 does not know
        mesh = exo_make.everything()
        del mesh["node_vars"][exo_make.LONG]  # which is a set's name, too
        self.import_(self.make(width=200, **mesh))
        edit(self.pdm, b"temperature", [np.arange(120.0).reshape(40, 3).astype("f4") + i for i in range(3)])
        self.lossy("out.hdf", losses=("the side set wall", "the order of the members of element set picked", "flux of side sets",
                                      "the 2 attributes of block block_7", "slash; it is called mit Ümlaut_and slash"))
        self.refused(2, self.pdm, self.dir / "out.hdf", "--lossy", says=("--force",))
        for step in range(3):
            for end in ("vtu", "hdf"):
                self.done(PDMSIM, "export", self.pdm, self.dir / f"{step}.{end}", "--lossy", "--quiet", "--step", str(step))
        self.pdm.unlink()
        self.assertIn(b"sound", self.done(PDMSIM, "check", self.dir / "out.hdf"))
        with h5py.File(self.dir / "out.hdf") as file:
            root = file["VTKHDF"]
            np.testing.assert_array_equal(root.attrs["Version"], [2, 0])
            self.assertEqual((root["Steps"].attrs["NSteps"], list(root["Steps/Values"])), (3, mesh["times"]))
            file.visititems(lambda name, data: self.assertFalse(isinstance(data, h5py.Dataset) and data.is_virtual, name))
            for step in range(3):
                found, wanted = self.parts(read_hdf(self.dir / f"{step}.hdf")), self.parts(read_vtu(self.dir / f"{step}.vtu"))
                reaction = np.full(40, math.nan)
                reaction[mesh["node_sets"][1]["members"] - 1] = mesh["nset_vars"]["reaction"][1][step]
                wanted[1][f"reaction ({exo_make.LONG})"] = reaction
                wanted[2] |= {"wall": np.isin(range(12), [0, 1, 5, 11]), "sideset_2": np.arange(12) == 2}
                wanted[3] = {name.removeprefix("global "): values for name, values in wanted[3].items()}
                for have, want in zip(found, wanted):
                    self.assertEqual(set(have), set(want))
                    for name, values in want.items():
                        np.testing.assert_array_equal(have[name], values, err_msg=name)
                        self.assertTrue(have[name].dtype == values.dtype or name in ("block", "offsets", "corners", "wall", "sideset_2"), name)
                for kind, one, rows in (("PointData", found[1], 40), ("CellData", found[2], 12), ("FieldData", found[3], 1)):
                    self.assertEqual(set(root[kind]), set(one) - {"TimeValue"})
                    for name, data in root[kind].items():
                        first = root[f"Steps/{kind}Offsets"][name][step]
                        np.testing.assert_array_equal(data[first:first + rows], one[name], err_msg=name)
        whole_, first = self.parts(read_hdf(self.dir / "out.hdf")), self.parts(read_hdf(self.dir / "0.hdf"))
        for have, want in zip(whole_[:3], first):  # VTK 9.1 shows the first step
            self.assertEqual(set(have), set(want))
            for name, values in want.items():
                np.testing.assert_array_equal(have[name], values, err_msg=name)

    def test_every_name_that_changes_is_told(self):
        two = np.arange(2.0)
        self.import_(self.make(nodes=np.eye(4, 3), times=two, blocks=[{"id": 3, "name": "left", "type": "TET4", "conn": [[1, 2, 3, 4]]}],
                               node_sets=[{"id": 1, "name": "a/b", "members": [1]}, {"id": 2, "name": "c", "members": [2]}],
                               nset_vars={"v": {0: np.ones((2, 1)), 1: np.ones((2, 1))}}, node_vars={"v (c)": np.ones((2, 4))},
                               glob_vars={"TimeValue": two, "block left": two}))
        told = self.lossy("out.hdf", losses=())
        changed = {line[9:line.index(", which")]: line.rsplit(" called ", 1)[1] for line in told}
        self.assertEqual(changed, {"a/b": "a_b", "v (a/b)": "v (a_b)", "v (c)": "v (c)_2", "TimeValue": "TimeValue_2",
                                   "block left": "block left_2", "node set a/b": "node set a_b"})
        with h5py.File(self.dir / "out.hdf") as file:
            names = {name for kind in ("Point", "Cell", "Field") for name in file[f"VTKHDF/{kind}Data"]}
        self.assertEqual(names, {*changed.values(), "block left", "v (c)", "c", "label", "block", "node set c"})

    def test_every_type_and_the_plane(self):
        mesh, _ = one_of_each()
        for name, made in (("types", mesh), ("plane", dict(nodes=np.arange(12.0).reshape(6, 2), blocks=[
                {"id": 4, "name": "p", "type": "nsided", "conn": [1, 2, 3, 4, 5, 6, 1], "corners": [3, 4]}]))):
            self.import_(self.make(**made))
            for end in ("vtu", "hdf"):
                self.assertEqual(self.export(f"{name}.{end}", "--format", {"hdf": "vtkhdf"}.get(end, end))["losses"], [])
            self.pdm.unlink()
            with h5py.File(self.dir / f"{name}.hdf") as file:
                np.testing.assert_array_equal(file["VTKHDF"].attrs["Version"], [1, 0])
            for have, want in zip(*(self.parts(read(self.dir / f"{name}.{end}")) for read, end in ((read_hdf, "hdf"), (read_vtu, "vtu")))):
                self.assertEqual(set(have), set(want))
                for array, values in want.items():
                    np.testing.assert_array_equal(have[array], values, err_msg=array)


class Whole(Case):
    def test_the_file_that_is_read_is_no_piece_of_a_series(self):
        self.import_(self.make(nodes=np.eye(3), times=[0.0, 1.0]))
        piece = self.dir / "x_0.vtu"
        piece.write_bytes(self.pdm.read_bytes())
        self.refused(2, piece, self.dir / "x.pvd", "--force", "--lossy", says=["x_0.vtu", "the one that is read"])
        self.assertEqual(piece.read_bytes(), self.pdm.read_bytes())

    def test_nothing_is_left_of_what_did_not_end(self):
        r = np.random.default_rng(5)
        mesh = dict(nodes=r.random((60000, 3)), times=np.arange(30.0), node_vars={"u": r.random((30, 60000))})
        self.import_(self.make(**mesh))
        outs = [("out.csv", "--field", "u"), ("out.exo",), ("out.msh",), ("out.hdf",), ("out.pvd", "--compress")]
        for name, *options in outs:
            out = self.dir / name
            out.write_text("mine")
            before = sorted(p.name for p in self.dir.iterdir())
            command = [PDMSIM, "export", self.pdm, out, "--force", *options]
            small = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 20, 1 << 20))
            done = subprocess.run(command, capture_output=True, restore_signals=False, preexec_fn=small, timeout=100)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), done)
            self.assertIn(name.encode(), done.stderr)
            self.assertEqual((out.read_text(), sorted(p.name for p in self.dir.iterdir())), ("mine", before), name)
            for _ in range(20):  # a fast machine may end before it is told to
                process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
                while process.poll() is None and not list(self.dir.glob(f"*.new-{process.pid}")):
                    pass
                process.send_signal(signal.SIGTERM)
                if process.wait(60) == -signal.SIGTERM:
                    break
                for piece in set(p.name for p in self.dir.iterdir()) - set(before):
                    (self.dir / piece).unlink()
                out.write_text("mine")
            self.assertEqual(process.returncode, -signal.SIGTERM, name)
            self.assertEqual((out.read_text(), sorted(p.name for p in self.dir.iterdir())), ("mine", before), name)
            self.done(*command, "--quiet")
            self.assertFalse(list(self.dir.glob("*.new-*")))
        grid = read_vtu(self.dir / "out_29.vtu")
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetPoints().GetData()), mesh["nodes"])
        np.testing.assert_array_equal(arrays(grid.GetPointData())["u"], mesh["node_vars"]["u"][29])
        first, second = self.dir / "out_00.vtu", self.dir / "out_01.vtu"  # a name that cannot be had takes the others back
        first.write_text("mine")
        second.unlink()
        process = subprocess.Popen([*command, "--quiet"], stderr=subprocess.PIPE)
        while process.poll() is None and not list(self.dir.glob("out_02.vtu.new-*")):
            pass
        second.mkdir()
        self.assertIn(b"out_01.vtu: expected to write it, found: ", process.communicate(timeout=60)[1])
        self.assertEqual((process.returncode, first.read_text(), list(self.dir.glob("*.*-*"))), (2, "mine", []))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
