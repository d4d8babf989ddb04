"""Drives pdmsim export to Gmsh and CSV: what it writes, read by other eyes; what it refuses.

Usage: export_text_test.py PDMSIM MESH_FOLDER GOLDEN_FOLDER [unittest arguments]"""

import csv
import itertools
import sys
import unittest

import numpy as np

import exo_make
import gmsh_reader
from export_meshes import CORNERS, GMSH, TYPES, Case, edit, one_of_each


class Gmsh(Case):
    def check_middles(self, mesh):
        """Every node on an edge or a face is where Gmsh's order says."""
        for of in mesh.elements.values():
            for kind, elements in of.items():
                for nodes in elements.values():
                    points = [mesh.points[n] for n in nodes]
                    for point, edge in itertools.zip_longest(points[CORNERS[kind]:], GMSH.get(kind, [])):
                        np.testing.assert_allclose(point, np.mean([points[k] for k in edge], 0), err_msg=str(kind))

    def test_elements_and_their_sides_have_all_their_nodes(self):
        names = [name for name in TYPES if name != "TRI7"]
        mesh, _ = one_of_each(names)
        labels = np.arange(len(mesh["nodes"]))[::-1] * 2 + 5
        faces = {"HEX": 6, "TET": 4, "WED": 5, "PYR": 5, "QUA": 4, "TRI": 3, "BAR": 2}
        sides = [(e + 1, s + 1) for e, name in enumerate(names) for s in range(faces[name[:3]])]
        self.import_(self.make(node_labels=labels, elem_labels=np.arange(len(names)) + 100, **mesh, side_sets=[
            {"id": 9, "name": "hull", "members": [e for e, _ in sides], "sides": [s for _, s in sides]}]))
        found = []
        for options in ((), ("--ascii",)):
            self.assertEqual(self.export("out.msh", "--force", *options)["losses"], [])
            found.append(gmsh_reader.read(self.dir / "out.msh"))
        self.assertEqual(found[0].elements, found[1].elements)
        np.testing.assert_array_equal(*[list(one.points.values()) for one in found])
        one = found[0]
        self.check_middles(one)
        self.assertEqual([one.points[n].tolist() for n in labels], [list(p) for p in mesh["nodes"]])
        owners = {}
        for i, name in enumerate(names):
            dimension = {"Q": 2, "T": 2, "B": 1}.get(name[0], 3) if not name.startswith("TET") else 3
            self.assertEqual(one.groups[dimension, name.lower()], i + 3)
            ((tag, nodes),) = [item for of in one.elements[dimension, name.lower()].values() for item in of.items()]
            self.assertEqual((tag, sorted(nodes)), (100 + i, sorted(labels[np.array(mesh["blocks"][i]["conn"][0]) - 1])))
            owners.update({node: (name, nodes) for node in nodes})
        hull = [(kind, nodes) for d in range(3) for kind, of in one.elements[d, "hull"].items() for nodes in of.values()]
        self.assertEqual(len(hull), len(sides))
        for kind, nodes in hull:
            name, own = owners[nodes[0]]
            self.assertLess(set(nodes), set(own))
            points = np.array([one.points[n] for n in nodes[: CORNERS[kind]]])
            if kind not in (1, 8, 15):
                out = points.mean(0) - np.mean([one.points[n] for n in own], 0)
                self.assertGreater(np.cross(points[1] - points[0], points[2] - points[0]) @ out, 0, name)
            self.assertEqual(len(nodes) > CORNERS[kind] or kind == 15, TYPES[name][1] == 1 or kind == 15, name)

    def test_what_has_no_element_of_gmsh_is_told(self):
        mesh, _ = one_of_each(["TRI7", "QUAD4", "BAR2", "QUAD8"])
        mesh["blocks"] += [mesh["blocks"].pop() | {"id": 4}, {"id": 6, "name": "dot", "type": "SPHERE", "conn": [[9]]}]
        self.import_(self.make(**mesh, node_labels=np.r_[0, 2 : len(mesh["nodes"]) + 1], side_sets=[
            {"id": 9, "name": "rim", "members": [1, 2, 1], "sides": [1, 3, 2]}, {"id": 1, "name": "no", "members": []}]))
        self.lossy("out.msh", losses=("the elements of block tri7, of type 'TRI7'", "points of block dot", "2 sides of side set rim",
                                      "set no", "the user's numbers of the nodes", "the number 4 of block quad8; it is 5"))
        found = gmsh_reader.read(self.dir / "out.msh")
        self.assertEqual(found.elements, {(2, "quad4"): {3: {2: [8, 9, 10, 11]}}, (1, "rim"): {1: {6: [10, 11]}},
                                          (1, "bar2"): {1: {3: [12, 13]}}, (0, "dot"): {15: {5: [9]}},
                                          (2, "quad8"): {16: {4: list(range(14, 22))}}})
        self.assertEqual(found.groups, {(2, "quad4"): 4, (1, "bar2"): 5, (2, "quad8"): 5, (1, "rim"): 9, (0, "dot"): 6})

    def test_values_of_every_step(self):
        mesh = exo_make.everything()
        self.import_(self.make(width=200, **mesh))
        edit(self.pdm, b"temperature", [np.arange(80.0).reshape(40, 2) + i for i in range(3)])
        self.lossy("out.msh", losses=("the node set plain", "the element set picked", "the empty block void",
                                      "has 2 components; 3 are written", "the distribution factors of side set wall"))
        found = gmsh_reader.read(self.dir / "out.msh")
        (name,) = [k for k in found.node_data if k.startswith("coord")]
        for step, time in enumerate(mesh["times"]):
            values = found.node_data[name][step, time]
            self.assertEqual([values[n] for n in mesh["node_labels"]], [[x] for x in mesh["node_vars"]["coordinates"][step]])
            self.assertEqual(found.node_data["temperature"][step, time][mesh["node_labels"][1]], [2.0 + step, 3.0 + step, 0])
            values, stress = found.element_data["stress"][step, time], mesh["elem_vars"]["stress"]
            self.assertEqual([values.get(n) for n in mesh["elem_labels"]],
                             [[x] for x in stress[0][step]] + [None] * 4 + [[x] for x in stress[3][step]])


class Csv(Case):
    def table(self, field, *options):
        self.export("out.csv", "--field", field, "--force", *options)
        with open(self.dir / "out.csv", newline="", encoding="utf-8") as file:
            header, *rows = csv.reader(file)
        return header, [[float(x) if x[0] in "0123456789-" else x for x in row] for row in rows]

    def test_one_field_with_labels_steps_and_units(self):
        mesh = exo_make.everything()
        mesh["elem_vars"]["part"] = {k: np.ones((3, len(b["conn"]))) for k, b in enumerate(mesh["blocks"]) if len(b["conn"])}
        self.import_(self.make(width=200, **mesh))
        edit(self.pdm, b"temperature", [np.arange(120.0).reshape(40, 3) + i for i in range(3)], "K, abs")
        header, rows = self.table("temperature")
        self.assertEqual(header, ["node", "step", "time"] + [f"temperature_{c} [K, abs]" for c in "xyz"])
        self.assertEqual(rows, [[label, step, mesh["times"][step]] + [3.0 * i + c + step for c in range(3)]
                                for step in range(3) for i, label in enumerate(mesh["node_labels"])])
        stress = mesh["elem_vars"]["stress"]
        header, rows = self.table("elementFields/stress", "--step", "2")
        self.assertEqual(header, ["block", "element", "step", "time", "stress"])
        self.assertEqual(rows, [["fluid/inner part" if k < 5 else exo_make.LONG, mesh["elem_labels"][k], 2, 2.25, x]
                                for k, x in zip([0, 1, 2, 3, 4, 9, 10, 11], [*stress[0][2], *stress[3][2]])])
        header, rows = self.table("flux", "--step", "0")
        self.assertEqual(header, ["set", "element", "side", "step", "time", "flux"])
        labels, wall = mesh["elem_labels"], mesh["side_sets"][0]
        self.assertEqual(sorted(r[1:3] + r[5:] for r in rows if r[0] == "wall"), sorted(
            [float(labels[e - 1]), s, x] for e, s, x in zip(wall["members"], wall["sides"], mesh["sset_vars"]["flux"][0][0])))
        self.assertEqual(self.table("coordinates"), (["node", "x", "y", "z"], [
            [label, *xyz] for label, xyz in zip(mesh["node_labels"], mesh["nodes"].tolist())]))
        self.assertEqual([r[2] for r in self.table("energy")[1]], mesh["glob_vars"]["energy"].tolist())
        self.assertEqual(self.table("origin"), (["node", "origin"], [
            list(row) for row in zip(mesh["node_labels"], mesh["node_maps"]["origin"])]))
        edit(self.pdm, b"part", [2**62 + np.arange(12)], of="elementFields")
        header, rows = self.table("part", "--step", "0")
        self.assertEqual((header, [row[1] for row in rows]), (["block", "element", "part"], mesh["elem_labels"].tolist()))
        self.assertIn(f"fluid/inner part,{mesh['elem_labels'][1]},{2**62 + 1}\n", (self.dir / "out.csv").read_text())
        out = self.dir / "no.csv"
        self.refused(1, self.pdm, out, "--field", "nothing", says=("'nothing', found nodeFields/coordinates, ", "stress"))
        self.refused(1, self.pdm, out, "--field", "flux", "--step", "3", says=("0..2", "found 3"))


class Place(Case):
    """What is there already where an export is to be."""
    def test_what_is_replaced(self):
        self.import_(self.make(nodes=np.eye(3), times=[0.0, 1.0, 2.0], node_vars={"u": np.ones((3, 3))}))
        other, journal = self.dir / "other.pdm", self.dir / "other.pdm-journal"
        other.write_bytes(self.pdm.read_bytes())
        csv_ = ("--format", "csv", "--field", "u", "--force")
        self.refused(2, self.pdm, other, *csv_, says=("no simulation file to replace",))
        journal.write_text("a journal")
        other.write_text("what it belongs to")
        self.refused(2, self.pdm, other, *csv_, says=("no simulation file to replace",))
        (self.dir / "real").mkdir()
        there, new = self.dir / "real" / "there.csv", self.dir / "real" / "new.csv"
        there.write_text("mine")
        there.chmod(0o640)
        for name, to in (("a", "real/there.csv"), ("b", new), ("c", "c"), ("d", "none/x.csv")):
            (self.dir / name).symlink_to(to)
        for name in "ab":
            self.export(name, *csv_)
            self.assertTrue((self.dir / name).is_symlink())
        self.assertEqual((there.read_text(), there.stat().st_mode & 0o777), (new.read_text(), 0o640))
        self.refused(2, self.pdm, self.dir / "b", *csv_[:-1], says=("--force",))
        self.refused(2, self.pdm, self.dir / "c", *csv_, says=("a symbolic link that leads to itself",))
        self.refused(2, self.pdm, self.dir / "d", *csv_, says=(f"the directory {self.dir}/none to write it in",))

    def test_pieces_of_an_older_list_go(self):
        self.import_(self.make(nodes=np.eye(3), times=np.arange(4.0), node_vars={"u": np.ones((4, 3))}))
        self.export("out.pvd")
        (self.dir / "out_3.vtu").write_text("another file")
        (self.dir / "out_9.vtu").write_bytes((self.dir / "out_0.vtu").read_bytes())  # which no list names
        self.export("out.pvd", "--force", "--step", "1")
        self.assertEqual(sorted(p.name for p in self.dir.glob("out*")), ["out.pvd", "out_1.vtu", "out_3.vtu", "out_9.vtu"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
