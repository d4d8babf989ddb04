from ._error import AttributeMissing as AttributeMissing, Error as Error, IndexMissing as IndexMissing
from ._error import NameMissing as NameMissing
from ._pdm_core import Array as Array, Block as Block, Collection as Collection, Drawer as Drawer, Event as Event
from ._pdm_core import Field as Field, Fields as Fields, Mesh as Mesh, Model as Model, Numbering as Numbering
from ._pdm_core import RankDrawer as RankDrawer, RankField as RankField, RankSim as RankSim, RankUpdate as RankUpdate
from ._pdm_core import Object as Object, Set as Set, Sets as Sets, Sim as Sim, Surface as Surface
from ._pdm_core import Surfaces as Surfaces, System as System, Systems as Systems, Update as Update
from ._pdm_core import __version__ as __version__, create as create, open as open
