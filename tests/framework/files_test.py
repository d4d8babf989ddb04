"""The file layout from outside: the library reads what h5py alone has written, sound and damaged.

Run as: files_test.py PROGRAM [unittest options], with the program built from support/file_program.cpp.
"""

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
from pdm_reader import BY_TEXT, COLLECTION, CSET, INT, KINDS, MEMBERS, TEXT, shown

PROGRAM = sys.argv.pop(1)
SANITIZED = bool(os.environ.get("PDM_SANITIZED"))


# --- from values to bytes

def encode_one(base, value):
    if base == TEXT:
        return struct.pack("<i", len(value)) + value
    kind, minors = KINDS[base]
    numbers = (-1,) * minors if value is None else value if base == CSET else (value,)
    form = struct.pack(f"<B{minors}i", kind, *numbers)
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


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "a.pdm")

    def show(self):
        """Members as text by class, and standard error; memory is bounded, so that no stated size is believed."""
        def limits():
            if not SANITIZED:
                resource.setrlimit(resource.RLIMIT_AS, (1 << 29, 1 << 29))
        run = subprocess.run([PROGRAM, "scratch", self.file], capture_output=True, timeout=60, preexec_fn=limits)
        self.assertEqual(run.returncode, 0, run.stderr)
        found = {}
        for line in run.stdout.decode("latin-1").split("\n")[:-1]:
            words = line.lstrip(" ").split(" ", 1)
            if len(words) == 1:  # an object; its members follow
                members = found[words[0].split("_")[-1]] = {}
            else:
                members[words[0]] = words[1]
        return found, run.stderr.decode()

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
                    for name in self.VALUES:
                        self.assertEqual(found[name], self.expected(name), name)

    def test_missing_and_unknown_members_are_left_out(self):
        self.put_file()
        known = self.records("Mesh", {"nodes": 7})[0]
        skipped = struct.pack("<Bi", 3, 18) + struct.pack("<Bi", 3, 99) + struct.pack("<Bi", 3, -1)
        with h5py.File(self.file, "a") as file:
            replace(file["sim/discreteModel/mesh"], stream([skipped, known, skipped]))
        found, err = self.show()
        self.assertEqual(err, "")
        self.assertEqual((found["Mesh"]["nodes"], found["Mesh"]["elements"]), ("7", "-"))

    def test_damage_takes_what_it_hit_and_no_more(self):
        good = self.records("Mesh")[0]
        mesh, systems = "sim/discreteModel/mesh", "sim/discreteModel/mesh/systems"
        load = "**ERROR msfD_MeshImpl::LoadMembers: error {} loading class data\n".format
        unknown = "**ERROR {}Holder::Open: class {} is not registered\n".format
        # The mesh's nodes, which stand first in its members, and whether there is a system.
        whole, no_members, no_mesh, no_system = ("7", True), ("-", True), (None, False), ("7", False)
        cases = {
            "header above the dataset": (lambda f: replace(f[mesh], struct.pack("<i", 10_000) + good), load(2), no_members),
            "identifier of 65 bytes": (
                lambda f: replace(f[mesh], stream([good, struct.pack("<BiBi", 3, 2, 8, 65) + b"\0" * 65])), load(3), whole),
            "missing dataset": (lambda f: f[mesh].pop("#simpleTypeMembers"), load(2), no_members),
            "group in the dataset's place": (
                lambda f: (f[mesh].pop("#simpleTypeMembers"), f[mesh].create_group("#simpleTypeMembers")),
                load(2), no_members),
            "stream of doubles": (lambda f: replace(f[mesh], np.array([-1e300, 5.0, 1e9])), load(2), no_members),
            "stream of rank 2": (lambda f: replace(f[mesh], np.zeros((4, 4), np.uint8)), load(2), no_members),
            "gigabytes that were never written": (lambda f: replace_sparse(f[mesh], 2**31 - 16), load(2), no_members),
            "unregistered class": (lambda f: stamp(f[mesh], b"com.vertana.Unknown"),
                                   unknown("msfD_Mesh", "com.vertana.Unknown"), no_mesh),
            "wrong class": (lambda f: stamp(f[mesh], b"com.vertana.FESystem"),
                            "**ERROR msfD_MeshHolder::Open: unrelated class com.vertana.FESystem\n", no_mesh),
            "dataset in the mesh's place": (
                lambda f: (f["sim/discreteModel"].pop("mesh"), f["sim/discreteModel"].create_dataset("mesh", data=1)),
                unknown("msfD_Mesh", ""), no_mesh),
            "missing mesh": (lambda f: f["sim/discreteModel"].pop("mesh"), "", no_mesh),
            "missing array": (lambda f: f[mesh].pop("systems"), "", no_system),
            "missing size": (lambda f: f[systems].attrs.pop("#size"), "", no_system),
            "negative size": (lambda f: f[systems].attrs.create("#size", np.array([-3], np.int32)), "", no_system),
            "size above the elements": (
                lambda f: f[systems].attrs.create("#size", np.array([2**31 - 1], np.int32)), "", whole),
            "size of two numbers": (
                lambda f: f[systems].attrs.create("#size", np.array([1, 1], np.int32)), "", no_system),
            "missing element": (lambda f: f[systems].move("0", "1"), unknown("fesD_FESystem", ""), no_system),
            "dataset as element": (lambda f: (f[systems].pop("0"), f[systems].create_dataset("0", data=1)),
                                   unknown("fesD_FESystem", ""), no_system),
        }
        for what, (damage, line, left) in cases.items():
            with self.subTest(what):
                self.put_file()
                with h5py.File(self.file, "a") as file:
                    damage(file)
                found, err = self.show()
                self.assertEqual((err, found.get("Mesh", {}).get("nodes"), "FESystem" in found), (line, *left))


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
