"""Reads a simulation file by h5py alone: objects, member records, the bulk store and systems. Asserts as it goes."""

import struct
import types

import h5py
import numpy as np

INT, DOUBLE, TEXT, COLLECTION, CSET, DISTRIBUTION = 3, 6, 7, 8, 9, 10
BY_TEXT, BY_INT = 0x30, 0x40  # maps, over a kind of value
CSETS, DISTRIBUTIONS, NUMBERED = BY_TEXT | CSET, BY_TEXT | DISTRIBUTION, BY_INT | DISTRIBUTION
# Members in the order in which they are written, with index and tag.
MEMBERS = {
    "DiscreteModel": [
        ("vectors", 9, COLLECTION), ("localNodes", 5, COLLECTION), ("localFaces", 3, COLLECTION),
        ("frames", 1, COLLECTION), ("integrationPoints", 2, COLLECTION), ("sectionPoints", 8, COLLECTION),
        ("components", 0, COLLECTION), ("localNodeSets", 4, CSETS), ("sectionPointSets", 7, CSETS)],
    "Mesh": [
        ("nodes", 12, COLLECTION), ("elements", 2, COLLECTION), ("faces", 3, COLLECTION),
        ("instances", 6, COLLECTION), ("regions", 15, COLLECTION), ("lagrangeNodes", 7, CSET),
        ("nodeSets", 11, CSETS), ("elementSets", 1, CSETS), ("instanceSets", 5, CSETS), ("regionSets", 14, CSETS),
        ("meshFields", 9, DISTRIBUTIONS), ("surfaces", 17, DISTRIBUTIONS), ("frameFields", 4, DISTRIBUTIONS),
        ("nodeFields", 10, DISTRIBUTIONS), ("elementFields", 0, DISTRIBUTIONS),
        ("surfaceFields", 16, DISTRIBUTIONS), ("regionFields", 13, DISTRIBUTIONS),
        ("localNodeFields", 8, DISTRIBUTIONS)],
    "FESystem": [("systemName", 3, TEXT), ("nodalLabels", 2, DISTRIBUTION), ("nodalActivityMask", 1, DISTRIBUTION),
                 ("distributions", 0, NUMBERED), ("userDistributions", 4, DISTRIBUTIONS)],
    "GenericSystem": [("dofs", 0, COLLECTION), ("loads", 1, COLLECTION)],
    "ModalSystem": [("dofs", 1, COLLECTION), ("modes", 3, COLLECTION), ("propertyEvaluation", 4, DOUBLE),
                    ("solverDofOrdering", 8, CSET), ("selectiveRecoveryNodes", 7, CSET),
                    ("residualModeDofs", 5, CSET), ("residualModes", 6, CSET), ("structuralModes", 9, CSET),
                    ("acousticModes", 0, CSET)],
    "ModalEvent": [("eventName", 3, TEXT), ("eventTypeID", 4, INT), ("activeModes", 0, CSET),
                   ("frames", 5, COLLECTION), ("cases", 1, COLLECTION), ("distributions", 2, NUMBERED),
                   ("userDistributions", 6, DISTRIBUTIONS)],
    "SubstructureSystem": [("dofTypes", 1, COLLECTION), ("dofs", 2, COLLECTION), ("modes", 3, COLLECTION),
                           ("retainedNodes", 7, CSET), ("retainedDofs", 6, CSET), ("recoveryNodes", 5, CSET),
                           ("recoveryElements", 4, CSET)],
    "SubDamp": [("alpha", 0, DOUBLE), ("beta", 1, DOUBLE), ("structural", 3, DOUBLE), ("mass", 2, DOUBLE),
                ("volume", 4, DOUBLE)],
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
        if tag == INT:
            return self.int()
        if tag == DOUBLE:
            return struct.unpack("<d", self.take(8))[0]
        if tag == TEXT:
            return self.take(self.int())
        if tag < 16:
            return self.identifier(tag)
        entries = [(self.value(INT if tag & 0xF0 == BY_INT else TEXT), self.value(tag & 15))
                   for _ in range(self.int())]
        keys = [key for key, _ in entries]
        assert keys == sorted(set(keys)), "keys ascend, texts by bytes"
        return dict(entries)


def shown(value, tag):
    """A value as programs of the tests print it."""
    if tag >= 16:
        key_tag = TEXT if tag & 0xF0 == BY_TEXT else INT
        return "{%s}" % "".join(f"{shown(k, key_tag)}:{shown(v, tag & 15)}," for k, v in sorted(value.items()))
    if tag == TEXT:
        return '"%s"' % value.decode("latin-1")
    if tag == DOUBLE:
        return str(struct.unpack("<q", struct.pack("<d", value))[0])
    return "-" if value is None else "%d.%d" % value if tag == CSET else str(value)


def class_of(group):
    assert group.attrs["class"].shape == (80,) and group.attrs["class"].dtype == np.uint8
    assert set(group.attrs) == {"class"}
    prefix, name = group.attrs["class"].tobytes().rstrip(b"\0").decode().rsplit(".", 1)
    assert prefix == "com.vertana"
    return name


def members(group, name):
    """The members that a class declares itself: all of them, in their order, with index and tag."""
    data = group["#simpleTypeMembers"]
    assert data.dtype == np.uint8 and data.ndim == 1
    stream, found = Stream(data[()].tobytes()), {}
    for member, index, tag in MEMBERS[name]:
        assert (stream.take(1), stream.int(), stream.take(1)) == (b"\3", index, bytes([tag])), member
        found[member] = stream.value(tag)
    assert stream.at == stream.limit, "nothing but the members"
    return found


def content(path):
    """Everything in a file as h5py sees it; nothing when there is none."""
    found = {}

    def see(name, thing):
        found[name] = [(k, thing.attrs[k].tobytes() if hasattr(thing.attrs[k], "tobytes") else thing.attrs[k])
                       for k in sorted(thing.attrs)]
        if isinstance(thing, h5py.Dataset):
            found[name] += [thing[()].tobytes(), thing.dtype, thing.shape, thing.chunks, thing.compression]

    if path.exists():
        with h5py.File(path) as file:
            file.visititems(see)
    return found


class Drawer:
    def __init__(self, data, store):
        self.values = data[()]
        self.long_name = data.attrs.get("long_name", b"")
        if isinstance(self.long_name, str):
            self.long_name = self.long_name.encode()
        self.members = store.members(tuple(data.attrs["members"]))
        assert len(self.members) == len(self.values)


class Store:
    """The bulk data of an open file."""
    def __init__(self, file):
        self.file = file

    def items(self, collection):
        items = self.file[f"store/collections/{collection}"].attrs["items"]
        assert items.dtype == "<i8"
        return int(items[0])

    def set_data(self, cset):
        return self.file["store/collections/{}/sets/{}".format(*cset)]

    def members(self, cset):
        collection, minor = (int(i) for i in cset)
        if minor == 0:
            return np.arange(self.items(collection))
        stored = self.set_data((collection, minor))[()]
        assert stored.dtype == "<i4"
        return stored

    def drawer_data(self, distribution, drawer=0):
        return self.file[f"store/distributions/{distribution}/{drawer}"]

    def drawers(self, distribution):
        count = len(self.file[f"store/distributions/{distribution}"])
        return [Drawer(self.drawer_data(distribution, i), self) for i in range(count)]


class Sim(Store):
    def __init__(self, path):
        super().__init__(h5py.File(path, "r"))
        sim = self.file["sim"]
        assert list(sim.attrs["type"]) == [1523728409, 0] and sim.attrs["type"].dtype == np.int32
        assert sim.attrs["class"].tobytes() == b"com.vertana.Sim".ljust(80, b"\0")
        assert set(sim.attrs) == {"type", "class"} and list(sim) == ["discreteModel"]
        assert (class_of(sim["discreteModel"]), class_of(sim["discreteModel/mesh"])) == ("DiscreteModel", "Mesh")
        self.model = types.SimpleNamespace(**members(sim["discreteModel"], "DiscreteModel"))
        self.mesh = types.SimpleNamespace(**members(sim["discreteModel/mesh"], "Mesh"))
        assert self.file["store"].attrs["version"] == 1
        size = sim["discreteModel/mesh/systems"].attrs["#size"]
        assert list(size) == [0] and size.dtype == np.int32


def array(group):
    (size,) = group.attrs["#size"]
    return [group[str(i)] for i in range(size)]


class System(Store):
    """A finite-element system with its base part."""
    def __init__(self, group):
        super().__init__(group.file)
        self.group, self.kind = group, class_of(group)
        self.own = members(group, self.kind)
        assert class_of(group["#base"]) == self.kind, "the part's class is that of the whole object"
        self.base = members(group["#base"], "FESystem")
        self.name = self.base["systemName"].decode()

    def order(self):
        return self.set_data(self.own["solverDofOrdering"])

    def field(self, key, drawer=0):
        return self.drawer_data(self.base["userDistributions"][key.encode()], drawer)

    def base_field(self, member):
        return self.drawer_data(self.base[member])


def systems(file):
    return [System(group) for group in array(file["sim/discreteModel/mesh/systems"])]
