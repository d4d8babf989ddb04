"""Reads a simulation file by h5py alone: objects, member records, and the bulk store. Asserts as it goes."""

import struct

import h5py
import numpy as np

COLLECTION, CSET, DISTRIBUTION, CSETS, DISTRIBUTIONS = 8, 9, 10, 57, 58
MEMBERS = {
    "com.vertana.DiscreteModel": [
        ("vectors", 9, COLLECTION), ("localNodes", 5, COLLECTION), ("localFaces", 3, COLLECTION),
        ("frames", 1, COLLECTION), ("integrationPoints", 2, COLLECTION), ("sectionPoints", 8, COLLECTION),
        ("components", 0, COLLECTION), ("localNodeSets", 4, CSETS), ("sectionPointSets", 7, CSETS)],
    "com.vertana.Mesh": [
        ("nodes", 12, COLLECTION), ("elements", 2, COLLECTION), ("faces", 3, COLLECTION),
        ("instances", 6, COLLECTION), ("regions", 15, COLLECTION), ("lagrangeNodes", 7, CSET),
        ("nodeSets", 11, CSETS), ("elementSets", 1, CSETS), ("instanceSets", 5, CSETS), ("regionSets", 14, CSETS),
        ("meshFields", 9, DISTRIBUTIONS), ("surfaces", 17, DISTRIBUTIONS), ("frameFields", 4, DISTRIBUTIONS),
        ("nodeFields", 10, DISTRIBUTIONS), ("elementFields", 0, DISTRIBUTIONS),
        ("surfaceFields", 16, DISTRIBUTIONS), ("regionFields", 13, DISTRIBUTIONS),
        ("localNodeFields", 8, DISTRIBUTIONS)],
}
KINDS = {COLLECTION: (1, 1), CSET: (2, 2), DISTRIBUTION: (4, 1)}  # form's kind byte, number of minors


class Stream:
    def __init__(self, data):
        self.data, self.at = data, 0
        self.limit = len(data)
        self.limit = self.int()
        assert 4 <= self.limit <= len(data)

    def take(self, n):
        assert 0 <= n <= self.limit - self.at
        self.at += n
        return self.data[self.at - n : self.at]

    def int(self):
        return struct.unpack("<i", self.take(4))[0]

    def identifier(self, tag):
        kind, minors = KINDS[tag]
        form = self.take(self.int())
        assert len(form) == 1 + 4 * minors and form[0] == kind
        numbers = struct.unpack(f"<{minors}i", form[1:])
        return None if numbers[-1] == -1 else numbers if minors > 1 else numbers[0]

    def value(self, tag):
        if tag < 16:
            return self.identifier(tag)
        keys, entries = [], {}
        for _ in range(self.int()):
            keys.append(self.take(self.int()))
            entries[keys[-1]] = self.identifier(tag & 15)
        assert keys == sorted(set(keys)), "keys ascend by bytes"
        return entries


class Object:
    def __init__(self, group):
        self.class_name = group.attrs["class"].tobytes().rstrip(b"\0").decode()
        assert group.attrs["class"].shape == (80,)
        table = {index: (name, tag) for name, index, tag in MEMBERS[self.class_name]}
        stream = Stream(group["#simpleTypeMembers"][()].tobytes())
        seen = []
        while stream.at < stream.limit:
            assert stream.take(1) == b"\3"
            name, tag = table[stream.int()]
            assert stream.take(1)[0] == tag
            setattr(self, name, stream.value(tag))
            seen.append(name)
        assert seen == [name for name, _, _ in MEMBERS[self.class_name]], "all members, in their order"


class Drawer:
    def __init__(self, data, store):
        self.values = data[()]
        self.long_name = data.attrs.get("long_name", b"")
        if isinstance(self.long_name, str):
            self.long_name = self.long_name.encode()
        self.members = store.members(tuple(data.attrs["members"]))
        assert len(self.members) == len(self.values)


class Sim:
    def __init__(self, path):
        self.file = h5py.File(path, "r")
        sim = self.file["sim"]
        assert list(sim.attrs["type"]) == [1523728409, 0]
        assert sim.attrs["class"].tobytes().rstrip(b"\0") == b"com.vertana.Sim"
        self.model = Object(sim["discreteModel"])
        self.mesh = Object(sim["discreteModel/mesh"])
        assert list(sim["discreteModel/mesh/systems"].attrs["#size"]) == [0]

    def items(self, collection):
        return int(self.file[f"store/collections/{collection}"].attrs["items"][0])

    def members(self, cset):
        collection, minor = (int(i) for i in cset)
        if minor == 0:
            return np.arange(self.items(collection))
        return self.file[f"store/collections/{collection}/sets/{minor}"][()]

    def drawers(self, distribution):
        group = self.file[f"store/distributions/{distribution}"]
        return [Drawer(group[str(i)], self) for i in range(len(group))]
