"""Drives pdmsim import: what stands in the files, and every mesh that must be refused.

Usage: import_test.py PDMSIM MESH_FOLDER [unittest arguments]"""

import os
import signal
import subprocess
import sys
import time
import unittest

import netCDF4
import numpy as np

import exo_make
import mesh_make
from pdm_reader import Sim
from pdmsim_cases import MESHES, PDMSIM, QUAD, Case


def names_of(nc, variable, count):
    if variable not in nc.variables:
        return [b""] * count
    return [row.tobytes().split(b"\0")[0].rstrip() for row in nc[variable][:]]


class Import(Case):
    def compare(self, path, notes=b""):
        """Imports the mesh: the simulation file, decoded by h5py, against the mesh, read by netCDF4."""
        summary = self.import_(path, notes)
        nc = netCDF4.Dataset(path)
        self.addCleanup(nc.close)
        nc.set_auto_mask(False)
        sim = Sim(self.out)
        mesh = sim.mesh
        size = lambda name: len(nc.dimensions[name]) if name in nc.dimensions else 0
        var = lambda name, default: nc[name][:] if name in nc.variables else default
        one = lambda field: sim.drawers(field)[0].values
        same = np.testing.assert_array_equal
        nodes, elements, dim, steps = (size(d) for d in ("num_nodes", "num_elem", "num_dim", "time_step"))

        self.assertEqual([sim.items(c) for c in (mesh.nodes, mesh.elements, mesh.regions, sim.model.frames)],
                         [nodes, elements, size("num_el_blk"), steps])
        if nodes:
            axes = nc["coord"][:] if "coord" in nc.variables else [nc["coord" + "xyz"[i]][:] for i in range(dim)]
            same(one(mesh.nodeFields[b"coordinates"]).reshape(nodes, dim), np.array(axes).T)
        same(one(mesh.nodeFields[b"label"]), var("node_num_map", np.arange(1, nodes + 1)))
        same(one(mesh.elementFields[b"label"]), var("elem_num_map", np.arange(1, elements + 1)))

        blocks, first, connectivity = {}, 0, sim.drawers(mesh.elementFields[b"connectivity"])
        self.assertEqual(len(connectivity), size("num_el_blk"))
        for k, drawer in enumerate(connectivity, 1):
            count = size(f"num_el_in_blk{k}")
            blocks[k] = np.arange(first, first + count)
            first += count
            same(drawer.members, blocks[k])
            if count:
                same(drawer.values.reshape(count, -1), nc[f"connect{k}"][:] - 1)
                self.assertEqual(drawer.long_name.decode(), nc[f"connect{k}"].elem_type)
        wanted = [nc[f"attrib{k}"][:] for k in blocks if f"attrib{k}" in nc.variables]
        found = sim.drawers(mesh.elementFields[b"attribute"]) if wanted else []
        for drawer, values in zip(found, wanted, strict=True):
            same(drawer.values.reshape(values.shape), values)
        same(one(mesh.regionFields[b"label"]), var("eb_prop1", np.arange(0)))

        def keys(ids, names, dimension, word):
            n = size(dimension)
            return [name or f"{word}_{i}".encode() for name, i in zip(names_of(nc, names, n), var(ids, ()))]

        block_keys = keys("eb_prop1", "eb_names", "num_el_blk", "block")
        for k, key in enumerate(block_keys, 1):
            same(sim.members(mesh.elementSets[key]), blocks[k])
            same(sim.members(mesh.regionSets[key]), [k - 1])
        for target, ids, names, dimension, word, entries in (
                (mesh.nodeSets, "ns_prop1", "ns_names", "num_node_sets", "nodeset", "node_ns"),
                (mesh.elementSets, "els_prop1", "els_names", "num_elem_sets", "elementset", "elem_els")):
            set_keys = keys(ids, names, dimension, word)
            for k, key in enumerate(set_keys, 1):
                same(sim.members(target[key]), var(f"{entries}{k}", np.arange(0) + 1) - 1)
        node_keys = keys("ns_prop1", "ns_names", "num_node_sets", "nodeset")
        self.assertEqual(set(mesh.nodeSets), set(node_keys))
        if node_keys:
            same(one(mesh.meshFields[b"nodeSetLabel"]), [i for _, i in sorted(zip(node_keys, nc["ns_prop1"][:]))])
        factors = {key: nc[f"dist_fact_ns{k}"][:] for k, key in enumerate(node_keys, 1) if f"dist_fact_ns{k}" in nc.variables}
        found = sim.drawers(mesh.nodeFields[b"distributionFactor"]) if factors else []
        self.assertEqual([drawer.long_name for drawer in found], list(factors))
        for drawer in found:
            same(drawer.members, sim.members(mesh.nodeSets[drawer.long_name]))
            same(drawer.values, factors[drawer.long_name])
        side_keys = keys("ss_prop1", "ss_names", "num_side_sets", "sideset")
        element_keys = block_keys + keys("els_prop1", "els_names", "num_elem_sets", "elementset")
        for field, names, ids in (("elementSetLabel", element_keys, [*var("eb_prop1", ()), *var("els_prop1", ())]),
                                  ("surfaceLabel", side_keys, var("ss_prop1", ()))):
            if names:
                same(one(mesh.meshFields[field.encode()]), [i for _, i in sorted(zip(names, ids))])
        self.assertEqual(set(mesh.surfaces), set(side_keys))

        def of_sides(distribution, k, rows, per_set=None):
            """Rows of a field over a surface, by element and side."""
            found, parts = {}, sim.drawers(mesh.surfaces[side_keys[k - 1]])
            for sides, drawer in zip(parts, per_set or sim.drawers(distribution)):
                same(sides.members, drawer.members)
                for element, side, row in zip(sides.members, sides.values, drawer.values):
                    found[element + 1, side + 1] = row
            wanted = list(zip(nc[f"elem_ss{k}"][:], nc[f"side_ss{k}"][:]))
            self.assertEqual(set(found), set(wanted))
            same([found[pair] for pair in wanted], rows)

        for k, key in enumerate(side_keys, 1):
            of_sides(mesh.surfaces[key], k, nc[f"side_ss{k}"][:] - 1)
        if "dist_fact_ss1" in nc.variables:
            n = size("num_side_ss1")
            of_sides(mesh.surfaceFields[b"distributionFactor"], 1, nc["dist_fact_ss1"][:].reshape(n, -1))

        if steps:
            same(one(mesh.frameFields[b"time"]), nc["time_whole"][:])
        renamed = {b"coordinates": b"coordinates_2", b"time": b"time_2"}  # by place among the made meshes' variables
        for k, name in enumerate(names_of(nc, "name_glo_var", size("num_glo_var"))):
            same(one(mesh.frameFields[renamed.get(name, name)]), nc["vals_glo_var"][:, k])
        for k, name in enumerate(names_of(nc, "name_nod_var", size("num_nod_var"))):
            drawers = sim.drawers(mesh.nodeFields[renamed.get(name, name)])
            wanted = nc["vals_nod_var"][:, k] if "vals_nod_var" in nc.variables else nc[f"vals_nod_var{k + 1}"][:]
            self.assertEqual((len(drawers), drawers[0].values.dtype), (steps, wanted.dtype))
            same([d.values for d in drawers], wanted)
        for k, name in enumerate(names_of(nc, "name_elem_var", size("num_elem_var"))):
            held = [e for e in blocks if nc["elem_var_tab"][e - 1, k]]
            drawers = sim.drawers(mesh.elementFields[name])
            self.assertEqual(len(drawers), steps)
            for step, drawer in enumerate(drawers):
                same(drawer.members, np.concatenate([blocks[e] for e in held]))
                same(drawer.values, np.concatenate([nc[f"vals_elem_var{k + 1}eb{e}"][step] for e in held]))
        if "vals_sset_var1ss1" in nc.variables:
            drawers = sim.drawers(mesh.surfaceFields[b"flux"])
            per_step = len(drawers) // steps
            parts = len(sim.drawers(mesh.surfaces[side_keys[0]]))
            for step in range(steps):
                of_sides(None, 1, nc["vals_sset_var1ss1"][step], drawers[step * per_step :][:parts])
        if "vals_nset_var1ns2" in nc.variables:
            for step, drawer in enumerate(sim.drawers(mesh.nodeFields[b"reaction"])):
                same(drawer.values, nc["vals_nset_var1ns2"][step])
                same(drawer.members, nc["node_ns2"][:] - 1)
        for k, name in enumerate(names_of(nc, "nmap_names", size("num_node_maps")), 1):
            same(one(mesh.nodeFields[name]), nc[f"node_map{k}"][:])
        return sim, summary

    def test_real_meshes(self):
        # Counts as the README of the mesh folder has them.
        for name, counts in {"FourBrickHex-large.exo": (125, 64, 4, 0), "annulus-20.exo": (684, 621, 1, 2),
                             "block.exo": (525, 320, 1, 0)}.items():
            with self.subTest(name):
                sim, summary = self.compare(MESHES / name)
                self.assertEqual(tuple(summary[k] for k in ("nodes", "elements", "blocks", "sideSets")), counts)
                if name == "annulus-20.exo":
                    self.assertEqual(set(sim.mesh.surfaces), {b"Inner.Wall", b"Outer.Wall"})

    def test_everything_in_every_format(self):
        for format, kw in (("NETCDF4", {"zlib": True}), ("NETCDF4", {"ints": "i8"}), ("NETCDF3_CLASSIC", {}),
                           ("NETCDF3_64BIT_OFFSET", {"reals": "f4"}), ("NETCDF3_64BIT_DATA", {"ints": "i8"}),
                           ("NETCDF3_CLASSIC", {"old_forms": True})):
            with self.subTest(format, **kw):
                path = self.make(f"{len(os.listdir(self.dir))}.exo", format=format, width=200, **exo_make.everything(), **kw)
                _, summary = self.compare(path, b"is taken")
                self.assertEqual([(r["from"], r["to"]) for r in summary["renamed"]],
                                 [("coordinates", "coordinates_2"), ("time", "time_2")])

    def test_few_dimensions_few_things(self):
        line = [{"id": 1, "type": "BAR2", "conn": [[1, 2], [2, 3]]}]
        for name, mesh in {"line": {"nodes": np.zeros((3, 1)), "blocks": line},
                           "plane": {"nodes": np.eye(4, 2), "blocks": QUAD},
                           "points": {"nodes": np.ones((5, 3))},
                           "void": {"nodes": np.zeros((0, 3)), "blocks": [{"id": 4, "type": "HEX8", "conn": []}]},
                           "steps": {"nodes": np.zeros((3, 1)), "times": [1.0, 2.0]}}.items():
            with self.subTest(name):
                self.compare(self.make(name + ".exo", **mesh))

    def test_wide_numbers_and_polygons(self):
        path = self.make(ints="i8", nodes=np.zeros((4, 2)), node_labels=[1, 2, 3, 2**40],
                         blocks=[{"id": 2**35, "type": "QUAD4", "conn": [[1, 2, 3, 4]]}])
        self.assertEqual(self.compare(path)[0].mesh.elementSets.keys(), {b"block_34359738368"})
        path = self.make("poly.exo", nodes=np.zeros((6, 2)), blocks=[
            {"id": 1, "type": "nsided", "corners": [3, 5, 4], "conn": [1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 6, 5]}])
        self.import_(path)
        sim = Sim(self.out)
        np.testing.assert_array_equal(sim.drawers(sim.mesh.elementFields[b"connectivity"])[0].values,
                                      [[0, 1, 2, -1, -1], [3, 4, 5, 0, 1], [2, 3, 5, 4, -1]])

    def test_equal_names_lose_nothing(self):
        quad = [[1, 2, 3, 4]]
        self.import_(self.make(
            nodes=np.zeros((4, 2)), times=[0.0],
            blocks=[{"id": 1, "name": "a", "type": "QUAD4", "conn": quad}, {"id": 2, "name": "a", "type": "Q", "conn": quad},
                    {"id": 3, "name": "", "type": "Q", "conn": quad}, {"id": 9, "name": "block_3", "type": "Q", "conn": quad}],
            elem_sets=[{"id": 2, "name": "a", "members": [1, 4]}],
            node_sets=[{"id": 5, "name": "n", "members": [2, 3, 2, 1, 3]}, {"id": 6, "name": "n", "members": [4]}],
            node_vars={"label": np.zeros((1, 4)), "v": np.ones((1, 4))}, nset_vars={"v": {0: [[1, 2, 3, 4, 5]]}}),
            notes=b"2 repeated entries of the set n")
        sim = Sim(self.out)
        mesh = sim.mesh
        self.assertEqual(set(mesh.elementSets), {b"a", b"a_2", b"a_2_2", b"block_3_3", b"block_3"})
        self.assertEqual(set(mesh.nodeSets), {b"n", b"n_6"})
        self.assertEqual(set(mesh.nodeFields), {b"coordinates", b"label", b"label_1", b"v", b"v_1"})
        np.testing.assert_array_equal(sim.members(mesh.nodeSets[b"n"]), [1, 2, 0])
        np.testing.assert_array_equal(sim.drawers(mesh.nodeFields[b"v_1"])[0].values, [1, 2, 4])

    def test_output_is_whole_or_not_there(self):
        mesh = MESHES / "block.exo"
        self.out.write_bytes(b"precious")
        self.refused(2, "import", mesh, self.out, says=["--force"])
        self.refused(2, "import", mesh, self.dir, says=["directory"])
        self.refused(2, "import", mesh, self.dir / "no" / "such", says=["such"])
        self.refused(2, "import", mesh, self.out, "--force", says=["not an HDF5 file"])
        self.assertEqual(self.out.read_bytes(), b"precious")
        # Found bad only when most is written already: the old file stays.
        self.import_(mesh)
        old = self.out.read_bytes()
        bad = self.make(nodes=np.zeros((4, 2)), blocks=QUAD, side_sets=[{"id": 1, "members": [1], "sides": [77]}])
        self.refused(2, "import", bad, self.out, "--force", says=["side_ss1", "77"])
        self.assertEqual(self.out.read_bytes(), old)

    def test_a_signal_leaves_nothing_behind(self):
        path = self.make(nodes=np.zeros((20, 3)), times=np.arange(1500.0),
                         node_vars={f"v{i}": np.zeros((1500, 20)) for i in range(40)})
        for number in (signal.SIGTERM, signal.SIGINT):
            child = subprocess.Popen([PDMSIM, "import", path, self.out], stdout=subprocess.DEVNULL)
            while child.poll() is None and len(os.listdir(self.dir)) < 2:
                time.sleep(0.001)
            child.send_signal(number)
            self.assertEqual(child.wait(60), -number)
            self.assertEqual(os.listdir(self.dir), ["mesh.exo"])


class BadMeshes(Case):
    def test_the_mesh_is_not_written_over(self):
        mesh = mesh_make.xdmf(self.dir / "m.xdmf", mesh_make.solids([12]))
        data, = set(self.dir.iterdir()) - {mesh}
        before = data.read_bytes()
        self.refused(2, "import", mesh, data, "--force", says=["the one that is read"])
        self.assertEqual(data.read_bytes(), before)

    def test_files_that_are_no_mesh(self):
        whole, four = ((MESHES / name).read_bytes() for name in ("annulus-20.exo", "block.exo"))
        with netCDF4.Dataset(self.dir / "nc", "w") as nc:
            nc.createDimension("num_nodes", 3)
        with netCDF4.Dataset(self.dir / "nc3", "w", format="NETCDF3_CLASSIC") as nc:
            nc.api_version = 5.0
        for name, data in {"empty": b"", "cut": whole[:-1], "header": whole[:900], "cut4": four[:-5000],
                           "magic": b"CDF\1", "wild": whole[:8] + b"\xff" * 200 + whole[208:]}.items():
            (self.dir / name).write_bytes(data)
        for name in os.listdir(self.dir):
            with self.subTest(name):
                self.refused(2, "import", self.dir / name, self.out, says=[name, "expected", "found"])
        self.refused(2, "import", MESHES / "README.md", self.out, says=["expected a mesh"])
        self.refused(2, "import", self.dir, self.out, says=["directory"])
        self.refused(2, "import", self.dir / "none", self.out, says=["No such file"])

    def test_meshes_that_contradict_themselves(self):
        mesh = lambda **kw: dict(dict(nodes=np.zeros((4, 2)), blocks=QUAD), **kw)
        times = dict(times=[0.0, 1.0], elem_vars={"s": {0: np.zeros((2, 1))}})

        def retype(nc, name, kind, dims):
            nc.renameVariable(name, name + "_old")
            nc.createVariable(name, kind, dims)

        cases = {
            "node 5": (mesh(blocks=[{"id": 1, "type": "QUAD4", "conn": [[1, 2, 3, 5]]}]), None, ["connect1", "1..4", "5"]),
            "set": (mesh(node_sets=[{"id": 1, "members": [1, -7]}]), None, ["node_ns1", "-7"]),
            "no connectivity": (mesh(), lambda nc: nc.renameVariable("connect1", "x"), ["connect1", "no such"]),
            "short coordinates": (mesh(), lambda nc: retype(nc, "coordx", "f8", ("num_dim",)), ["coordx", "[4]", "[2]"]),
            "number of elements": (mesh(), lambda nc: nc.renameDimension("num_el_in_blk1", "x"), ["num_elem", "0"]),
            "dimension": (mesh(), lambda nc: (nc.renameDimension("num_dim", "d"), nc.createDimension("num_dim", 7)), ["num_dim"]),
            "set size": (mesh(node_sets=[{"id": 1, "members": [1, 2]}]),
                         lambda nc: (nc.renameDimension("num_nod_ns1", "n"), nc.createDimension("num_nod_ns1", 3)),
                         ["num_nod_ns1", "2", "3"]),
            "text values": (mesh(**times), lambda nc: retype(nc, "vals_elem_var1eb1", "S1", ("time_step", "num_el_in_blk1")),
                            ["vals_elem_var1eb1", "text"]),
            "table": (mesh(**times), lambda nc: retype(nc, "elem_var_tab", "i4", ("num_elem", "num_nodes")), ["elem_var_tab"]),
            "great count": (mesh(), lambda nc: nc.createDimension("num_side_sets", 2**31), ["num_side_sets"]),
        }
        for name, (content, change, says) in cases.items():
            with self.subTest(name):
                path = self.make(**content)
                if change:
                    with netCDF4.Dataset(path, "r+") as nc:
                        change(nc)
                self.refused(2, "import", path, self.out, says=[path, "expected", "found", *says])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
