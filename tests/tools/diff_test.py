"""pdmsim diff: each kind of difference by itself, what is none, and bad files.

Usage: diff_test.py PDMSIM GOLDEN [unittest arguments]"""

import copy
import pathlib
import shutil
import struct
import sys
import unittest

import h5py
import numpy as np

import exo_make
import programs
from diff_cases import GOLDEN, PDMSIM, Case, line, renumbered


class Mesh(Case):
    def setUp(self):
        super().setUp()
        self.mesh = exo_make.everything()
        self.a = self.make("a", self.mesh)

    def test_what_is_no_difference(self):
        b = self.make("b", renumbered(self.mesh))
        for other in (self.a, b):
            self.assertEqual(self.diff(self.a, other), set())
            self.assertEqual(self.diff(other, self.a), set())
        self.assertEqual(self.report["compared"], {"nodes": 40, "elements": 12, "fields": 22, "steps": 3, "sets": 16,
                                                   "systems": 0, "members": 0, "values": 862})
        self.assertRegex(self.done(PDMSIM, "diff", self.a, b),
                         rb"^no differences in 40 nodes, 12 elements, 22 fields x 3 steps, .*862 values\n$")
        by_item = self.diff(self.a, b, "--by-item")
        for path in ("nodeFields/coordinates", "nodeFields/label", "elementFields/label"):
            self.assertIn("values " + path, by_item)

    def test_each_difference_is_found_alone(self):
        def at(*keys, value=None, do=None):
            """Changes what these keys lead to."""
            def change(mesh):
                for key in keys[:-1]:
                    mesh = mesh[key]
                mesh[keys[-1]] = value if do is None else do(mesh[keys[-1]])
            return change

        def both(*changes):
            return lambda mesh: [change(mesh) for change in changes]

        def moved(mesh):  # the last element of the first block, as the first of another HEX8 block
            conn = mesh["blocks"][0]["conn"]
            mesh["blocks"][0]["conn"], mesh["blocks"][2]["conn"] = conn[:-1], conn[-1:]
            mesh["elem_labels"] = mesh["elem_labels"][[0, 1, 2, 3, 5, 6, 7, 8, 4, 9, 10, 11]]
            for values in mesh["elem_vars"].values():
                values[2], values[0] = values[0][:, 4:], values[0][:, :4]
            mesh["elem_sets"] = mesh["elem_sets"][:0]
            mesh["side_sets"] = mesh["side_sets"][:0]

        del_last = lambda values: values[:-1]
        reverse = lambda values: np.asarray(values)[::-1]
        sides = ("side_sets", 0)
        cases = [
            (at("nodes", (7, 1), value=9.0), {"values nodeFields/coordinates"}),
            (at("node_vars", "temperature", (1, 7), value=2.0), {"values nodeFields/temperature"}),
            (at("elem_vars", "stress", 3, (2, 1), value=7.0), {"values elementFields/stress"}),
            (at("nset_vars", "reaction", 1, (0, 6), value=7.0), {"values nodeFields/reaction"}),
            (at("sset_vars", "flux", 0, (1, 1), value=7.0), {"values surfaceFields/flux"}),
            (at("glob_vars", "energy", 2, value=7.0), {"values frameFields/energy"}),
            (at("node_maps", "origin", 3, value=-1), {"values nodeFields/origin"}),
            (at("blocks", 1, "attributes", (0, 0), value=5.0), {"values elementFields/attribute"}),
            (at("side_sets", 0, "factors", 3, value=5.0), {"values surfaceFields/distributionFactor"}),
            (at("blocks", 0, "conn", (2, 3), do=lambda node: node % 40 + 1), {"content elementFields/connectivity"}),
            (at("blocks", 1, "type", value="TET4"), {"type elementFields/connectivity"}),
            (at("blocks", 1, "id", value=8), {"- element set elementSets/block_7", "+ element set elementSets/block_8",
                                              "- set regionSets/block_7", "+ set regionSets/block_8",
                                              "content regions", "block elementFields/connectivity",
                                              "content store/collections/elementSets"}),
            (both(at("node_sets", 0, "members", do=reverse), at("node_sets", 0, "factors", do=reverse)),
             {"order nodeSets/plain"}),
            (both(at("node_sets", 0, "members", do=del_last), at("node_sets", 0, "factors", do=del_last)),
             {"content nodeSets/plain", "rows nodeFields/distributionFactor"}),
            (at("elem_sets", 0, "members", value=[12, 1, 8]), {"content elementSets/picked"}),
            (at("elem_sets", 0, "members", value=[1, 7, 12]), {"order elementSets/picked"}),
            (at("node_sets", 4, "name", value="somebody"),
             {"- node set nodeSets/nobody", "+ node set nodeSets/somebody", "content store/collections/nodeSets"}),
            (at("node_sets", 4, "id", value=7), {"values meshFields/nodeSetLabel"}),
            (at("side_sets", 1, "sides", value=[2]),
             {"content surfaces/sideset_2", "rows surfaceFields/flux"}),
            (at("node_vars", do=lambda v: {("heat" if k == "temperature" else k): x for k, x in v.items()}),
             {"- field nodeFields/temperature", "+ field nodeFields/heat"}),
            (at("times", value=[0.0, 0.6, 2.25]), {"- step 1 (time 0.5) of discreteModel/frames",
                                                   "+ step 1 (time 0.6) of discreteModel/frames"}),
            (at("node_labels", 3, do=lambda label: label + 1), {"content nodes", "content elementFields/connectivity"}),
            (moved, {"content elementSets/fluid/inner part", "content elementSets/void",
                     "block elementFields/connectivity"}),
        ]
        for i, (change, expected) in enumerate(cases):
            mesh = copy.deepcopy(self.mesh)
            change(mesh)
            base = self.a
            if change is moved:
                plain = copy.deepcopy(self.mesh)
                plain["elem_sets"], plain["side_sets"], plain["sset_vars"] = [], [], {}
                mesh["sset_vars"] = {}
                base = self.make("plain", plain)
            found = self.diff(base, self.make("b", mesh))
            with self.subTest(i, expected=expected):
                if "content nodes" in expected:
                    self.assertLessEqual(expected, found)
                    self.assertFalse([one for one in found if one.startswith("values")])
                else:
                    self.assertEqual(found, expected)

    def test_the_worst_value_has_its_place(self):
        mesh = renumbered(self.mesh)
        label = int(self.mesh["node_labels"][7])
        values = mesh["node_vars"]["temperature"]
        place = list(mesh["node_labels"]).index(label)
        values[2, place] += 4.0
        values[1, place] += 1.0
        b = self.make("b", mesh)
        self.assertEqual(self.diff(self.a, b), {"values nodeFields/temperature"})
        found, was = self.worst(), self.mesh["node_vars"]["temperature"][2, 7]
        self.assertEqual((found["different"], found["compared"]), (2, 120))
        worst = found["worst"]
        self.assertEqual([worst[k] for k in ("a", "b", "item", "label", "component", "step", "time")],
                         [was, was + 4.0, 7, label, 0, 2, 2.25])
        self.assertAlmostEqual(worst["difference"], 4.0)
        text = programs.run(PDMSIM, "diff", self.a, b).stdout.decode()
        self.assertIn("nodeFields/temperature: 2 of 120 values differ\n", text)
        self.assertIn(f", node {label}, step 2 (time 2.25)\n", text)
        self.assertTrue(text.endswith("862 values\n"))
        self.assertEqual(programs.run(PDMSIM, "diff", self.a, b, "--summary").stdout.count(b"\n"), 1)
        quiet = programs.run(PDMSIM, "diff", self.a, b, "--quiet")
        self.assertEqual((quiet.returncode, quiet.stdout, quiet.stderr), (1, b"", b""))

    def test_what_only_the_store_tells(self):
        def attribute(path, name, value):
            return lambda file: file[path].attrs.__setitem__(name, value)

        with h5py.File(self.a) as file:
            store = file["store/distributions"]
            names = {v.attrs["name"]: f"store/distributions/{k}" for k, v in store.items()}
            key = next(p for n, p in names.items() if n in ("temperature", b"temperature"))

        def as_float(file):
            old = file[key]["1"]
            attrs, values = dict(old.attrs), old[()]
            del file[key]["1"]
            file[key].create_dataset("1", data=values.astype("f4").astype("f4")).attrs.update(
                {k: v for k, v in attrs.items() if k != "checksums"})

        def orphan(file):
            file.copy(file[key], store_of(file), str(len(store_of(file)) + 1))

        store_of = lambda file: file["store/distributions"]
        for change, options, expected in (
                (attribute(key, "unit", b"K"), (), {"unit nodeFields/temperature"}),
                (attribute(key, "unit", b"K"), ("--ignore", "*/unit"), set()),
                (attribute(key + "/0", "long_name", b"hot"), (), {"longName nodeFields/temperature"}),
                (as_float, ("--rel", "1e-6"), {"type nodeFields/temperature"}),
                (orphan, (), {"+ field store/fields/temperature"})):
            b = pathlib.Path(shutil.copy(self.a, self.dir / "b"))
            with h5py.File(b, "r+") as file:
                change(file)
            self.assertEqual(self.diff(self.a, b, *options), expected)
            self.diff(b, self.a, *options)


class Files(Case):
    def test_objects_and_systems(self):
        golden = pathlib.Path(shutil.copy(GOLDEN / "systems.pdm", self.dir / "a"))
        self.assertEqual(self.diff(golden, golden), set())
        self.assertEqual(self.report["compared"]["systems"], 3)
        systems = "sim/discreteModel/mesh/systems/"

        def edited(name, *edits, klass=None):
            """A copy with these bytes for those in member streams, and another class of an event."""
            shutil.copy(golden, self.dir / name)
            with h5py.File(self.dir / name, "r+") as file:
                for path, old, new in edits:
                    dataset = file[systems + path + "/#simpleTypeMembers"]
                    data = dataset[()].tobytes()
                    length = struct.unpack_from("<i", data)[0]
                    self.assertEqual(data[:length].count(old), 1)
                    data = data[:length].replace(old, new)
                    dataset[...] = np.frombuffer(data.ljust(len(dataset), b"\0"), "u1")
                if klass:
                    file[systems + "1/events/0"].attrs["class"] = np.frombuffer(klass.ljust(80, b"\0"), "u1")
            return self.dir / name

        number, events = lambda value: struct.pack("<d", value), "systems/modes/events"
        type_id = lambda value: b"\x03\4\0\0\0\3" + bytes([value])
        for (path, old, new), expected in (
                (("0/#base", b"statics", b"Statics"),
                 {"- GenericSystem systems/statics", "+ GenericSystem systems/Statics"}),
                (("0/#base", b"\xf9\xff\xff\xff", b"\xfa\xff\xff\xff"),
                 {"- field systems/statics/distributions/-7", "+ field systems/statics/distributions/-6"}),
                (("1", number(2.5), number(3.5)), {"values systems/modes/propertyEvaluation"}),
                (("1/events/0", b"crash", b"Crash"), {f"- ModalEvent {events}/crash", f"+ ModalEvent {events}/Crash"}),
                (("1/events/0", type_id(11), type_id(13)), {f"values {events}/crash/eventTypeID"}),
                (("1/events/0", b"\2\6" + bytes(7), b"\2" + 8 * b"\xff"), {f"- set {events}/crash/activeModes"}),
                (("1/events/0", b"gain", b"Gain"), {f"- field {events}/crash/userDistributions/gain",
                                                   f"+ field {events}/crash/userDistributions/Gain"}),
                (("2/damping", number(4.5), number(5.5)), {"values systems/part/damping/volume"})):
            self.assertEqual(self.diff(golden, edited("b", (path, old, new)), "--abs", "0.5"), expected)
        self.assertEqual(self.diff(golden, edited("b", ("1", number(2.5), number(3.5))), "--abs", "1"), set())
        kind = edited("b", ("1/events/0", type_id(11), type_id(13)))  # integers need a rule of their own
        self.assertEqual(self.diff(golden, kind, "--abs", "9"), {f"values {events}/crash/eventTypeID"})
        self.assertEqual(self.diff(golden, kind, "--tol", "eventTypeID=abs:2"), set())
        nobody = edited("nobody", klass=b"com.vertana.Nobody")
        self.assertIn(f"- ModalEvent {events}/crash", self.diff(golden, nobody))
        self.assertEqual(self.diff(nobody, edited("b", ("1/events/0", type_id(11), type_id(13)),
                                                  klass=b"com.vertana.Nobody")), {f"values {events}/0/member 4"})
        self.assertTrue(self.diff(golden, GOLDEN / "modal.pdm"))
        self.assertTrue(any(o["kind"] == "ModalSystem" for o in self.report["onlyInB"]))

    def test_a_renumbered_modal_analysis_is_the_same(self):
        a, b = (pathlib.Path(shutil.copy(GOLDEN / "modal.pdm", self.dir / name)) for name in "ab")
        place = np.random.default_rng(5).permutation(125).astype("i4")  # of each node of a, in b
        with h5py.File(b, "r+") as file:
            for name in file["store/distributions"]:
                field = file["store/distributions"][name]
                for drawer in field.values():
                    values = drawer[()]
                    if list(drawer.attrs["members"]) == [4, 0]:
                        drawer[...] = values[np.argsort(place)]
                    elif field.attrs["name"] == b"connectivity":
                        drawer[...] = place[values]
                    else:
                        continue
                    del drawer.attrs["checksums"]
            order = file["store/collections/8/sets/1"]
            order[...] = 3 * place[order[()] // 3] + order[()] % 3
            del order.attrs["checksums"]
        self.assertEqual(self.diff(a, b), set())
        with h5py.File(b, "r+") as file:
            order = file["store/collections/8/sets/1"]
            order[...] = order[()][::-1]
        self.assertEqual(self.diff(a, b), {"order systems/modal analysis/solverDofOrdering"})

    def test_bad_files(self):
        a = self.make("a", line([1, 2]))
        cut = self.dir / "cut"
        cut.write_bytes(a.read_bytes()[:2000])
        text = self.dir / "text"
        text.write_text("no mesh")
        with h5py.File(self.dir / "foreign", "w") as file:
            file["x"] = 1
        flipped = self.dir / "flipped"
        data = bytearray(a.read_bytes())
        at = data.find(struct.pack("<2d", 1.0, 2.0))
        data[at] ^= 1
        flipped.write_bytes(data)
        classic = exo_make.write(self.dir / "classic.exo", format="NETCDF3_CLASSIC", **line([1, 2]))
        for name, says in (("cut", ["cut: "]), ("text", ["text: "]), ("none", ["No such file"]), ("flipped", ["checksum"]),
                           ("a.exo", ["'pdmsim import'"]), ("foreign", ["'pdmsim import'"]),
                           (pathlib.Path(classic).name, ["a mesh", "'pdmsim import'"])):
            for files in ((a, self.dir / name), (self.dir / name, a)):
                self.refused(2, PDMSIM, "diff", *files, says=says)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
