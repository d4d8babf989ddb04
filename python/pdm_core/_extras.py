"""What the classes have besides: representations, and the words of pandas, scipy, meshio and pyvista."""

import itertools

from . import _html, _pdm_core as core
from ._error import Error, IndexMissing

# VTK's numbers of cell types, as meshio calls them.
_MESHIO = {
    1: "vertex", 3: "line", 5: "triangle", 7: "polygon", 9: "quad", 10: "tetra", 12: "hexahedron", 13: "wedge",
    14: "pyramid", 21: "line3", 22: "triangle6", 23: "quad8", 24: "tetra10", 25: "hexahedron20", 26: "wedge15",
    27: "pyramid13", 28: "quad9", 29: "hexahedron27", 34: "triangle7"}

_WEDGE = 13


def _shape(drawer):
    return (drawer.rows,) if drawer.components == 1 else (drawer.rows, drawer.components)


def describe(thing):
    """An object in a few words."""
    if isinstance(thing, core.Sim):
        return f'"{thing.file}", open for {"reading and writing" if thing.writable else "reading"}'
    if isinstance(thing, core.Mesh):
        return f"{thing.dimension}-D, {thing.node_count} nodes, {thing.element_count} elements"
    if isinstance(thing, core.Field):
        drawers = len(thing)
        of = f"{_shape(thing[0])} {thing.dtype}" if drawers else "empty"
        unit = f" [{thing.unit}]" if thing.unit else ""
        return f'"{thing.name}"{unit}, ' + (of if drawers < 2 else f"{drawers} drawers, the first {of}")
    if isinstance(thing, core.Drawer):
        return f"{_shape(thing)} {thing.dtype}" + (f" [{thing.unit}]" if thing.unit else "")
    if isinstance(thing, core.System):
        return f'"{thing.name}", {thing.kind}'
    if isinstance(thing, core.Object):
        return thing.class_name
    if isinstance(thing, core.Block):
        return f'"{thing.name}", {len(thing)} {thing.type}'
    if isinstance(thing, core.Numbering):
        return f"{thing.equation_count} equations at {thing.node_count} nodes"
    if isinstance(thing, (core.Sets, core.Fields, core.Surfaces)):
        names = list(itertools.islice(thing, 9))
        return f"{len(thing)}: " + ", ".join(names[:8]) + (", ..." if len(names) > 8 else "")
    return f"{len(thing)}" if hasattr(type(thing), "__len__") else getattr(thing, "path", "")


def _repr(self):
    try:
        words = describe(self)
    except Error as fault:
        words = fault.cause
    return f"<pdm_core.{type(self).__name__}: {words}>"


def _member(self, name):
    """Members of the schema class are attributes as well."""
    if name.startswith("_"):  # what Python asks everything for
        raise AttributeError(name)
    return self.object.get(name)


def _set_member(self, name, value):
    """What is no attribute of the class is a member of its schema class."""
    if hasattr(type(self), name):
        object.__setattr__(self, name, value)
    else:
        self.object.set(name, value)


def _filled(thing, members):
    for name, value in members.items():
        setattr(thing, name, value)
    return thing


def _append(self, of=None, /, **members):
    """Adds a new object at the end: of a class of a host's module, or of the array's own. One commit point, unless
    an update is open.
    """
    with self._update():
        return _filled(self._add(of), members)


def _create(self, name, of=None, /, **members):
    """Gives the object its child of that name. One commit point, unless an update is open."""
    with self._update():
        return _filled(self._add(name, of), members)


def _get(self, name, default=None):
    """The entry of that name, or the default."""
    return self[name] if name in self else default


def _values(self):
    """The entries in the order of their names."""
    return [self[name] for name in self]


def _items(self):
    """Pairs of a name and its entry, in the order of the names."""
    return [(name, self[name]) for name in self]


def _index(self):
    """The users' labels of the nodes as an index of pandas.

    >>> mesh.node_index().tolist()
    [1, 2, 3, 4]
    """
    import pandas

    return pandas.Index(self.node_labels, name="node")


def _element_index(self):
    """The users' labels of the elements as an index of pandas."""
    import pandas

    return pandas.Index(self.element_labels, name="element")


def _pattern(self, mesh):
    """Which places of a matrix on the mesh are not zero, as scipy has it; rows are the solver's places.

    >>> numbering = mesh.systems["modal analysis"].numbering()
    >>> numbering.pattern(mesh).shape
    (7, 7)
    """
    import numpy
    import scipy.sparse

    begin, columns = self._pattern(mesh)
    size = len(begin) - 1
    return scipy.sparse.csr_array((numpy.ones(len(columns), bool), columns, begin), shape=(size, size))


def _points(mesh):
    """Coordinates with three axes, as VTK has them."""
    import numpy

    given = mesh.node_fields["coordinates"][:].reshape(mesh.node_count, -1)
    points = numpy.zeros((len(given), 3))
    points[:, : given.shape[1]] = given
    return points


def _unknown(mesh, block):
    return Error(mesh._file, mesh.path, "hand a mesh over", f'elements of type "{block.type}" are not known there')


def _cells(mesh):
    """VTK's number and [elements][nodes] of each block, nodes in VTK's order."""
    for block in mesh.blocks:
        number, order = block._vtk()
        if number is None:
            raise _unknown(mesh, block)
        yield block, number, block.connectivity[:].reshape(len(block), -1)[:, order]


def _drawers(field, step):
    """The drawers of one step: one for each set that the field is over."""
    if field.steps == len(field):
        return [field[0] if len(field) == 1 else field.step(step)]
    each, at = len(field) // field.steps, step if step >= 0 else step + field.steps
    if field.steps > 1 and not 0 <= at < field.steps:
        raise IndexMissing("", field.path, "find a step", f"there is no step {step}, there are {field.steps}")
    first = at * each if field.steps > 1 else 0
    return [field[first + i] for i in range(each)]


def _everywhere(drawers, count):
    """A row for each item: NaN where no drawer has numbers of it."""
    import numpy

    if len(drawers) == 1 and drawers[0].set.is_full:
        return drawers[0][:]
    items, widths = [drawer.set.items for drawer in drawers], [drawer.components for drawer in drawers]
    whole = len(numpy.unique(numpy.concatenate(items))) == count and len(set(widths)) == 1
    kind = numpy.result_type(*(drawer.dtype for drawer in drawers), *([] if whole else [numpy.float32]))
    values = numpy.full((count, max(widths)), 0 if whole else numpy.nan, kind)
    for drawer, rows, width in zip(drawers, items, widths):
        values[rows, :width] = drawer[:].reshape(-1, width)
    return values[:, 0] if max(widths) == 1 else values


def _results(fields, step, count):
    """The values of the fields, those with steps at one of them."""
    for name, field in fields.items():
        if name not in ("coordinates", "connectivity", "label") and len(field):
            yield name, _everywhere(_drawers(field, step), count)


def _to_meshio(self, step=-1):
    """The mesh as meshio has it, with its sets, and results of one step: NaN where a field has no value."""
    import meshio
    import numpy

    blocks = list(_cells(self))
    cells = []
    for block, number, nodes in blocks:
        if number == _WEDGE:  # meshio has VTK's order but here: as we, it begins with the triangle that looks inwards
            nodes = nodes[:, [3, 4, 5, 0, 1, 2]]
        try:
            cells.append(meshio.CellBlock(_MESHIO[number], nodes))
        except KeyError:
            raise _unknown(self, block) from None
    items = [block.elements.items for block, _, _ in blocks]
    sets = {
        name: [numpy.flatnonzero(numpy.isin(block, of)) for block in items] for name, of in self.element_sets.items()}
    results = _results(self.element_fields, step, self.element_count)
    of_elements = {name: [values[block] for block in items] for name, values in results}
    return meshio.Mesh(
        _points(self), cells, point_data=dict(_results(self.node_fields, step, self.node_count)), cell_data=of_elements,
        point_sets=dict(self.node_sets.items()), cell_sets=sets)


def _to_pyvista(self, step=-1):
    """The mesh as an unstructured grid of pyvista, with results of one step: NaN where a field has no value."""
    import numpy
    import pyvista

    cells, types, items = [], [], []
    for block, number, nodes in _cells(self):
        width = numpy.full((len(nodes), 1), nodes.shape[1])
        cells.append(numpy.hstack([width, nodes]).ravel())
        types.append(numpy.full(len(nodes), number, numpy.uint8))
        items.append(block.elements.items)
    none = numpy.zeros(0, int)
    grid = pyvista.UnstructuredGrid(
        numpy.concatenate([none, *cells]), numpy.concatenate([none.astype(numpy.uint8), *types]), _points(self))
    for name, values in _results(self.node_fields, step, self.node_count):
        grid.point_data[name] = values
    for name, values in _results(self.element_fields, step, self.element_count):
        grid.cell_data[name] = values[numpy.concatenate([none, *items])]
    return grid


def add():
    """Gives the classes what is written here."""
    classes = [value for value in vars(core).values() if isinstance(value, type)]
    for one in classes:
        one.__module__ = "pdm_core"
        one.__repr__ = _repr
        one._repr_html_ = _html.page
    for one in (core.Sets, core.Fields, core.Surfaces):
        one.get, one.values, one.items = _get, _values, _items
        one._ipython_key_completions_ = lambda self: list(self)
    for one in (core.Mesh, core.Model, core.System, core.Event):
        one.__getattr__, one.__setattr__ = _member, _set_member
    core.Array.append, core.Object.create = _append, _create
    core.Mesh.node_index, core.Mesh.element_index = _index, _element_index
    core.Mesh.to_meshio, core.Mesh.to_pyvista = _to_meshio, _to_pyvista
    core.Numbering.pattern = _pattern
