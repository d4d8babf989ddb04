"""What a file says of its classes, read by h5py alone, and pdmsim on classes that it was not built with.

Usage: described_test.py PDMSIM HOST_TEST HOST_SCHEMA LIBRARY_SCHEMAS... [-- unittest arguments]"""

import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tomllib
import unittest

import h5py
import numpy as np

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tools"))
import programs  # noqa: E402

PDMSIM, HOST, *SCHEMAS = sys.argv[1:]
BASES = ["bool", "uchar", "int", "longlong", "float", "double", "string", "collection", "cset", "distribution", "dset"]
SHAPES = {"list<": 1, "map<string, ": 3, "map<int, ": 4}
SYSTEM = "sim/discreteModel/mesh/systems/0"
BEAM = "org.example.Beam.whose.persistent.name.takes.all.of.the.eighty.bytes.it.can.with"
PART = "org.example.Part"


def tag(kind):
    for form, shape in SHAPES.items():
        if kind.startswith(form):
            return shape * 16 + tag(kind[len(form) : -1])
    return BASES.index(kind) + 1


def expected():
    """The descriptions as they follow from the schemas."""
    rows = {row["name"]: row for schema in SCHEMAS for row in tomllib.loads(pathlib.Path(schema).read_text())["class"]}
    for row in rows.values():
        own = row.get("members", []) + row.get("children", [])
        place = {m["name"]: i for i, m in enumerate(sorted(own, key=lambda m: m["name"].encode()))}

        def member(m):
            said = {"name": m["name"], "index": place[m["name"]]}
            said |= {"tag": tag(m["type"])} if "type" in m else {}
            said |= {kind: rows[m[kind]]["persistent"] for kind in ("object", "array") if kind in m}
            said |= {key: m[key] for key in ("doc", "unit", "base", "shape", "over", "null") if key in m}
            if "." in said.get("over", ""):
                other, name = said["over"].split(".")
                said["over"] = f"{rows[other]['persistent']}/{name}"
            return said

        said = {"format": 1, "class": row["persistent"]}
        said |= {"base": rows[row["base"]]["persistent"]} if "base" in row else {}
        yield row["persistent"], said | {"doc": row["doc"], "members": [member(m) for m in row.get("members", [])],
                                         "children": [member(m) for m in row.get("children", [])]}


def run(*args):
    return programs.run(PDMSIM, *args, ASAN_OPTIONS="detect_leaks=0")


class Described(programs.Case):
    @classmethod
    def setUpClass(cls):
        cls.whole = programs.folder(cls.addClassCleanup) / "whole.pdm"
        subprocess.run([HOST, "--gtest_filter=*.KeepMembersOfEveryType"], check=True, stdout=subprocess.DEVNULL,
                       env=os.environ | {"PDM_HOST_FILE": str(cls.whole)})

    def setUp(self):
        super().setUp()
        self.file = pathlib.Path(shutil.copy(self.whole, self.dir / "file.pdm"))

    def change(self, apply):
        shutil.copy(self.whole, self.file)
        with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
            apply(file)

    def put(self, name, text):
        def apply(file):
            file["classes"].pop(name, None)
            file["classes"].create_dataset(name, data=np.frombuffer(text, "u1"))
        return apply

    def said(self, name):
        with h5py.File(self.whole) as file:
            return json.loads(file["classes"][name][()].tobytes())

    def show(self, *path):
        return json.loads(self.done(PDMSIM, "show", self.file, *path, "--json", ASAN_OPTIONS="detect_leaks=0"))

    def findings(self):
        """But identifiers that lead nowhere, of which the file is full."""
        done = run("check", self.file, "--json")
        self.assertEqual(done.stderr, b"")
        self.assertEqual(run("check", self.file, "--json", "--untrusted").stdout, done.stdout)
        return {(f["kind"], f["path"]) for f in json.loads(done.stdout)["findings"] if f["kind"] != "dangling"}

    def test_every_class_of_an_object_is_described_as_its_schema_says(self):
        names, wanted = set(), dict(expected())
        with h5py.File(self.whole) as file:
            file["sim"].visititems(lambda _, thing: names.add(thing.attrs["class"].tobytes().rstrip(b"\0").decode())
                                   if "class" in thing.attrs else None)
            found = {name: json.loads(data[()].tobytes()) for name, data in file["classes"].items()}
            self.assertEqual({data.dtype.str for data in file["classes"].values()}, {"|u1"})
        sim = found.pop("com.vertana.Sim")
        self.assertEqual((sim["members"], [(c["name"], c["object"]) for c in sim["children"]]),
                         ([], [("discreteModel", "com.vertana.DiscreteModel")]))
        self.assertTrue({BEAM, PART, "org.example.Everything"} < names)
        self.assertEqual(found.keys(), names | {"com.vertana.FESystem"}, "the base part's, too")
        for name, said in found.items():
            self.assertEqual(said, wanted[name])

    def test_pdmsim_shows_and_checks_what_it_was_not_built_with(self):
        self.assertEqual(self.findings(), set())
        beam = self.show(SYSTEM[4:])
        self.assertEqual((beam["class"], beam["members"]["systemName"], beam["members"]["stiffness"],
                          beam["members"]["tags"]), (BEAM, "beam", 2.5, ["x", "", "z"]))
        parts = beam["children"]["parts"]
        self.assertEqual([part["members"] for part in parts["elements"]], [{"xInt": 1}, {"xInt": 2}])
        self.assertIsNone(beam["children"]["spare"])
        everything = beam["children"]["everything"]["members"]
        self.assertEqual(len(everything), 44)
        self.assertEqual((everything["listInt"][:2], everything["byNameString"]["entries"]["value 3"],
                          everything["byIntCollection"]["entries"]["-99"]["id"]), ([1, 2], "value 4", 2))
        self.assertEqual(self.show(SYSTEM[4:] + "/parts/1/xInt"), 2)
        self.assertEqual(self.show(SYSTEM[4:] + "/everything/byNameInt/value 7"), 8)
        self.assertIn(b"xInt", run("show", self.file).stdout)

    def test_a_class_that_nobody_describes_is_shown_without_names(self):
        self.change(lambda file: file["classes"].__delitem__(PART))
        self.assertEqual(self.show(SYSTEM[4:] + "/parts/0")["members"], {"member 0": 1})
        self.assertEqual(self.findings(), {("class.unknown", f"/{SYSTEM}/parts/{i}") for i in (0, 1)})
        self.change(lambda file: file["classes"].__delitem__("com.vertana.Mesh"))
        self.assertEqual(self.findings(), {("description.missing", "/sim/discreteModel/mesh")})

    def test_a_class_that_grew_is_shown_with_all_that_program_and_file_know(self):
        mesh = self.said("com.vertana.Mesh")
        mesh["members"].append({"name": "zone", "index": 19, "tag": 7, "doc": "new"})

        def grow(file):
            data = file["sim/discreteModel/mesh"].pop("#simpleTypeMembers")[()].tobytes()
            length, = struct.unpack_from("<i", data)
            data = data[4:length] + struct.pack("<BiBi", 3, 19, 7, 5) + b"north"
            data = struct.pack("<i", len(data) + 4) + data
            file["sim/discreteModel/mesh"].create_dataset("#simpleTypeMembers", data=np.frombuffer(data, "u1"))
            self.put("com.vertana.Mesh", json.dumps(mesh).encode())(file)

        self.change(grow)
        members = self.show("discreteModel/mesh")["members"]
        self.assertEqual((members["zone"], members["nodes"]["name"]), ("north", "nodes"))
        self.assertEqual({kind for kind, _ in self.findings()}, {"stream.nochecksum"})

    def test_descriptions_that_cannot_be_true(self):
        part, place = self.said(PART), "/classes/" + PART
        row = part["members"][0]
        streams = {("stream.member", f"/{SYSTEM}/parts/{i}/#simpleTypeMembers") for i in (0, 1)}
        unknown = {("class.unknown", f"/{SYSTEM}/parts/{i}") for i in (0, 1)}
        damaged = {("description.form", place)} | unknown

        def with_members(*rows):
            return json.dumps(part | {"members": rows}).encode()

        cases = [(text, damaged, 0) for text in (
            b"", b"{", b"[" * 100_000, b'{"a":' * 3000, b"\xff\xfe", b"null", b'{"format":2}', b"\0" * (2 << 20),
            json.dumps(part | {"class": BEAM}).encode(), json.dumps(part | {"members": 1}).encode(),
            json.dumps(part | {"base": 1}).encode(), with_members(1), with_members(row, row),
            with_members(row | {"index": -1}), with_members(row | {"index": 1e300}), with_members(row | {"index": 2**63}),
            with_members(row | {"tag": 255}), with_members(row | {"name": ""}))]
        cases += [(with_members(row | {"tag": 6}), streams, 2), (with_members(row | {"index": 5}), streams, 0),
                  (with_members(), streams, 0)]
        for text, kinds, code in cases:
            with self.subTest(text[:100]):
                self.change(self.put(PART, text))
                self.assertEqual(self.findings(), kinds)
                done = run("show", self.file)
                self.assertEqual((done.returncode, done.stderr.count(b"\n")), (code, int(code != 0)), done.stderr)
        for other in (lambda file: file["classes"].create_group(PART),
                      lambda file: file["classes"].create_dataset(PART, data=[1.5])):
            self.change(lambda file: (file["classes"].pop(PART), other(file)))
            self.assertEqual(self.findings(), damaged)
            self.assertIn(run("show", self.file).returncode, (0, 2))
        mesh = self.said("com.vertana.Mesh")
        mesh["members"][0]["tag"] = 9
        self.change(self.put("com.vertana.Mesh", json.dumps(mesh).encode()))
        self.assertEqual(self.findings(), {("description.mismatch", "/classes/com.vertana.Mesh")})
        self.assertEqual(self.show("discreteModel/mesh/nodes")["name"], "nodes")

    def test_objects_that_lead_in_a_circle(self):
        child = {"name": "again", "index": 1, "array": PART, "doc": "d"}

        def turn(file, base=None):
            said = self.said(PART) | {"children": [child]} | ({"base": PART} if base else {})
            self.put(PART, json.dumps(said).encode())(file)
            part = file[SYSTEM]["parts/0"]
            part.create_group("again").attrs["#size"] = np.array([2], "i4")
            part["again/0"] = part["again/1"] = part
            if base:
                part["#base"] = part

        for base in (False, True):
            self.change(lambda file: turn(file, base))
            self.assertIn(("link.cycle", f"/{SYSTEM}/parts/0/again/0"), self.findings())
            done = run("show", self.file)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), done.stderr)
            self.assertIn(b"in a circle", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
