"""The ranks of an MPI job on one simulation file: what `open(..., comm=comm)` gives."""

import importlib
import os

from . import _pdm_core as core
from ._error import Error
from ._rank_fields import RankDrawer, RankField
from ._talk import Talk


class RankUpdate:
    """Writes of all ranks that become one commit point: `with sim.update(): ...`. It ends alike on every rank.

    An exception on one rank takes everything back: the others raise pdm_core.Error, in the call that they are in or
    come to.
    """

    def __init__(self, sim):
        self._sim, self._scope = sim, None

    def __enter__(self):
        def enter():
            self._scope = self._sim._sim.update()
            self._scope.__enter__()

        self._sim._ranks("begin an update").root("update()", enter)
        self._sim._depth += 1
        return self

    def __exit__(self, kind, fault, trace):
        talk = self._sim._talk
        what = "commit an update"
        try:
            talk.agree(f"the end of update {self._sim._depth}", fault, leaves=what)
        except Error:
            talk.tell(what, lambda: self._scope.__exit__(Error, None, None))
            if fault is None:
                raise
        else:
            talk.tell(what, lambda: self._scope.__exit__(None, None, None))
        finally:
            talk.left = None
            self._sim._depth -= 1


class RankSim:
    """One simulation file, opened by all ranks of a job; a context manager that closes it.

    Rank 0 has the file, and all that a Sim has: `model`, `sim["path"]`. The other ranks raise there; they read and
    write rows of fields, in calls that are collective: every rank makes them, in the same order. Such a call does the
    same on all ranks, or raises a pdm_core.Error of the same text on all. A rank that raises something of its own lets
    the others know when it leaves `with`; one that ends the process or never comes makes them wait for ever, as
    everywhere in MPI: `mpiexec -n 4 python3 -m mpi4py program.py` ends such a job.
    Threads: one at a time for all that is made of it.

        with pdm_core.open("a.pdm", "r+", comm=MPI.COMM_WORLD) as sim:
            heat = sim.field("node_fields", "temperature")
            with sim.update():
                heat.append_rows(values, first)
    """

    def __init__(self, talk, module, sim):
        self._talk, self._sim, self._depth = talk, sim, 0
        self._module = module.Ranks(talk.comm.py2f(), sim)
        talk.check("open a file", "", self._module.join())

    def __repr__(self):
        state = "" if self.is_open else ", closed"
        return f'<pdm_core.RankSim: "{self.file}", rank {self.rank} of {self.size}{state}>'

    def __enter__(self):
        return self

    def __exit__(self, kind, fault, trace):
        self._close(fault)

    def _ranks(self, what):
        """The ranks, as long as the file is open."""
        if self._talk.comm is None:
            raise Error(self._talk.file, "", what, "the file is closed")
        return self._talk

    def close(self):
        """Closes the file on every rank; once is enough. Collective."""
        if self._depth:
            raise Error(self.file, "", "close a file", "an update is open")
        self._close(None)

    def _close(self, fault):
        talk = self._talk
        if talk.comm is None:
            return
        failure = None
        try:
            talk.agree("close()", fault, leaves="use a Sim")
        except Error as error:
            failure = error
        lost = self._module.leave()
        try:
            talk.tell("close a file", lambda: self._sim.close())
            talk.check("close a file", "", lost)
        finally:
            talk.comm.Free()
            talk.comm = None
        if failure is not None and fault is None:
            raise failure

    def on_root(self, work):
        """Does work(sim) on rank 0, with its Sim, and answers on every rank what it answers there. Collective.

        What it answers goes by pickle: numbers, names, arrays; no objects of the file. Where it raises, all ranks do.
        """
        return self._ranks("on_root()").root("on_root()", lambda: work(self._sim))

    def share(self, find):
        """A field or drawer that find(sim) finds on rank 0, or makes, for every rank. Collective.

            nodes = sim.share(lambda sim: sim.model.mesh.blocks[0].connectivity)
        """
        found = []

        def look():
            it = find(self._sim)
            if not isinstance(it, (core.Field, core.Drawer)):
                raise TypeError(f"expected a Field or a Drawer, found {type(it).__name__}")
            found.append(it)
            return isinstance(it, core.Field), it.path

        is_field, path = self._ranks("share()").root("share()", look)
        return (RankField if is_field else RankDrawer)(self, found[0] if found else None, path)

    def field(self, of, name):
        """A field of the mesh, by the map that it is in: `sim.field("node_fields", "coordinates")`. Collective."""
        return self.share(lambda sim: getattr(sim.model.mesh, of)[name])

    def update(self):
        """A context manager that joins the writes of all ranks into one commit point. Entering and leaving it is
        collective; an exception on any rank takes them back.
        """
        return RankUpdate(self)

    def refresh(self):
        """Moves a live file on to its writer's newest commit point, on every rank. Collective."""
        talk = self._ranks("refresh")
        talk.agree("refresh()")
        talk.check("refresh", "", self._module.leave())
        try:
            talk.tell("refresh", lambda: self._sim.refresh())
        finally:
            talk.check("refresh", "", self._module.join())

    @property
    def rank(self):
        """The number of this rank, from 0."""
        return self._talk.rank

    @property
    def size(self):
        """How many ranks there are."""
        return self._talk.size

    @property
    def funnelled(self):
        """Why all numbers go through rank 0, "" when each rank reads and writes the file; the same on every rank."""
        return self._module.funnelled()

    @property
    def file(self):
        """The name of the file as rank 0 opened it."""
        return self._talk.file

    @property
    def is_open(self):
        """Whether the file is still open."""
        return self._talk.comm is not None

    def _root(self, what):
        if self._sim is None:
            cause = f"rank {self.rank} has no objects: rank 0 has, and on_root() tells what they say"
            raise Error(self.file, "", what, cause)
        return self._sim

    @property
    def writable(self):
        """On rank 0: whether it is open for writing."""
        return self._root("use a Sim").writable

    @property
    def has_model(self):
        """On rank 0: whether it has a model."""
        return self._root("find the model").has_model

    @property
    def model(self):
        """On rank 0: the model. Raises when there is none."""
        return self._root("find the model").model

    def create_model(self):
        """On rank 0: gives the file its model."""
        return self._root("make a model").create_model()

    def create_mesh(self, nodes, elements):
        """On rank 0: gives the file its model and mesh."""
        return self._root("make a mesh").create_mesh(nodes, elements)

    def __getitem__(self, path):
        """On rank 0: the object at a path."""
        return self._root("find an object")[path]


def _communicator(file, comm):
    """A communicator of our own, and mpi4py's module."""
    try:
        from mpi4py import MPI
    except ImportError as fault:
        raise Error(file, "", "use ranks", f"mpi4py is not installed, or does not load: {fault}") from fault
    if not isinstance(comm, MPI.Intracomm) or comm == MPI.COMM_NULL:
        raise Error(file, "", "use ranks", f"expected a communicator of mpi4py, found {type(comm).__name__}")
    return comm.Dup(), MPI


def _load(file, version):
    """The module that has the ranks."""
    try:
        module = importlib.import_module("._pdm_core_mpi", __package__)
    except ModuleNotFoundError as fault:
        cause = "this pdm_core was built without MPI, or python3-pdm-core-mpi is not installed"
        raise Error(file, "", "use ranks", cause) from fault
    except ImportError as fault:
        raise Error(file, "", "use ranks", f"the module for ranks does not load: {fault}") from fault
    if (ours := module.library_version().rstrip("\0")) != version.rstrip("\0"):
        raise Error(file, "", "use ranks", f'mpi4py stands on "{version}", pdm_core on "{ours}"')
    return module


def _start(make, comm, path, *how, **others):
    file = os.fsdecode(path)
    own, mpi = _communicator(file, comm)
    talk = Talk(own, mpi, file)
    sims = []
    try:
        module = talk.each("open()", lambda: _load(file, mpi.Get_library_version()))

        def begin():
            sims.append(make(path, *how, **others))
            return sims[0].file, os.path.realpath(sims[0].file)

        talk.names = talk.tell("open()", begin)
        talk.file = talk.names[0]
        return RankSim(talk, module, sims[0] if sims else None)
    except Exception:
        for sim in sims:
            sim.close()
        own.Free()
        raise


def open(comm, path, mode, **how):
    """open() of every rank of the communicator: what is asked for counts on rank 0."""
    return _start(core.open, comm, path, mode, **how)


def create(comm, path, **how):
    """create() of every rank of the communicator."""
    return _start(core.create, comm, path, **how)
