"""The ranks of an MPI job on one simulation file: what `open(..., comm=comm)` gives."""

import operator
import os
import pickle
import zlib

import numpy as np

from . import _arrays, _pdm_core as core
from ._error import Error


def _call(what, path):
    return f"{what} of {path}" if path else what


class _Talk:
    """What ranks say to each other before any of them does anything: none waits for one that has failed."""

    def __init__(self, comm, mpi, file):
        self.comm, self.mpi, self.file = comm, mpi, file
        self.rank, self.size = comm.Get_rank(), comm.Get_size()
        self.left = None  # with what a rank has left the scope that the others are still in

    def failure(self, what, fault):
        """A failure of this rank, as all ranks hear of it."""
        if isinstance(fault, Error):
            who = f"rank {self.rank}: " if self.rank else ""
            return type(fault)(fault.file or self.file, fault.path, fault.operation, who + fault.cause)
        return Error(self.file, "", what, f"rank {self.rank}: {type(fault).__name__}: {fault}")

    def agree(self, call, fault=None, leaves=None):
        """Goes on when every rank makes the same call and none has failed; raises the same on all else.

        leaves: what is left with this call, in words; None for none.
        """
        if self.left is not None:
            raise self.left
        code = zlib.crc32(call.encode("utf-8", "surrogateescape"))
        told = np.array([code, -code, self.size if fault is None else self.rank, leaves is None], np.int64)
        self.comm.Allreduce(self.mpi.IN_PLACE, told, self.mpi.MIN)
        same, failed = told[0] == -told[1], int(told[2])
        if same and failed == self.size:
            return
        if failed < self.size:
            error = self.comm.bcast(self.failure(leaves or call, fault) if self.rank == failed else None, failed)
        else:
            calls = self.comm.allgather(call)
            odd = next(rank for rank, other in enumerate(calls) if other != calls[0])
            cause = f"rank {odd} comes to {calls[odd]} where rank 0 comes to {calls[0]}"
            error = Error(self.file, "", "make a collective call", cause)
        if not same and told[3] == 0:
            self.left = error
        raise error

    def each(self, what, work, path=""):
        """What the work of each rank answers on it, when it fails on none."""
        answer = fault = None
        try:
            answer = work()
        except (TypeError, ValueError, OverflowError) as raised:  # what was given does not fit
            fault = Error(self.file, path, what, str(raised))
        except Exception as raised:
            fault = raised
        try:
            self.agree(_call(what, path), fault)
        except Error as error:
            raise error from fault
        return answer

    def tell(self, what, work):
        """What the work answers on rank 0, where it is done, on all ranks. REQUIRES agree()."""
        told = fault = None
        if self.rank == 0:
            try:
                told = pickle.dumps(work())
            except BaseException as raised:
                fault = raised
        told, error = self.comm.bcast((told, fault and self.failure(what, fault)))
        if fault is not None and not isinstance(fault, Exception):
            raise fault
        if error is not None:
            raise error from fault
        return pickle.loads(told)

    def root(self, what, work, path=""):
        """As tell(), of ranks that agree."""
        self.agree(_call(what, path))
        return self.tell(what, work)

    def check(self, what, path, cause):
        """Raises what the library says on all ranks."""
        if cause:
            cause = cause.removeprefix(self.file + ": ").removeprefix(os.path.realpath(self.file) + ": ")
            raise Error(self.file, path, what, cause)


def _whole(number, what):
    number = operator.index(number)
    if number < 0:
        raise ValueError(f"expected {what} of 0 or more, found {number}")
    return number


def _items(rows):
    items = _arrays.lossless(_arrays.items(rows), "int32")
    if items.ndim != 1:
        raise ValueError(f"expected a list of rows, found an array of {items.ndim} axes")
    return items


def _width(array):
    return array.size // len(array) if array.size else None


class RankDrawer:
    """One drawer of a field, known to every rank. Its rows are read and written by all ranks together.

    Every method is collective: each rank calls it, with rows of its own, which may be none.
    """

    def __init__(self, sim, drawer, path):
        self._sim, self._drawer, self._path = sim, drawer, path
        self._place = sim._talk.tell("find a drawer", lambda: drawer._place())

    def __repr__(self):
        return f"<pdm_core.RankDrawer: {self._path}>"

    def _look(self, what, writing):
        """Where the drawer is now, by rank 0."""
        def look():
            self._sim._sim._check(writing)
            return self._drawer._place()

        talk = self._sim._ranks(what)
        self._place = talk.root(what, look, self._path)
        return talk, self._place[:2]

    def read_rows(self, first=0, count=0, *, rows=None):
        """Reads rows of this rank's choice, checked against their checksums. Collective.

        first, count: 0-based rows in one piece, which go straight from the file to this rank. rows: a list of 0-based
        rows in any order, which may come twice. Answers [rows] numbers where there is one component, else
        [rows][components].
        """
        talk, place = self._look("read rows", False)

        def make():
            listed = None if rows is None else _items(rows)
            begin, wanted = _whole(first, "a row"), _whole(count, "a count") if listed is None else len(listed)
            if begin + wanted > self.rows if listed is None else np.any(listed >= self.rows) or np.any(listed < 0):
                raise ValueError(f"the drawer has {self.rows} rows")
            shape = (wanted,) if self.components == 1 else (wanted, self.components)
            return begin, wanted, listed, np.empty(shape, self.dtype)

        begin, wanted, listed, numbers = talk.each("read rows", make, self._path)
        talk.check("read rows", self._path, self._sim._module.read(*place, begin, wanted, listed, numbers))
        return numbers

    def write_rows(self, values, first=None, *, rows=None):
        """Writes the whole drawer: each row is given by exactly one rank. Collective.

        values: [n] or [n][components] numbers that fit into the drawer's type without loss; n is 0 where this rank has
        none. first: the 0-based row that they begin with, in one piece. rows: [n] their 0-based rows, in any order.
        One commit point, unless an update is open.
        """
        talk, place = self._look("write rows", True)

        def make():
            numbers = _arrays.lossless(values, self.dtype.name)
            count = len(numbers) if numbers.size else 0
            if count and _width(numbers) != self.components:
                raise ValueError(f"expected rows of {self.components}, found rows of {_width(numbers)}")
            if (first is None) == (rows is None) and (count or first is not None):
                raise ValueError("say which rows these are: first= or rows=")
            listed = None if rows is None else _items(rows)
            if listed is not None and len(listed) != count:
                raise ValueError(f"expected {len(listed)} rows, found {count}")
            return _whole(first or 0, "a row"), count, listed, numbers

        begin, count, listed, numbers = talk.each("write rows", make, self._path)
        talk.check("write rows", self._path, self._sim._module.write(*place, begin, count, listed, numbers))

    @property
    def rows(self):
        """How many rows it has, as the last call saw it."""
        return self._place[2]

    @property
    def components(self):
        """How many numbers a row has."""
        return self._place[3]

    @property
    def dtype(self):
        """numpy's type of the numbers: int32, int64, float32 or float64."""
        return np.dtype(self._place[4])

    @property
    def path(self):
        """Where it stands in the model."""
        return self._path


class RankField:
    """A field known to every rank: a sequence of drawers, of a result one each step. Every method is collective."""

    def __init__(self, sim, field, path):
        self._sim, self._field, self._path = sim, field, path

    def __repr__(self):
        return f"<pdm_core.RankField: {self._path}>"

    def _drawer_by(self, what, find):
        """The drawer that `find` finds on rank 0."""
        found = []

        def look():
            found.append(find(self._field))
            return found[0].path

        path = self._sim._ranks(what).root(what, look, self._path)
        return RankDrawer(self._sim, found[0] if found else None, path)

    def __getitem__(self, index):
        """The drawer of that number. Collective."""
        return self._drawer_by(f"drawer [{index}]", lambda field: field[operator.index(index)])

    def step(self, step):
        """The drawer of a step; -1 is the last one. Collective."""
        return self._drawer_by(f"step({step})", lambda field: field.step(step))

    def at(self, time):
        """The drawer at one of the model's times. Collective."""
        return self._drawer_by(f"at({time})", lambda field: field.at(time))

    def _only(self, what):
        def find(field):
            if len(field) != 1:
                raise Error("", field.path, what, f"the field has {len(field)} drawers: say which one, field[0]")
            return field[0]

        return self._drawer_by(what, find)

    def read_rows(self, first=0, count=0, *, rows=None):
        """The only drawer's read_rows(). Collective."""
        return self._only("read rows").read_rows(first, count, rows=rows)

    def write_rows(self, values, first=None, *, rows=None):
        """The only drawer's write_rows(). Collective."""
        self._only("write rows").write_rows(values, first, rows=rows)

    def _shape(self, what, values):
        """Type and components of a new drawer: the first one's, else those of the ranks' numbers."""
        def look():
            return self._field[0]._place()[3:] if len(self._field) else None

        def make():
            numbers = _arrays.lossless(values)
            return (_width(numbers), numbers.dtype.name) if numbers.size else None

        talk = self._sim._ranks(what)
        like = talk.root(what, look, self._path)
        mine = talk.each(what, make, self._path)
        if like is not None:
            return like
        given = [(rank, one) for rank, one in enumerate(talk.comm.allgather(mine)) if one is not None]
        for rank, one in given:
            if one != given[0][1]:
                (width, name), (others, other) = given[0][1], one
                cause = f"rank {rank} has rows of {others} {other} where rank {given[0][0]} has rows of {width} {name}"
                raise Error(talk.file, self._path, "append rows", cause)
        return given[0][1] if given else (1, "float64")

    def append_rows(
            self, values, first=None, *, rows=None, unit="", long_name="", over=None, deflate=0, chunk_rows=0):
        """Adds a drawer, such as the next step of a result, whose rows all ranks give together. Collective.

        values, first and rows are as in RankDrawer.write_rows(); what the drawer shall be besides counts on rank 0,
        where `over` is a Set or None. One commit point, unless an update is open.
        """
        with self._sim.update():
            width, kind = self._shape("append rows", values)
            added = self._drawer_by("append rows", lambda field: field._append_unwritten(
                kind, width, unit, long_name, over, deflate, chunk_rows))
            added.write_rows(values, first, rows=rows)
        return added

    @property
    def path(self):
        """Where it stands in the model."""
        return self._path


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
        from . import _pdm_core_mpi
    except ModuleNotFoundError as fault:
        raise Error(file, "", "use ranks", "this pdm_core was built without MPI") from fault
    except ImportError as fault:
        raise Error(file, "", "use ranks", f"the module for ranks does not load: {fault}") from fault
    if (ours := _pdm_core_mpi.library_version().rstrip("\0")) != version.rstrip("\0"):
        raise Error(file, "", "use ranks", f'mpi4py stands on "{version}", pdm_core on "{ours}"')
    return _pdm_core_mpi


def _start(make, comm, path, *how, **others):
    file = os.fsdecode(path)
    own, mpi = _communicator(file, comm)
    talk = _Talk(own, mpi, file)
    sims = []
    try:
        module = talk.each("open()", lambda: _load(file, mpi.Get_library_version()))
        talk.file = talk.tell("open()", lambda: sims.append(make(path, *how, **others)) or sims[0].file)
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
