"""Fields that all ranks of an MPI job know, and read and write together."""

import operator

import numpy as np

from . import _arrays
from ._error import Error


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
