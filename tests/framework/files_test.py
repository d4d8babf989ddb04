"""The file layout from outside: the library reads what h5py alone has written, sound and damaged.

Run as: files_test.py PROGRAM [unittest options], with the program built from file_program.cpp.
"""

import json
import os
import resource
import struct
import subprocess
import sys
import tempfile
import unittest

import h5py
import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
from pdm_reader import BY_TEXT, COLLECTION, CSET, DISTRIBUTION, MEMBERS, TEXT

PROGRAM = sys.argv.pop(1)
SANITIZED = bool(os.environ.get("PDM_SANITIZED"))
KINDS = {COLLECTION: 1, CSET: 2, DISTRIBUTION: 4}  # kind byte of the external form


# --- from values to bytes

def encode_one(base, value):
    if base == TEXT:
        return struct.pack("<i", len(value)) + value
    numbers = (value if value is not None else (-1, -1)) if base == CSET else (-1 if value is None else value,)
    form = struct.pack(f"<B{len(numbers)}i", KINDS[base], *numbers)
    return struct.pack("<i", len(form)) + form


def encode_member(index, tag, value):
    record = struct.pack("<BiB", 3, index, tag)
    if tag < 16:
        return record + encode_one(tag, value)
    record += struct.pack("<i", len(value))
    for key, one in value.items():
        record += (encode_one(TEXT, key) if tag & 0xF0 == BY_TEXT else struct.pack("<i", key))
        record += encode_one(tag & 15, one)
    return record


def stream(records):
    body = b"".join(records)
    return struct.pack("<i", 4 + len(body)) + body


def value_of(values, member, tag):
    return values.get(member, {} if tag >= 16 else b"" if tag == TEXT else None)


def shown(value, tag):
    """A value as the program prints it."""
    if tag >= 16:
        name = (lambda k: k.decode("latin-1")) if tag & 0xF0 == BY_TEXT else str
        return {name(k): shown(v, tag & 15) for k, v in value.items()}
    if tag == TEXT:
        return value.decode("latin-1")
    return "null" if value is None else list(value) if tag == CSET else value


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "a.pdm")

    def show(self):
        """What the program prints and its standard error; memory is bounded, so that no stated size is believed."""
        def limits():
            if not SANITIZED:
                resource.setrlimit(resource.RLIMIT_AS, (1 << 29, 1 << 29))
        run = subprocess.run([PROGRAM, self.file], capture_output=True, timeout=60, preexec_fn=limits)
        self.assertEqual(run.returncode, 0, run.stderr)
        return json.loads(run.stdout.decode().replace(":null", ':"null"')), run.stderr.decode()

    VALUES = {
        "DiscreteModel": {"frames": 4, "localNodeSets": {b"k\xff": (2, 5)}},
        "Mesh": {"nodes": 7, "regions": None, "lagrangeNodes": (1, 0), "nodeSets": {b"z": (7, 1), b"": (7, 2)},
                 "surfaces": {b"s" * 300: 3, b"n": None}},
        "FESystem": {"systemName": b"by hand", "nodalLabels": 6, "distributions": {9: 1, -9: 2}},
    }

    def records(self, name, values=None):
        return [encode_member(index, tag, value_of(values or self.VALUES[name], member, tag))
                for member, index, tag in MEMBERS[name]]

    def put_object(self, group, name, data):
        stamp(group, f"com.vertana.{name}".encode())
        group.create_dataset("#simpleTypeMembers", data=np.frombuffer(data, np.uint8))
        return group

    def put_file(self, shuffle=False, **how):
        """The whole tree; `shuffle` stores every stream's records in another order."""
        def data(name):
            records = self.records(name)
            return stream(records[::-1] if shuffle else records) + (b"\xee" * 100 if shuffle else b"")
        with h5py.File(self.file, "w", **how) as file:
            sim = file.create_group("sim")
            sim.attrs.create("type", np.array([0x5AD24019, 0], np.int32))
            stamp(sim, b"com.vertana.Sim")
            model = self.put_object(sim.create_group("discreteModel"), "DiscreteModel", data("DiscreteModel"))
            mesh = self.put_object(model.create_group("mesh"), "Mesh", data("Mesh"))
            systems = mesh.create_group("systems")
            systems.attrs.create("#size", np.array([1], np.int32))
            self.put_object(systems.create_group("0"), "FESystem", data("FESystem"))

    def expected(self, name):
        return {member: shown(value_of(self.VALUES[name], member, tag), tag) for member, _, tag in MEMBERS[name]}

    def test_library_reads_what_h5py_writes(self):
        for how in ({}, {"libver": "earliest"}, {"libver": "latest"}, {"userblock_size": 512}):
            for shuffle in (False, True):
                with self.subTest(how=how, shuffle=shuffle):
                    self.put_file(shuffle, **how)
                    found, err = self.show()
                    self.assertEqual(err, "")
                    for key, name in (("model", "DiscreteModel"), ("mesh", "Mesh"), ("system0", "FESystem")):
                        self.assertEqual(found[key], self.expected(name), key)

    def test_missing_and_unknown_members_are_left_out(self):
        self.put_file()
        known = self.records("Mesh", {"nodes": 7})[0]
        skipped = struct.pack("<Bi", 3, 18) + struct.pack("<Bi", 3, 99) + struct.pack("<Bi", 3, -1)
        with h5py.File(self.file, "a") as file:
            replace(file["sim/discreteModel/mesh"], stream([skipped, known, skipped]))
        found, err = self.show()
        self.assertEqual(err, "")
        self.assertEqual((found["mesh"]["nodes"], found["mesh"]["elements"]), (7, "null"))

    def test_damaged_streams(self):
        good = self.records("Mesh")[0]
        node_sets = struct.pack("<BiB", 3, 11, 57)
        mesh = "sim/discreteModel/mesh"
        cases = {}  # with the number of the mesh's nodes, which stand first
        for what, data, error, nodes in (
                ("member tag", stream([good, struct.pack("<BiB", 3, 11, 58)]), 1, 7),
                ("header above the dataset", struct.pack("<i", 10_000) + good, 2, "null"),
                ("count above the bytes", stream([good, node_sets + struct.pack("<i", 2**31 - 1)]), 2, 7),
                ("identifier of 65 bytes", stream([good, struct.pack("<BiBi", 3, 2, 8, 65) + b"\0" * 65]), 3, 7)):
            cases[what] = (lambda f, data=data: replace(f[mesh], data),
                           f"**ERROR msfD_MeshImpl::LoadMembers: error {error} loading class data\n", (nodes, True))
        self.check_damage(cases, lambda found: (found["mesh"]["nodes"], "system0" in found))

    def test_damaged_groups(self):
        mesh = "sim/discreteModel/mesh"
        load = "**ERROR msfD_MeshImpl::LoadMembers: error 2 loading class data\n"
        cases = {
            "missing dataset": (lambda f: f[mesh].pop("#simpleTypeMembers"), load, True),
            "group in the dataset's place": (lambda f: (f[mesh].pop("#simpleTypeMembers"),
                                                        f[mesh].create_group("#simpleTypeMembers")), load, True),
            "stream of doubles": (lambda f: replace(f[mesh], np.array([-1e300, 5.0, 1e9])), load, True),
            "stream of rank 2": (lambda f: replace(f[mesh], np.zeros((4, 4), np.uint8)), load, True),
            "gigabytes that were never written": (lambda f: replace_sparse(f[mesh], 2**31 - 16), load, True),
            "unregistered class": (
                lambda f: stamp(f[mesh], b"com.vertana.Unknown"),
                "**ERROR msfD_MeshHolder::Open: class com.vertana.Unknown is not registered\n", False),
            "wrong class": (
                lambda f: stamp(f[mesh], b"com.vertana.FESystem"),
                "**ERROR msfD_MeshHolder::Open: unrelated class com.vertana.FESystem\n", False),
            "class as a text": (lambda f: f[mesh].attrs.__setitem__("class", "com.vertana.Mesh"),
                                "**ERROR msfD_MeshHolder::Open: class  is not registered\n", False),
            "dataset in the mesh's place": (
                lambda f: (f["sim/discreteModel"].pop("mesh"), f["sim/discreteModel"].create_dataset("mesh", data=1)),
                "**ERROR msfD_MeshHolder::Open: class  is not registered\n", False),
            "missing mesh": (lambda f: f["sim/discreteModel"].pop("mesh"), "", False),
            "soft link to nothing": (
                lambda f: (f["sim/discreteModel"].pop("mesh"),
                           f["sim/discreteModel"].__setitem__("mesh", h5py.SoftLink("/nowhere"))), "", False),
        }
        self.check_damage(cases, lambda found: "mesh" in found)

    def check_damage(self, cases, observe):
        """Damages a sound file in each way and holds the line and what is observed against the case."""
        for what, (damage, line, expected) in cases.items():
            with self.subTest(what):
                self.put_file()
                with h5py.File(self.file, "a") as file:
                    damage(file)
                found, err = self.show()
                self.assertEqual((err, found["open"]), (line, 1))
                self.assertEqual(observe(found), expected)

    def test_damaged_arrays(self):
        systems = "sim/discreteModel/mesh/systems"
        none = "**ERROR fesD_FESystemHolder::Open: class  is not registered\n"
        cases = {
            "missing array": (lambda f: f["sim/discreteModel/mesh"].pop("systems"), "", 0),
            "missing size": (lambda f: f[systems].attrs.pop("#size"), "", 0),
            "negative size": (lambda f: f[systems].attrs.create("#size", np.array([-3], np.int32)), "", 0),
            "size above the elements": (lambda f: f[systems].attrs.create("#size", np.array([2**31 - 1], np.int32)),
                                        "", 1),
            "size of two numbers": (lambda f: f[systems].attrs.create("#size", np.array([1, 1], np.int32)), "", 0),
            "missing element": (lambda f: f[systems].move("0", "1"), none, 0),
            "dataset as element": (lambda f: (f[systems].pop("0"), f[systems].create_dataset("0", data=1)), none, 0),
        }
        self.check_damage(cases, lambda found: sum(key.startswith("system") for key in found))


def replace(group, data):
    group.pop("#simpleTypeMembers")
    if isinstance(data, bytes):
        data = np.frombuffer(data, np.uint8)
    group.create_dataset("#simpleTypeMembers", data=data)


def replace_sparse(group, size):
    group.pop("#simpleTypeMembers")
    group.create_dataset("#simpleTypeMembers", (size,), np.uint8, chunks=(1 << 20,), compression=1)


def stamp(group, name):
    group.attrs.create("class", np.frombuffer(name.ljust(80, b"\0"), np.uint8))


if __name__ == "__main__":
    unittest.main()
