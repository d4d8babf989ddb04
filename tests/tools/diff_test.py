"""pdmsim diff: each kind of difference by itself, what is none, tolerances at their limits, and bad files.

Usage: diff_test.py PDMSIM GOLDEN [unittest arguments]"""

import copy
import json
import pathlib
import shutil
import struct
import sys

import unittest

import h5py
import numpy as np

import exo_make
import programs

PDMSIM, GOLDEN = sys.argv[1], pathlib.Path(sys.argv[2])
MESH = "discreteModel/mesh/"


def renumbered(mesh, seed=3):
    """The same mesh with the same labels: nodes, blocks and their elements in another order."""
    r, mesh = np.random.default_rng(seed), copy.deepcopy(mesh)
    order = r.permutation(len(mesh["nodes"]))
    place = np.argsort(order)
    for key in ("nodes", "node_labels"):
        mesh[key] = mesh[key][order]
    for things in (mesh["node_vars"], mesh["node_maps"]):
        for name in things:
            things[name] = things[name][..., order]
    inside = [r.permutation(len(b["conn"])) for b in mesh["blocks"]]
    first = np.cumsum([0] + [len(one) for one in inside])
    elements = np.concatenate([first[k] + one for k, one in reversed(list(enumerate(inside)))]).astype(int)
    for block, one in zip(mesh["blocks"], inside):
        if len(one):
            block["conn"] = place[np.asarray(block["conn"])[one] - 1] + 1
        if "attributes" in block:
            block["attributes"] = block["attributes"][one]
    mesh["blocks"].reverse()
    mesh["elem_labels"] = mesh["elem_labels"][elements]
    for name, values in mesh["elem_vars"].items():
        mesh["elem_vars"][name] = {len(inside) - 1 - k: v[:, inside[k]] for k, v in values.items()}
    for one in mesh["node_sets"]:
        one["members"] = place[np.array(one["members"], int) - 1] + 1
    for one in mesh["elem_sets"] + mesh["side_sets"]:
        one["members"] = np.argsort(elements)[np.array(one["members"], int) - 1] + 1
    return mesh


def line(values, **mesh):
    """Nodes in a row with a field u of one step or more."""
    values = np.atleast_2d(np.asarray(values, float))
    steps, n = values.shape
    return dict({"nodes": np.arange(3.0 * n).reshape(n, 3), "times": np.arange(float(steps)), "node_vars": {"u": values}},
                **mesh)


class Case(programs.Case):
    def make(self, name, mesh):
        exo = exo_make.write(self.dir / (name + ".exo"), width=200, **mesh)
        self.done(PDMSIM, "import", exo, self.dir / name, "--quiet", "--force")
        return self.dir / name

    def diff(self, a, b, *options):
        """Everything that differs, as "what path"; options and exit code agree with it."""
        done = programs.run(PDMSIM, "diff", a, b, "--json", *options)
        self.assertEqual(done.stderr, b"", done)
        self.report = json.loads(done.stdout)
        short = lambda one: one["path"].removeprefix(MESH)
        found = {f"{d['what']} {short(d)}" for d in self.report["differences"]}
        for key, sign in (("onlyInA", "-"), ("onlyInB", "+")):
            found |= {f"{sign} {o['kind']} {short(o)}" for o in self.report[key]}
        self.assertEqual((done.returncode, self.report["same"]), (1 if found else 0, not found))
        return found

    def worst(self):
        return next(d for d in self.report["differences"] if d["what"] == "values")


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


class Tolerances(Case):
    def pair(self, a, b, **mesh):
        return self.make("a", line(a, **mesh)), self.make("b", line(b, **mesh))

    def test_limits(self):
        nan, inf = float("nan"), float("inf")
        u = {"values nodeFields/u"}
        for a, b, options, passes in (
                (1.0, 1.5, ["--abs", "0.5"], True), (1.0, 1.5, ["--abs", "0.4999999999999999"], False),
                (-2.0, -1.0, ["--rel", "0.5"], True), (-2.0, -1.0, ["--rel", "0.4999999999999999"], False),
                (-1.0, 1.0, ["--rel", "1.9"], False), (-1.0, 1.0, ["--rel", "2"], True),
                (0.25, -0.5, ["--floor", "0.5"], False), (0.25, -0.5, ["--floor", "0.5000001"], True),
                (0.25, 0.75, ["--floor", "0.5"], False), (0.75, 0.25, ["--floor", "0.5"], False),
                (1e-300, 0.0, [], False), (0.0, -0.0, [], True), (inf, inf, [], True),
                (inf, 1.0, ["--rel", "1"], False), (inf, -inf, ["--abs", "1e308"], False),
                (nan, nan, [], False), (nan, nan, ["--nan-equal"], True),
                (nan, 0.0, ["--nan-equal", "--floor", "1"], False), (0.0, nan, ["--floor", "1", "--abs", "9"], False)):
            with self.subTest(a=a, b=b, options=options):
                self.assertEqual(self.diff(*self.pair([5, a, 3], [5, b, 3]), *options), set() if passes else u)

    def test_many_values_are_all_seen(self):
        n = 700_001  # more than a piece
        a, b = np.zeros((2, n)), np.zeros((2, n))
        b[1, [0, 2047, 2048, 262143, 262144, 524288, n - 1]] = [1, 2, 3, 4, 5, 6, 7]
        self.assertEqual(self.diff(*self.pair(a, b)), {"values nodeFields/u"})
        found = self.worst()
        self.assertEqual((found["different"], found["worst"]["item"], found["worst"]["difference"]), (7, n - 1, 7))
        self.assertEqual(self.diff(self.dir / "a", self.dir / "b", "--abs", "7"), set())

    def test_rules(self):
        a, b = self.pair([1, 2], [1.25, 2])
        for options, passes in (
                (["--tol", "u=abs:0.25"], True), (["--tol", "v=abs:0.25"], False),
                (["--tol", "nodeFields/*=rel:0.2"], True), (["--tol", MESH + "nodeFields/u=rel:0.2"], True),
                (["--abs", "1", "--tol", "u=abs:0"], False), (["--tol", "*=abs:1", "--tol", "[t-v]=abs:0.1"], False),
                (["--tol", "*=abs:1", "--tol", "u=rel:0"], True), (["--ignore", "node*"], True),
                (["--tol", "u=ignore"], True)):
            self.assertEqual(self.diff(a, b, *options), set() if passes else {"values nodeFields/u"}, options)
        text = self.done(PDMSIM, "diff", a, b, "--ignore", "u")
        self.assertIn(b"; 1 left out as asked", text)
        rules = self.dir / "rules"
        for content, passes in (("# all\n\n u = rel:1e-3, abs:0.25\n", True), ("u=abs:0.1\nu=abs:0.3", True),
                                ("u = ignore", True), ('{"u": {"abs": 0.25}}', True), ('{"u": "ignore"}', True),
                                ('{"u": {"abs": 0.2}, "*": {"rel": 0.1}}', False)):
            rules.write_text(content)
            found = self.diff(a, b, "--tolerances", rules)
            self.assertEqual(found, set() if passes else {"values nodeFields/u"}, content)
        for content in ("u", "u=abs", "u=abs:x", "u=abs:-1", "u=near:1", "=abs:1", "{", '{"u": 1}', '{"u": {"abs": "1"}}'):
            rules.write_text(content)
            self.refused(1, PDMSIM, "diff", a, b, "--tolerances", rules, says=["rules", "expected"])
        self.refused(1, PDMSIM, "diff", a, b, "--tol", "u=rel:nan", says=["--tol", "'nan'"])
        self.refused(2, PDMSIM, "diff", a, b, "--tolerances", self.dir / "none", says=["No such file"])

    def test_tolerances_written_let_the_values_pass(self):
        values = np.random.default_rng(1).random((3, 50))
        other = values * (1 + 1e-3 * np.random.default_rng(2).random((3, 50)))
        maps = lambda shift: {"m": np.arange(50) + shift}
        a = self.make("a", line(values, node_maps=maps(0)) | {"node_vars": {"u*[x]": values, "#v": values}})
        b = self.make("b", line(other, node_maps=maps(3)) | {"node_vars": {"u*[x]": other, "#v": values + 1}})
        differ = {"values nodeFields/u*[x]", "values nodeFields/#v", "values nodeFields/m"}
        rules = self.dir / "rules"
        self.assertEqual(self.diff(a, b, "--abs", "10", "--rel", "1"), {"values nodeFields/m"})  # integers are exact
        self.assertEqual(self.diff(a, b, "--write-tolerances", rules), differ)
        self.assertEqual(self.diff(a, b, "--tolerances", rules), set())
        self.assertEqual(self.diff(a, b, "--write-tolerances", rules), differ)  # again
        for taken in (b, self.dir):  # never over anything else
            before = b.read_bytes()
            self.refused(2, PDMSIM, "diff", a, b, "--write-tolerances", taken, says=[taken.name])
            self.assertEqual(b.read_bytes(), before)
        self.assertEqual(len([r for r in rules.read_text().splitlines() if r[0] != "#"]), 3)

    def test_steps_go_together_by_time(self):
        values = np.arange(8.0).reshape(4, 2)
        a = self.make("a", line(values, times=[0, 1, 2, 3]))
        for times, rows, options, expected in (
                ([0, 1, 3], [0, 1, 3], [], {"- step 2 (time 2) of discreteModel/frames"}),
                ([0, 1, 1.5, 2, 3], [0, 1, 0, 2, 3], [], {"+ step 2 (time 1.5) of discreteModel/frames"}),
                ([0, 1 + 1e-12, 2, 3], [0, 1, 2, 3], [], set()),
                ([0, 1.2, 2, 3], [0, 1, 2, 3], ["--time-tolerance", "0.2"], set()),
                ([0.3, 0.9, 2, 3], [0, 1, 2, 3], ["--time-tolerance", "0.5"], set()),
                ([0, 0.8, 1.1, 2, 3], [0, 0, 1, 2, 3], ["--time-tolerance", "0.5"],
                 {"+ step 1 (time 0.8) of discreteModel/frames"})):
            b = self.make("b", line(values[rows], times=times))
            self.assertEqual(self.diff(a, b, *options), expected, times)
        self.assertEqual(self.diff(a, self.make("b", line(values[:1], times=[1]))) & {"values nodeFields/u"},
                         {"values nodeFields/u"})


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
