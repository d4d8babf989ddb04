"""Reads finite-element systems by h5py alone. Asserts as it goes."""

import pathlib
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tools"))
from pdm_reader import Stream as MeshStream

INT, DOUBLE, TEXT, COLLECTION, CSET, FIELD, FIELDS, NUMBERED_FIELDS = 3, 6, 7, 8, 9, 10, 0x3A, 0x4A
# Members in the order in which they are written, with index and tag.
MEMBERS = {
    "FESystem": [("systemName", 3, TEXT), ("nodalLabels", 2, FIELD), ("nodalActivityMask", 1, FIELD),
                 ("distributions", 0, NUMBERED_FIELDS), ("userDistributions", 4, FIELDS)],
    "GenericSystem": [("dofs", 0, COLLECTION), ("loads", 1, COLLECTION)],
    "ModalSystem": [("dofs", 1, COLLECTION), ("modes", 3, COLLECTION), ("propertyEvaluation", 4, DOUBLE),
                    ("solverDofOrdering", 8, CSET), ("selectiveRecoveryNodes", 7, CSET),
                    ("residualModeDofs", 5, CSET), ("residualModes", 6, CSET), ("structuralModes", 9, CSET),
                    ("acousticModes", 0, CSET)],
    "ModalEvent": [("eventName", 3, TEXT), ("eventTypeID", 4, INT), ("activeModes", 0, CSET),
                   ("frames", 5, COLLECTION), ("cases", 1, COLLECTION), ("distributions", 2, NUMBERED_FIELDS),
                   ("userDistributions", 6, FIELDS)],
    "SubstructureSystem": [("dofTypes", 1, COLLECTION), ("dofs", 2, COLLECTION), ("modes", 3, COLLECTION),
                           ("retainedNodes", 7, CSET), ("retainedDofs", 6, CSET), ("recoveryNodes", 5, CSET),
                           ("recoveryElements", 4, CSET)],
    "SubDamp": [("alpha", 0, DOUBLE), ("beta", 1, DOUBLE), ("structural", 3, DOUBLE), ("mass", 2, DOUBLE),
                ("volume", 4, DOUBLE)],
}


class Stream(MeshStream):
    def value(self, tag):
        if tag == INT:
            return self.int()
        if tag == DOUBLE:
            return struct.unpack("<d", self.take(8))[0]
        if tag == TEXT:
            return self.take(self.int()).decode()
        if tag == NUMBERED_FIELDS:
            return {self.int(): self.identifier(FIELD) for _ in range(self.int())}
        return super().value(tag)


def class_of(group):
    assert group.attrs["class"].shape == (80,) and "type" not in group.attrs
    prefix, name = group.attrs["class"].tobytes().rstrip(b"\0").decode().rsplit(".", 1)
    assert prefix == "com.vertana"
    return name


def members(group, name):
    """The members that a class declares itself: all of them, in their order, with index and tag."""
    stream, found = Stream(group["#simpleTypeMembers"][()].tobytes()), {}
    for member, index, tag in MEMBERS[name]:
        assert (stream.take(1), stream.int(), stream.take(1)) == (b"\3", index, bytes([tag])), member
        found[member] = stream.value(tag)
    assert stream.at == stream.limit, "nothing but the members"
    return found


def array(group):
    (size,) = group.attrs["#size"]
    return [group[str(i)] for i in range(size)]


class System:
    def __init__(self, group):
        self.group, self.kind = group, class_of(group)
        self.own = members(group, self.kind)
        assert class_of(group["#base"]) == self.kind, "the part's class is that of the whole object"
        self.base = members(group["#base"], "FESystem")
        self.name = self.base["systemName"]
        self.file = group.file

    def collection(self, member):
        """Name and items of a collection."""
        attrs = self.file[f"store/collections/{self.own[member]}"].attrs
        return attrs["name"].decode(), int(attrs["items"][0])

    def members_of(self, cset):
        collection, minor = cset
        if minor == 0:
            return list(range(int(self.file[f"store/collections/{collection}"].attrs["items"][0])))
        return list(self.file[f"store/collections/{collection}/sets/{minor}"][()])

    def field(self, key, drawer=0):
        return self.file[f"store/distributions/{self.base['userDistributions'][key.encode()]}/{drawer}"]

    def base_field(self, member):
        return self.file[f"store/distributions/{self.base[member]}/0"][()]


def systems(file):
    return [System(group) for group in array(file["sim/discreteModel/mesh/systems"])]
