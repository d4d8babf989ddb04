"""Just enough of a simulation file for a picture, by h5py and docs/file-format.md alone."""

import struct

import numpy as np

MINORS = {8: 1, 9: 2, 10: 1}  # identifiers: how many minor numbers a collection, set, distribution has
# Member indices, from `released` in schema/msf.toml and schema/fes.toml.
MESH = {12: "nodes", 10: "nodeFields", 0: "elementFields"}
FE_SYSTEM = {3: "systemName", 4: "userDistributions"}


class Stream:
    """A member stream: records of index, tag and value."""

    def __init__(self, group):
        self.data, self.at = group["#simpleTypeMembers"][()].tobytes(), 4
        self.end = struct.unpack_from("<i", self.data)[0]

    def take(self, form):
        self.at += struct.calcsize(form)
        return struct.unpack_from(form, self.data, self.at - struct.calcsize(form))[0]

    def text(self):
        return self.take(f"{self.take('<i')}s").decode()

    def single(self, base):
        if base == 7:
            return self.text()
        if base in MINORS:  # a length and a kind byte, then the minor numbers
            self.at += 5
            return tuple(self.take("<i") for _ in range(MINORS[base]))
        return self.take({1: "<?", 2: "<B", 3: "<i", 4: "<q", 5: "<f", 6: "<d"}[base])

    def value(self, tag):
        shape, base = divmod(tag, 16)
        if shape == 0:
            return self.single(base)
        count = self.take("<i")
        if shape == 1:
            return [self.single(base) for _ in range(count)]
        return {self.text() if shape == 3 else self.take("<i"): self.single(base) for _ in range(count)}


def members(group, names):
    """The members of an object that have a name in the table."""
    stream, found = Stream(group), {}
    while stream.at < stream.end:
        stream.at += 1  # the tag of the index
        index = stream.take("<i")
        value = stream.value(stream.take("<B"))
        if index in names:
            found[names[index]] = value
    return found


def class_of(group):
    return group.attrs["class"].tobytes().rstrip(b"\0").decode()


def drawers(file, distribution):
    """The drawers of a distribution: (rows, long name) each."""
    group = file[f"store/distributions/{distribution[0]}"]
    for k in range(len(group)):
        name = group[str(k)].attrs.get("long_name", b"")
        yield group[str(k)][()], name.decode() if isinstance(name, bytes) else name


def mesh(file):
    """Points [nodes, 3] and a list of (type, connectivity) by block."""
    fields = members(file["sim/discreteModel/mesh"], MESH)
    points, _ = next(drawers(file, fields["nodeFields"]["coordinates"]))
    return points, [(name.upper(), rows) for rows, name in drawers(file, fields["elementFields"]["connectivity"])]


def modal_systems(file):
    """(name, user distributions) of each modal system."""
    systems = file["sim/discreteModel/mesh/systems"]
    for i in range(int(systems.attrs["#size"][0])):
        if class_of(systems[str(i)]) == "com.vertana.ModalSystem":
            base = members(systems[str(i)]["#base"], FE_SYSTEM)
            yield base["systemName"], base["userDistributions"]


def shapes(file, fields):
    """Frequencies [modes] in Hz and mode shapes, [nodes, 3] each."""
    frequencies, _ = next(drawers(file, fields["frequencies"]))
    return np.asarray(frequencies), [rows for rows, _ in drawers(file, fields["modeShapes"])]
