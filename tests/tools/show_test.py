"""Drives pdmsim show: the tree, paths, names and numbers, and files that are no simulation.

Usage: show_test.py PDMSIM MESH_FOLDER [unittest arguments]"""

import json
import os
import pathlib
import re
import shutil
import sys
import unittest

import h5py
import numpy as np

import exo_make
from pdmsim_cases import PDMSIM, QUAD, Case, run


class Show(Case):
    def setUp(self):
        super().setUp()
        self.mesh = exo_make.everything()
        self.done(PDMSIM, "import", self.make(width=200, **self.mesh), self.out, "--quiet")

    def show(self, *args):
        return json.loads(self.done(PDMSIM, "show", self.out, *args, "--json"))

    def test_tree(self):
        tree = self.show()
        self.assertEqual((tree["class"], tree["bytes"]), ("com.vertana.Sim", self.out.stat().st_size))
        model = tree["children"]["discreteModel"]
        mesh = model["children"]["mesh"]["members"]
        self.assertEqual(model["members"]["frames"]["items"], 3)
        self.assertEqual((mesh["nodes"]["items"], mesh["elements"]["items"], mesh["regions"]["items"]), (40, 12, 4))
        self.assertEqual({k: v["size"] for k, v in mesh["nodeSets"]["entries"].items()},
                         {"plain": 6, exo_make.LONG: 7, "mit Ümlaut/and slash": 8, "nodeset_103": 9, "nobody": 0})
        field = mesh["elementFields"]["entries"]["stress"]
        self.assertEqual((field["drawers"], field["first"]["rows"], field["first"]["type"]), (3, 8, "double"))
        text = run("show", self.out).stdout.decode()
        for words in (["nodes", "40 items"], ["mit Ümlaut/and slash", "8 of nodes"],
                      ["coordinates", "40 x 3 double over all nodes"], ["wall"], ["temperature", "3 drawers"]):
            self.assertTrue(any(all(w in line for w in words) for line in text.splitlines()), (words, text))

    def test_paths(self):
        base = "discreteModel/mesh/"
        self.assertEqual(self.show(base + "nodes")["items"], 40)
        self.assertEqual(self.show(base + "systems")["elements"], [])
        self.assertEqual(self.show(base + "elementSets/fluid/inner part", "--head", "2")["head"]["items"], [0, 1])
        names = self.mesh["node_sets"][2]
        self.assertEqual(self.show(base + "nodeSets/" + names["name"], "--head", "4")["head"]["items"],
                         [int(i) - 1 for i in names["members"][:4]])
        stress = self.show(base + "elementFields/stress", "--head", "99")
        wanted = [np.concatenate([v[k] for v in self.mesh["elem_vars"]["stress"].values()]) for k in range(3)]
        self.assertEqual([d["range"] for d in stress["drawers"]], [[{"min": w.min(), "max": w.max()}] for w in wanted])
        self.assertEqual(stress["head"]["rows"], [[v] for v in wanted[0]])
        self.assertEqual(stress["head"]["items"], [0, 1, 2, 3, 4, 9, 10, 11])
        last = self.show(base + "elementFields/stress", "--drawer", "2")["drawers"]
        self.assertEqual([d["drawer"] for d in last], [2])
        for path in ("nothing", base + "nodeSets/none", base + "systems/0", base + "nodes/3", base + "nodeFields/"):
            self.refused(1, "show", self.out, path, says=[path, "nothing of that name"])
        for path, says in {"mesh/nodes": "did you mean 'discreteModel/mesh/nodes'?", base + "systems/0": "systems' has nothing in it",
                           base + "nodeField/label": "'discreteModel/mesh' has no 'nodeField': did you mean 'nodeFields'?",
                           base + "nodeFields/temprature": f"'{base}nodeFields' has no 'temprature': did you mean 'temperature'?",
                           base + "nodeSets/42": "has no '42'; there are "}.items():
            self.refused(1, "show", self.out, path, says=[says])
        stress = base + "elementFields/stress"
        for option in ("--drawer", "--step"):
            self.refused(1, "show", self.out, stress, option, "3", says=[f"{self.out}: {stress}: expected a {option[2:]} in 0..2"])
            self.refused(1, "show", self.out, base, option, "0", says=["a field for"])
        self.refused(1, "show", self.out, base + "nodeFields/coordinates", "--step", "0", says=["of the 3 steps, found 1 that are of no step; --drawer"])
        self.assertEqual(self.done(PDMSIM, "show", self.out, base + "faces"), f"{base}faces: nothing is set\n".encode())

    def test_people_know_things_by_names(self):
        base = "discreteModel/mesh/"
        lines = lambda *args: self.done(PDMSIM, "show", self.out, *args).decode().splitlines()
        tree = lines()
        self.assertRegex(tree[0], r": 3-D, 40 nodes, .* in 4 blocks, 5 node sets, \d+ surfaces, \d+ fields, 3 steps \(")
        shown = lambda text: self.assertTrue([one for one in tree if re.search(text, one)], (text, tree))
        for text in ("wall +\\d+ sides of \\d+ elements$", "localNodes .*within one element", "temperature +3 drawers of 3 steps"):
            shown(text)
        summary = self.show()["summary"]
        again = self.import_(self.make("again.exo", width=200, **self.mesh), b"is taken")
        self.assertEqual([summary[k] for k in ("nodes", "blocks", "nodeSets", "surfaces", "fields", "steps")],
                         [again[k] for k in ("nodes", "blocks", "nodeSets", "sideSets", "results", "steps")])
        # Every drawer that was chosen with its first rows, their labels and its time; numbers stand in columns.
        labels = list(self.mesh.get("node_labels", range(1, 41)))
        last = self.show(base + "nodeFields/temperature", "--step", "2", "--head", "2")
        self.assertEqual([(d["step"], d["time"], d["head"]["labels"]) for d in last["drawers"]], [(2, 2.25, labels[:2])])
        text = lines(base + "nodeFields/coordinates", "--head", "4", "--digits", "3")
        rows = [one for one in text if f"label {labels[0]} " in one or one.lstrip().startswith("item")]
        self.assertEqual((len({len(one) for one in rows}), len(rows), text[-1].strip()), (1, 4, "… 36 more"), text)
        self.assertTrue(all(len(n.strip("-").replace(".", "").lstrip("0")) <= 3 for one in rows for n in one.split()[-3:]))
        set_ = self.show(base + "nodeSets/" + exo_make.LONG)
        self.assertEqual(set_["head"]["labels"], [labels[i] for i in set_["head"]["items"]])
        self.assertEqual(self.show(base + "frameFields/time")["head"]["times"], [0.0, 0.5, 2.25])
        drawers = self.show(base + "elementFields/connectivity")["drawers"]
        self.assertIn("fluid/inner part", [d.get("set") for d in drawers])

    def test_units(self):
        path = self.make("units.exo", width=200, **self.mesh)
        self.done(PDMSIM, "import", path, self.out, "--force", "--quiet", "--unit", "LENGTH=mm", "--unit", "temperature=K")
        text = run("show", self.out).stdout.decode()
        for name, unit in (("coordinates", "mm"), ("temperature", "K")):
            self.assertRegex(text, rf"\n +{name} .*\[{unit}\]")
        self.refused(1, "import", path, self.dir / "x", "--unit", "heat=W", says=["LENGTH or a variable", "'heat'"])
        self.refused(1, "import", path, self.dir / "x", "--unit", "LENGTH", says=["WHAT=UNIT"])

    def test_only_results_have_steps(self):
        """Drawers of other fields are as many as steps by chance."""
        mesh = "discreteModel/mesh/"
        one = dict(nodes=np.eye(4, 3), times=[1.5], blocks=[{**QUAD[0], "id": k, "attributes": np.ones((1, 1))} for k in (1, 2)],
                   side_sets=[{"id": 1, "name": "rim", "members": [1, 1, 2], "sides": [1, 2, 3]}],
                   sset_vars={"flux": {0: [[1.0, 2.0, 3.0]]}}, elem_vars={"heat": {0: [[1.0]], 1: [[2.0]]}})
        three = self.dir / "three.pdm"
        with h5py.File(shutil.copy(self.out, three), "r+") as file:
            data = file["store/distributions"]
            number = next(n for n in data if data[n].attrs["name"] == b"coordinates")
            for drawer in "12":
                data.copy(f"{number}/0", f"{number}/{drawer}")
        self.import_(self.make("one.exo", **one))
        for file, path, steps in ((self.out, "elementFields/connectivity", None), (self.out, "elementFields/attribute", None),
                                  (self.out, "surfaces/rim", None), (self.out, "surfaceFields/flux", 1),
                                  (three, "nodeFields/coordinates", None), (three, "nodeFields/temperature", 3)):
            shown = json.loads(self.done(PDMSIM, "show", file, mesh + path, "--json"))
            self.assertGreater(shown["count"], 1)
            self.assertEqual((shown.get("steps"), "step" in shown["drawers"][0]), (steps, steps is not None), path)
            if steps is None:
                self.refused(1, "show", file, mesh + path, "--step", "0", says=["expected drawers for each of the ", "that are of no step"])
        self.import_(self.make("none.exo", **one | {"times": [], "sset_vars": {}, "elem_vars": {}}))
        self.refused(1, "show", self.out, mesh + "elementFields/attribute", "--step", "0", says=["a file with steps for --step, found none"])

    def test_systems_are_named_counted_and_chosen(self):
        golden = pathlib.Path(__file__).parent.parent / "golden" / "0.2"
        modal, several = (shutil.copy(golden / name, self.dir) for name in ("modal.pdm", "systems.pdm"))
        self.assertEqual(self.done(PDMSIM, "dofs", modal), self.done(PDMSIM, "dofs", modal, "modal analysis"))
        self.refused(1, "dofs", modal, "modal", says=["none of that name or number: there is 0 'modal analysis'"])
        self.refused(1, "dofs", self.out, says=["expected a system in the mesh, found none;"])
        info = json.loads(self.done(PDMSIM, "info", several, "--json"))
        count, names = info["summary"]["systems"], [s["name"] for s in info["systems"]]
        self.assertEqual((count, len(names)), (3, 3))
        self.refused(1, "dofs", several, says=["several systems: " + ", ".join(f"{i} '{n}'" for i, n in enumerate(names))])
        path = "discreteModel/mesh/systems"
        for args, shown, more in (([], 3, None), (["--most", "1"], 1, 2), (["--most", "1", "--all"], 3, None)):
            array = json.loads(self.done(PDMSIM, "show", several, path, "--json", *args))
            self.assertEqual((len(array["elements"]), array["count"], array.get("more")), (shown, 3, more))
        cut = self.done(PDMSIM, "show", several, path, "--most", "2").decode().splitlines()
        self.assertEqual((cut[0].split(), cut[-1].strip()), ([path, "3"], "… 1 more"))
        self.assertNotIn("more", self.done(PDMSIM, "show", several, path, "--all").decode().split())
        self.assertRegex(self.done(PDMSIM, "info", modal).decode(),
                         r"^.*: 3-D, 125 nodes, 64 hexahedra in 4 blocks, 1 system\n(.*\n)+  systems +0 'modal analysis', ModalSystem, 3 modes\n$")

    def test_damage_is_told_by_its_cause(self):
        bad = self.dir / "bad.pdm"
        with h5py.File(shutil.copy(self.out, bad), "r+") as file:
            del file["store/distributions/1/0"].attrs["members"]
        self.refused(2, "show", bad, says=[f"{bad}: /store/distributions/1/0: "])

    def without(self, name):
        path = self.dir / name.replace("/", "_")
        with h5py.File(shutil.copy(self.out, path), "r+") as file:
            del file[name]
        return path

    def test_a_missing_field_is_said_and_the_rest_shown(self):
        done = run("show", self.without("store/distributions"))
        self.assertEqual(done.returncode, 0, done)
        self.assertIn(b"missing: the file has no field 1\n", done.stdout)
        self.assertIn(b"Mesh", done.stdout)

    def test_not_a_number(self):
        values = np.array([[1.0, np.nan, -3.0, np.inf], [np.nan] * 4])
        self.import_(self.make("nan.exo", nodes=np.zeros((4, 1)), times=[0, 1], node_vars={"v": values}))
        ranges = [d["range"][0] for d in self.show("discreteModel/mesh/nodeFields/v")["drawers"]]
        self.assertEqual((ranges[0]["min"], ranges[0]["nan"]), (-3.0, 1))
        self.assertEqual(ranges[1], {"min": None, "max": None, "nan": 4})
        self.assertIn(b"-3 .. inf (1 NaN)", run("show", self.out, "discreteModel/mesh/nodeFields/v").stdout)

    def test_files_that_are_no_simulation(self):
        # What check tells apart (check_test.py) is refused in one way.
        (self.dir / "cut").write_bytes(self.out.read_bytes()[:-3000])
        for name in ("sim", "sim/discreteModel/mesh/#simpleTypeMembers", "store/collections"):
            self.without(name)
        for name in os.listdir(self.dir) + ["none", ""]:
            if name != self.out.name:
                self.refused(2, "show", self.dir / name, says=[str(self.dir / name)])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
