"""Reads finite-element systems by h5py alone. Asserts as it goes."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tools"))
from pdm_reader import class_of, members


def array(group):
    (size,) = group.attrs["#size"]
    return [group[str(i)] for i in range(size)]


class System:
    def __init__(self, group):
        self.group, self.kind = group, class_of(group)
        self.own = members(group, self.kind)
        assert class_of(group["#base"]) == self.kind, "the part's class is that of the whole object"
        self.base = members(group["#base"], "FESystem")
        self.name = self.base["systemName"].decode()
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
