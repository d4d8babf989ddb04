"""The file layout from outside: the library reads what h5py alone has written, sound and damaged.

Run as: files_test.py PROGRAM [unittest options], with the program built from support/file_program.cpp.
"""

import os
import pathlib
import resource
import struct
import subprocess
import sys
import unittest

import h5py
import numpy as np

TESTS = pathlib.Path(__file__).parent.parent
sys.path[:0] = str(TESTS / "tools"), str(TESTS / "golden")
import programs  # noqa: E402
from golden_text import rows  # noqa: E402
from pdm_reader import MEMBERS, Stream, class_of  # noqa: E402

PROGRAM = sys.argv.pop(1)
SANITIZED = bool(os.environ.get("PDM_SANITIZED"))
GOLDEN = TESTS / "golden/0.1"
MESH, SYSTEMS = "sim/discreteModel/mesh", "sim/discreteModel/mesh/systems"


def records(group):
    """What a stream holds, record by record."""
    data = group["#simpleTypeMembers"][()].tobytes()
    part, stream, cuts = group.name.endswith("#base"), Stream(data), [4]
    for _, _, tag in MEMBERS["FESystem" if part else class_of(group)]:
        stream.take(6)
        stream.value(tag)
        cuts.append(stream.at)
    return [data[a:b] for a, b in zip(cuts, cuts[1:])]


def stream(records):
    body = b"".join(records)
    return struct.pack("<i", 4 + len(body)) + body


def fill(to, source, shuffle):
    """All anew, without checksums; `shuffle` stores every stream's records in another order, with rubbish behind them."""
    for key in set(source.attrs) - {"checksums"}:
        to.attrs.create(key, source.attrs[key])
    for name in source if isinstance(source, h5py.Group) else ():
        thing = source[name]
        if name == "#simpleTypeMembers":
            data = stream(records(source)[::-1 if shuffle else 1]) + b"\xee" * 100 * shuffle
            to.create_dataset(name, data=np.frombuffer(data, np.uint8))
        elif isinstance(thing, h5py.Dataset):
            fill(to.create_dataset(name, data=thing[()]), thing, shuffle)
        else:
            fill(to.create_group(name), thing, shuffle)


class Files(programs.Case):
    def show(self):
        """What the file holds, line by line, and standard error; memory is bounded: no stated size is believed."""
        def limits():
            if not SANITIZED:
                resource.setrlimit(resource.RLIMIT_AS, (1 << 29, 1 << 29))
        run = subprocess.run([PROGRAM, "scratch", self.file], capture_output=True, timeout=60, preexec_fn=limits)
        self.assertEqual(run.returncode, 0, run.stderr)
        text = run.stdout.decode("latin-1").replace("fesD_", "").replace("msfD_", "")
        split = (line.rpartition(": ") for line in text.split("\n")[:-1])
        return [head + colon + (rows(rest) if colon else rest) for head, colon, rest in split], run.stderr.decode()

    def put(self, name, shuffle=False, **how):
        self.file = self.dir / "a.pdm"
        with h5py.File(self.file, "w", **how) as file, h5py.File(GOLDEN / f"{name}.pdm") as golden:
            fill(file, golden, shuffle)

    def test_library_reads_what_h5py_writes(self):
        for name in ("systems", "import"):
            wanted = (GOLDEN / f"{name}.txt").read_text("latin-1").split("\n")[:-1]
            for how in ({}, {"libver": "earliest"}, {"libver": "latest"}, {"userblock_size": 512}):
                for shuffle in (False, True):
                    with self.subTest(name, how=how, shuffle=shuffle):
                        self.put(name, shuffle, **how)
                        self.assertEqual(self.show(), (wanted, ""))

    def test_a_link_in_the_place_of_a_description_is_left_alone(self):
        for place in ("classes", "classes/com.vertana.FESystem"):
            for link in (h5py.SoftLink("/nowhere"), h5py.SoftLink("/store"), h5py.ExternalLink("none.h5", "/")):
                with self.subTest(place, link=type(link)):
                    self.put("first_model")
                    with h5py.File(self.file, "a") as file:
                        file.pop("classes", None)
                        file[place] = link
                    run = subprocess.run([PROGRAM, "add", self.file], capture_output=True, timeout=60, text=True)
                    self.assertEqual((run.returncode, run.stderr), (0, ""))
                    with h5py.File(self.file) as file:
                        self.assertEqual(len(file[SYSTEMS]), 2)
                        self.assertIsInstance(file.get(place, getlink=True), type(link))

    def damaged(self, damage):
        """Of the damaged file: what is said, the mesh's nodes, and whether there is a system."""
        self.put("first_model")
        with h5py.File(self.file, "a") as file:
            del file["store"]
            damage(file)
        lines, said = self.show()
        nodes = [line.split()[1] for line in lines if line.startswith("     nodes ")]
        return said, nodes[0] if nodes else None, "      FESystem" in lines

    def test_missing_and_unknown_members_are_left_out(self):
        skipped = struct.pack("<Bi", 3, 18) + struct.pack("<Bi", 3, 99) + struct.pack("<Bi", 3, -1)
        self.assertEqual(self.damaged(lambda f: replace(f[MESH], stream([skipped, records(f[MESH])[0], skipped]))),
                         ("", "1", True))
        self.assertIn("     elements -", self.show()[0])

    def test_damage_takes_what_it_hit_and_no_more(self):
        load = "**ERROR msfD_MeshImpl::LoadMembers: error {} loading class data\n".format
        unknown = "**ERROR {}Holder::Open: class {} is not registered\n".format
        # The mesh's nodes, which stand first in its members, and whether there is a system.
        whole, no_members, no_mesh, no_system = ("1", True), ("-", True), (None, False), ("1", False)
        first = lambda f: records(f[MESH])[0]
        cases = {
            "header above the dataset": (
                lambda f: replace(f[MESH], struct.pack("<i", 10_000) + first(f)), load(2), no_members),
            "identifier of 65 bytes": (
                lambda f: replace(f[MESH], stream([first(f), struct.pack("<BiBi", 3, 2, 8, 65) + b"\0" * 65])),
                load(3), whole),
            "missing dataset": (lambda f: f[MESH].pop("#simpleTypeMembers"), load(2), no_members),
            "group in the dataset's place": (
                lambda f: (f[MESH].pop("#simpleTypeMembers"), f[MESH].create_group("#simpleTypeMembers")),
                load(2), no_members),
            "stream of doubles": (lambda f: replace(f[MESH], np.array([-1e300, 5.0, 1e9])), load(2), no_members),
            "stream of rank 2": (lambda f: replace(f[MESH], np.zeros((4, 4), np.uint8)), load(2), no_members),
            "gigabytes that were never written": (
                lambda f: replace(f[MESH], shape=(2**31 - 16,), dtype="u1", chunks=(1 << 20,), compression=1),
                load(2), no_members),
            "unregistered class": (lambda f: stamp(f[MESH], b"com.vertana.Unknown"),
                                   unknown("msfD_Mesh", "com.vertana.Unknown"), no_mesh),
            "wrong class": (lambda f: stamp(f[MESH], b"com.vertana.FESystem"),
                            "**ERROR msfD_MeshHolder::Open: unrelated class com.vertana.FESystem\n", no_mesh),
            "dataset in the mesh's place": (
                lambda f: (f["sim/discreteModel"].pop("mesh"), f["sim/discreteModel"].create_dataset("mesh", data=1)),
                unknown("msfD_Mesh", ""), no_mesh),
            "missing mesh": (lambda f: f["sim/discreteModel"].pop("mesh"), "", no_mesh),
            "missing array": (lambda f: f[MESH].pop("systems"), "", no_system),
            "missing size": (lambda f: f[SYSTEMS].attrs.pop("#size"), "", no_system),
            "negative size": (lambda f: f[SYSTEMS].attrs.create("#size", np.array([-3], np.int32)), "", no_system),
            "size above the elements": (
                lambda f: f[SYSTEMS].attrs.create("#size", np.array([2**31 - 1], np.int32)), "", whole),
            "size of two numbers": (
                lambda f: f[SYSTEMS].attrs.create("#size", np.array([1, 1], np.int32)), "", no_system),
            "missing element": (lambda f: f[SYSTEMS].move("0", "1"), unknown("fesD_FESystem", ""), no_system),
            "dataset as element": (lambda f: (f[SYSTEMS].pop("0"), f[SYSTEMS].create_dataset("0", data=1)),
                                   unknown("fesD_FESystem", ""), no_system),
        }
        for what, (damage, line, left) in cases.items():
            with self.subTest(what):
                self.assertEqual(self.damaged(damage), (line, *left))


def replace(group, data=None, **how):
    group.pop("#simpleTypeMembers")
    if isinstance(data, bytes):
        data = np.frombuffer(data, np.uint8)
    group.create_dataset("#simpleTypeMembers", data=data, **how)


def stamp(group, name):
    group.attrs.create("class", np.frombuffer(name.ljust(80, b"\0"), np.uint8))


if __name__ == "__main__":
    unittest.main()
