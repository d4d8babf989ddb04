#!/usr/bin/env python3
"""Files in a few words of Python: arrays as h5py finds them, failures in four parts, updates whole or not at all."""

import collections.abc
import contextlib
import gc
import logging
import os
import sys
import tempfile
import threading
import unittest

import h5py
import meshio
import numpy as np
import pandas
import pdm_core as pdm
from model import HEAT, TRIANGLES, XY, make


def volumes_of(path):
    """What VTK finds for each cell of a .vtu."""
    import vtk

    reader, sizes = vtk.vtkXMLUnstructuredGridReader(), vtk.vtkCellSizeFilter()
    reader.SetFileName(path)
    sizes.SetInputConnection(reader.GetOutputPort())
    sizes.Update()
    found = sizes.GetOutput().GetCellData().GetArray("Volume")
    return [found.GetValue(i) for i in range(found.GetNumberOfValues())]


class Package(unittest.TestCase):
    def setUp(self):
        self.file = make(os.path.join(tempfile.mkdtemp(dir=sys.argv[1]), "a.pdm"))

    def tearDown(self):
        gc.collect()

    def test_reads_what_was_written(self):
        with pdm.open(self.file) as sim, h5py.File(self.file) as judge:
            mesh = sim.model.mesh
            self.assertEqual((mesh.node_count, mesh.element_count, mesh.dimension), (4, 2, 2))
            coordinates, temperature = mesh.node_fields["coordinates"], mesh.node_fields["temperature"]
            for drawer, values in [(coordinates[0], XY), *zip(temperature, HEAT), (mesh.blocks[0].connectivity, TRIANGLES)]:
                np.testing.assert_array_equal(drawer[:], values)
                np.testing.assert_array_equal(judge[drawer.dataset_path][()].reshape(values.shape), values)
                self.assertEqual(drawer[:].dtype, judge[drawer.dataset_path].dtype)
            for index in (slice(1, 3), slice(None, None, -2), slice(9, 2), 2, -1, [0, 3]):
                np.testing.assert_array_equal(temperature.at(time=0.5)[index], HEAT[1][index])
            np.testing.assert_array_equal(coordinates[1:], XY[1:])
            np.testing.assert_array_equal(np.asarray(coordinates), XY)
            self.assertEqual((coordinates.unit, coordinates.long_name, len(temperature), temperature.steps), ("m", "x, y", 2, 2))
            self.assertEqual((temperature.times.tolist(), mesh.times.tolist()), ([0, 0.5], [0, 0.5]))
            self.assertIsInstance(mesh.node_sets, collections.abc.Mapping)
            self.assertEqual({name: list(items) for name, items in mesh.node_sets.items()}, {"inlet": [0, 1], "outlet": [2, 3]})
            self.assertEqual(mesh.node_sets["outlet"].dtype, np.int32)
            self.assertIsNone(mesh.node_sets.get("none"))
            self.assertEqual((len(mesh.surfaces["bottom"]), mesh.surfaces["bottom"].elements.tolist()), (1, [0]))
            self.assertRaises(pdm.Error, lambda: temperature[:])  # which step?
            self.assertRaises(pdm.Error, coordinates.view)  # in no one piece, and small

    def test_a_view_is_the_file(self):
        numbers = np.arange(300000.0).reshape(-1, 3)
        with pdm.create(self.file, replace=True) as sim:
            sim.create_mesh(100000, 0).node_fields.create("coordinates", numbers)
            self.assertRaises(pdm.Error, sim.model.mesh.node_fields["coordinates"].view)
        with pdm.open(self.file) as sim:
            view = sim.model.mesh.node_fields["coordinates"].view()
            self.assertFalse(view.flags.writeable or view.flags.owndata)
        np.testing.assert_array_equal(view, numbers)  # outlives the file
        for call in (lambda: pdm.open(self.file, "r+"), lambda: pdm.create(self.file, replace=True)):
            with self.assertRaisesRegex(pdm.Error, r"arrays of view\(\) in this process hold the file \(1 alive"):
                call()
        del view
        gc.collect()
        pdm.open(self.file, "r+").close()

    def test_systems_number_their_equations(self):
        with pdm.open(self.file) as sim:
            modal = sim.model.mesh.systems["modal analysis"]
            numbering, pattern = modal.numbering(), modal.numbering().pattern(sim.model.mesh).toarray()
            self.assertEqual(modal.frequencies.tolist(), [1.5, 2.5])
        self.assertEqual(numbering.equations.tolist(), [[0, 1], [2, -1], [3, 4], [5, 6]])
        self.assertEqual(numbering.order.tolist(), [6, 5, 4, 3, 2, 1, 0])
        self.assertEqual(numbering.nodes.tolist(), [0, 0, 1, 2, 2, 3, 3])
        coupled = np.array([[any(a in t and b in t for t in TRIANGLES) for b in numbering.nodes] for a in numbering.nodes])
        np.testing.assert_array_equal(pattern, coupled[np.ix_(numbering.order, numbering.order)])

    def test_members_of_schema_classes_are_attributes(self):
        with pdm.open(self.file, "r+") as sim:
            modal = sim["discreteModel/mesh/systems/0"]
            self.assertEqual((modal.systemName, modal.propertyEvaluation), ("modal analysis", 0.25))
            modal.object.systemName = "renamed"
            self.assertEqual(sim.model.mesh.systems[0].name, "renamed")
            self.assertEqual(sim["discreteModel"].object.mesh.nodeSets["inlet"].tolist(), [0, 1])
            self.assertEqual(len(sim["discreteModel/mesh"].object.systems), 1)
            self.assertEqual(modal.modes.name, "modes")
            self.assertIsNone(modal.residualModes)
            modal.object.residualModes = modal.object.get("structuralModes")
            with self.assertRaisesRegex(AttributeError, 'do you mean "systemName"'):
                modal.systemNam
            with self.assertRaisesRegex(pdm.Error, "not of the member's type"):
                modal.object.propertyEvaluation = "much"
            with self.assertRaises(pdm.Error):
                modal.object.systemName = "cut\0here"
            with self.assertRaises(AttributeError):
                modal.object.colour = 1
            with pdm.open(make(self.file + "2")) as other:
                with self.assertRaisesRegex(pdm.Error, "another file"):
                    sim.model.mesh.object.faces = other.model.mesh.nodes
                with self.assertRaisesRegex(pdm.Error, "same file"):
                    sim.model.mesh.node_fields.create("x", [1.0, 2], over=other.model.mesh.node_sets.set("inlet"))
            self.assertIsNone(sim.model.mesh.object.faces)

    def test_only_numbers_that_fit_are_stored(self):
        with pdm.open(self.file, "r+") as sim:
            fields = sim.model.mesh.node_fields
            big = np.array([2**63 - 1, 0, 0, 0])
            kept = {
                "int8": np.int32, "uint16": np.int32, "uint32": np.int64, "int64": np.int64, "uint64": np.int64,
                "float16": np.float32, "float32": np.float32, ">f8": np.float64, "longdouble": np.float64, "bool": np.int32}
            for name, stored in kept.items():
                values = np.array([[0, 1], [1, 0], [0, 0], [1, 1]], name)
                field = fields.create(name, values[:, ::-1], unit="1")
                self.assertEqual(field.dtype, stored, name)
                np.testing.assert_array_equal(field[:], values[:, ::-1])
            for values in (["a"] * 4, [1j] * 4, big.astype(np.uint64) * 2, np.full(4, np.longdouble(1) / 3), [None] * 4,
                           np.ma.masked_equal([1, 2, 3, 4], 2), np.arange(5), np.ones((3, 2)), np.arange(12)):
                self.assertRaises(pdm.Error, fields.create, "lossy", values)
                self.assertNotIn("lossy", fields)
            self.assertRaises(pdm.Error, fields["float32"].write, np.full((4, 2), 0.1))
            self.assertRaises(pdm.Error, fields["int8"].write, np.full((4, 2), 2**40))
            self.assertRaises(pdm.Error, fields["longdouble"].write, np.stack([big, big], 1))
            self.assertRaises(pdm.Error, fields["int8"].write, np.zeros((2, 4)))
            fields["float32"].write(np.full((4, 2), np.nan))
            fields["int8"].write([[2.0, 3], [4, 5], [6, 7], [8, 9]])
            np.testing.assert_array_equal(fields["int8"][:], np.arange(2, 10).reshape(4, 2))
            self.assertRaises(pdm.Error, sim.model.mesh.node_sets.create, "x", [0.5])
            with self.assertRaisesRegex(pdm.Error, "when you append"):
                fields.create("late", over=sim.model.mesh.node_sets.set("inlet"))
        with pdm.create(self.file, replace=True) as sim:
            mesh = sim.create_mesh(4, 2)
            for nodes in ([[0, 1, 0.5]], [[0, 1, 4]], [[0, 1, 2]] * 3):
                self.assertRaises(pdm.Error, mesh.create_block, "x", "TRI3", nodes)
            mesh.create_block("x", "TRI3", TRIANGLES[:, ::-1])  # in no one piece
            self.assertEqual([(b.name, b.type, b.connectivity[:].tolist()) for b in mesh.blocks], [("x", "TRI3", TRIANGLES[:, ::-1].tolist())])

    def test_odd_numbers_and_shapes(self):
        with pdm.open(self.file, "r+") as sim:
            mesh = sim.model.mesh
            systems, temperature, drawer = mesh.systems, mesh.node_fields["temperature"], mesh.node_fields["temperature"][0]
            self.assertEqual((systems[np.int64(0)].name, temperature[np.int64(-1)].index), ("modal analysis", 1))
            self.assertEqual((systems[np.array(0)].name, temperature[np.array(1)].index), ("modal analysis", 1))
            events = systems[0].events
            self.assertEqual((events.append(eventName="x").name, events[np.int8(-1)].name, len(events)), ("x", "x", 1))
            with self.assertRaisesRegex(IndexError, "there is no element 1"):
                events[1]
            self.assertEqual(len(systems.create("plain").events), 0)
            self.assertEqual(drawer[np.array([0, 2])].tolist(), [0, 2])
            for thing in (systems, temperature, drawer, systems[0].object.events):
                self.assertRaises(IndexError, lambda thing=thing: thing[10**30])
            for thing in (systems, systems[0].object.events):
                self.assertRaises(TypeError, lambda thing=thing: thing[1.5])
            for thing in (systems, events, temperature, drawer):
                for truth in (True, np.False_):
                    self.assertRaises(TypeError, lambda thing=thing, truth=truth: thing[truth])
            for call in (
                    lambda: mesh.node_sets.create("x", [True, False, True, True]), lambda: mesh.node_sets.update({"x": XY[:, 0] > 0}),
                    lambda: mesh.node_sets.create("x", [[0, 1]]), lambda: setattr(mesh, "times", [[0, 1]]),
                    lambda: setattr(systems[0], "activity", np.zeros((2, 2), int)), lambda: sim["discreteModel\0mesh"]):
                self.assertRaises(pdm.Error, call)

    def test_an_exception_takes_an_update_back(self):
        with pdm.open(self.file, "r+") as sim:
            mesh = sim.model.mesh
            with self.assertRaises(ZeroDivisionError), sim.update():
                mesh.node_sets["gone"] = [1]
                mesh.node_fields["temperature"].append(HEAT[0])
                1 / 0
            self.assertEqual((list(mesh.node_sets), len(mesh.node_fields["temperature"])), (["inlet", "outlet"], 2))
            with sim.update():
                mesh.node_sets.update({"stays": [1], "outlet": (3,)})
        with pdm.open(self.file) as sim:
            self.assertIn("stays", sim.model.mesh.node_sets)
            with self.assertRaisesRegex(pdm.Error, "for reading only"), sim.update():
                pass

    def test_a_reader_follows_a_writer(self):
        with pdm.open(self.file, "r+") as writer, pdm.open(self.file, live=True) as reader:
            field = reader.model.mesh.node_fields["temperature"]
            writer.model.mesh.append_time(0.75)
            writer.model.mesh.node_fields["temperature"].append(HEAT[0] + 20)
            self.assertEqual(len(field), 2)
            reader.refresh()
            self.assertEqual(field.at(time=0.75)[:].tolist(), [20, 21, 22, 23])

    def test_a_failure_has_four_parts(self):
        with pdm.open(self.file) as sim:
            with self.assertRaises(KeyError) as caught:
                sim.model.mesh.node_sets["inlt"]
            fault = caught.exception
            self.assertIsInstance(fault, pdm.Error)
            self.assertEqual((fault.file, fault.path, fault.operation), (self.file, "discreteModel/mesh/nodeSets", "look up a name"))
            self.assertIn('do you mean "inlet"?', fault.cause)
            self.assertEqual(str(fault), ": ".join((fault.file, fault.path, fault.operation, fault.cause)))
            with self.assertRaisesRegex(KeyError, "caf\udce9"):
                sim.model.mesh.node_sets["caf\udce9"]
            self.assertRaises(IndexError, lambda: sim.model.mesh.node_fields["temperature"][2])
            self.assertRaises(KeyError, lambda: sim.model.mesh.systems["modal"])
            with self.assertRaisesRegex(pdm.Error, "open a file"):
                pdm.open(self.file, "r+")
        for mistaken in (dict(mode="w"), dict(mode="r+", live=True), dict(durability="much")):
            self.assertRaises(pdm.Error, pdm.open, self.file, **mistaken)

    def test_threads_share_a_file(self):
        numbers = np.random.default_rng(1).random((200000, 3))
        with pdm.create(self.file, replace=True) as sim:
            mesh = sim.create_mesh(len(numbers), 0)
            mesh.node_fields.create("coordinates", numbers)
            wrong = []

            def work(which):
                for i in range(10):
                    mesh.node_sets[f"{which} {i}"] = [i]
                    if not np.array_equal(mesh.node_fields["coordinates"][:], numbers):
                        wrong.append(which)

            threads = [threading.Thread(target=work, args=(which,)) for which in range(4)]
            [thread.start() for thread in threads]
            [thread.join() for thread in threads]
            self.assertEqual((wrong, len(mesh.node_sets)), ([], 40))

    def test_an_update_is_its_threads_alone(self):
        with pdm.open(self.file, "r+") as sim:
            mesh, began, tried = sim.model.mesh, threading.Event(), threading.Event()

            def fail():
                with contextlib.suppress(ZeroDivisionError), sim.update():
                    with sim.update():  # of the same thread
                        mesh.node_sets["gone"] = [2]
                    began.set()
                    tried.wait(60)
                    1 / 0

            thread = threading.Thread(target=fail)
            thread.start()
            began.wait(60)
            modal, temperature, writes = mesh.systems[0], mesh.node_fields["temperature"], [
                lambda: mesh.node_sets.create("a", [1]), lambda: mesh.node_sets.update({"b": [1]}), lambda: sim.update().__enter__(),
                lambda: mesh.node_fields.create("c", HEAT[0]), lambda: temperature.append(HEAT[0]), lambda: temperature[0].write(HEAT[0]),
                lambda: mesh.create_block("d", "TRI3", TRIANGLES[:0]), lambda: mesh.append_time(2), lambda: setattr(mesh, "times", [3]),
                lambda: mesh.surfaces.create("e", [0], [0]), lambda: mesh.systems.create("f"), lambda: modal.set_order([0]),
                lambda: setattr(modal, "systemName", "g"), lambda: modal.events.append(), lambda: mesh.node_sets.remove("inlet")]
            try:
                for write in writes:
                    with self.assertRaisesRegex(pdm.Error, "update of another thread is open"):
                        write()
                self.assertEqual(temperature[0][:].tolist(), HEAT[0].tolist())  # who reads does not wait
            finally:
                tried.set()
                thread.join()
            self.assertEqual(list(mesh.node_sets), ["inlet", "outlet"])
            mesh.node_sets["mine"] = [0]
            self.assertIn("mine", mesh.node_sets)

    def test_other_packages_take_it_over(self):
        import pyvista

        with pdm.open(self.file) as sim:
            mesh = sim.model.mesh
            self.assertTrue(mesh.node_index().equals(pandas.Index([1, 2, 3, 4])))
            other = mesh.to_meshio()
            self.assertIsInstance(other, meshio.Mesh)
            np.testing.assert_array_equal(other.points[:, :2], XY)
            np.testing.assert_array_equal(other.cells_dict["triangle"], TRIANGLES)
            np.testing.assert_array_equal(other.point_data["temperature"], HEAT[1])
            self.assertEqual((other.point_sets["outlet"].tolist(), other.cell_sets["plate"][0].tolist()), ([2, 3], [0, 1]))
            grid = mesh.to_pyvista(step=0)
            self.assertIsInstance(grid, pyvista.UnstructuredGrid)
            self.assertEqual((grid.cells.tolist(), grid.types.tolist()), ([3, 0, 1, 2, 3, 0, 2, 3], [5, 5]))
            np.testing.assert_array_equal(grid.point_data["temperature"], HEAT[0])

    def test_elements_of_all_types_are_handed_over(self):
        cube = np.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]], float)
        corners = {"TET": cube[[0, 1, 3, 4]], "PYRAMID": cube[:5], "WEDGE": cube[[0, 1, 3, 4, 5, 7]], "HEX": cube}
        edges = {"TET": "01 12 20 03 13 23", "HEX": "01 12 23 30 04 15 26 37 45 56 67 74"}
        types = ["TET4", "TET10", "PYRAMID5", "WEDGE6", "HEX8", "HEX20"]
        points, nodes = [], []
        for k, name in enumerate(types):
            kind = name.rstrip("0123456789")
            nodes.append(np.arange(int(name[len(kind):])) + sum(map(len, nodes)))
            middles = [corners[kind][[int(a), int(b)]].mean(0) for a, b in edges.get(kind, "").split()]
            points.append(np.array([*corners[kind], *middles])[:len(nodes[-1])] + [2 * k, 0, 0])
        points = np.concatenate(points)
        with pdm.create(self.file, replace=True) as sim, sim.update():
            mesh = sim.create_mesh(len(points), len(types) + 1)  # one is in no block
            mesh.node_fields.create("coordinates", points)
            for name, of in zip(types, nodes):
                mesh.create_block(name, name, [of])
            stress = mesh.element_fields.create("stress")
            for value in (1, 5, 11, 15):  # two steps
                stress.append([value], over=mesh.blocks[value % 10 - 1].elements)
            wide = mesh.element_fields.create("wide")
            wide.append([[1, 2]], over=mesh.blocks[0].elements)
            wide.append([3] * 6, over=mesh.element_sets.create("others", range(1, 7)))
            mesh.element_fields.create("number", np.arange(len(types) + 1) * 10)
            mesh.node_fields.create("some", [7.0, 5], over=mesh.node_sets.create("two", [2, 1]))
            other, grid = mesh.to_meshio(), mesh.to_pyvista(step=0)
            self.assertRaises(IndexError, mesh.to_meshio, 2)
            self.assertEqual(len(mesh.element_index()), len(types) + 1)
        np.testing.assert_array_equal(other.cells_dict["wedge"][0], nodes[3])
        np.testing.assert_array_equal(grid.points, points)
        wanted = np.array([1, *[np.nan] * 3, 5, np.nan])
        np.testing.assert_array_equal(np.concatenate(other.cell_data["stress"]), wanted + 10)
        np.testing.assert_array_equal(grid.cell_data["stress"], wanted)
        np.testing.assert_array_equal(grid.cell_data["wide"], [[1, 2], *[[3, np.nan]] * 5])
        self.assertEqual([values.tolist() for values in other.cell_data["number"]], [[10 * k] for k in range(len(types))])
        np.testing.assert_array_equal(other.point_data["some"][:4], [np.nan, 5, 7, np.nan])
        volumes = [1 / 6, 1 / 6, 1 / 3, 1 / 2, 1, 1]
        there, back = (os.path.join(os.path.dirname(self.file), name) for name in ("a.msh", "b.vtu"))
        meshio.write(there, meshio.Mesh(other.points, other.cells), "gmsh22")
        for mesh in (other, meshio.read(there)):
            meshio.write(back, mesh)
            np.testing.assert_allclose(volumes_of(back), volumes, rtol=1e-6)
        for unknown in ("NSIDED", "WEDGE15"):  # the second one has a name in meshio, and no more
            with pdm.create(self.file, replace=True) as sim, self.assertRaises(pdm.Error) as caught:
                sim.create_mesh(15, 1).create_block("x", unknown, [range(15)])
                sim.model.mesh.to_meshio()
            self.assertEqual((caught.exception.file, caught.exception.path), (self.file, "discreteModel/mesh"))

    def test_is_shown(self):
        with pdm.open(self.file, "r+") as sim:
            sim.model.mesh.node_sets["<b>&"] = [0]
            page = sim._repr_html_()
            self.assertIn("<details", page)
            latin = b"caf\xe9".decode("utf-8", "surrogateescape")  # names may have any bytes
            sim.model.mesh.node_sets[latin] = [2]
            self.assertIn(latin, list(sim.model.mesh.node_sets))
            self.assertEqual(sim.model.mesh.node_sets[latin].tolist(), [2])
            self.assertIn("&lt;b&gt;&amp;", page)
            self.assertNotIn("<b>", page)
            self.assertEqual(page.count("<details"), page.count("</details>"))
            for thing in (sim, sim.model.mesh.node_sets, sim.model.mesh.node_fields["temperature"], sim.model.mesh.blocks[0]):
                page = thing._repr_html_()
                page.encode()  # as a notebook does it
                self.assertNotIn("<ul>", page)  # bullets beside the triangles of a tree
            self.assertIn("1, time 0.5 <code>(4,) float64 [K]</code>", sim.model.mesh.node_fields["temperature"]._repr_html_())
            self.assertEqual(repr(sim.model.mesh), "<pdm_core.Mesh: 2-D, 4 nodes, 2 elements>")
            self.assertIn("temperature", sim.model.mesh._repr_html_())
        self.assertEqual(repr(sim), "<pdm_core.Sim: the file is closed>")

    def test_ranks_need_mpi4py(self):
        sys.modules["mpi4py"], before = None, sys.modules.get("mpi4py")
        try:
            for call in (pdm.open, pdm.create):
                with self.assertRaises(pdm.Error) as caught:
                    call(self.file, comm=1)
                self.assertIn("mpi4py is not installed", caught.exception.cause)
        finally:
            sys.modules.pop("mpi4py")
            sys.modules.update({"mpi4py": before} if before else {})

    def test_what_the_library_says_is_logged(self):
        sim = pdm.open(self.file, "r+")
        with self.assertLogs("pdm_core", logging.DEBUG) as heard:
            self.assertRaises(pdm.Error, lambda: sim.model.mesh.node_fields["none"] and 1 or pdm.open("/nowhere.pdm"))
            self.assertRaises(pdm.Error, pdm.open, "/nowhere.pdm")
        self.assertIn("nowhere.pdm", "".join(heard.output))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
