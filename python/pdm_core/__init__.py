"""Simulation files in Python: meshes, sets, fields and systems as numpy arrays."""

from collections.abc import Mapping as _Mapping

from . import _extras
from ._error import AttributeMissing, Error, IndexMissing, NameMissing
from ._pdm_core import (
    Array, Block, Collection, Drawer, Event, Field, Fields, Mesh, Model, Numbering, Object, Set, Sets, Sim, Surface,
    Surfaces, System, Systems, Update, __version__, create, open)
from ._rank_fields import RankDrawer, RankField
from ._ranks import RankSim, RankUpdate

for _class in (Fields, Sets, Surfaces):
    _Mapping.register(_class)
_extras.add()
for _class in (Error, NameMissing, IndexMissing, AttributeMissing, RankDrawer, RankField, RankSim, RankUpdate):
    _class.__module__ = __name__

__all__ = [
    "Array", "AttributeMissing", "Block", "Collection", "Drawer", "Error", "Event", "Field", "Fields", "IndexMissing",
    "Mesh", "Model", "NameMissing", "Numbering", "Object", "RankDrawer", "RankField", "RankSim", "RankUpdate", "Set",
    "Sets", "Sim", "Surface", "Surfaces", "System", "Systems", "Update", "create", "open"]
