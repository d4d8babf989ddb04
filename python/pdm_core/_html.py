"""Objects as notebooks show them: trees that open and close."""

import html

from . import _pdm_core as core
from ._error import Error

_MOST = 50  # entries of a list
_MAPS = (
    "node_sets", "element_sets", "region_sets", "surfaces", "node_fields", "element_fields", "surface_fields",
    "frame_fields", "mesh_fields")


_LIST = '<ul style="list-style:none;margin:0;padding-left:1.2em">'
_LEAF = '<li style="padding-left:1.1em">'  # as far to the right as the words of a branch


def _leaf(name, words):
    return f"{_LEAF}{html.escape(name)} <code>{html.escape(words)}</code></li>"


def _details(title, entries, opened):
    head = f"<details{' open' if opened else ''}><summary>{title}</summary>"
    return head + _LIST + "".join(entries) + "</ul></details>"


def _branch(title, entries, opened=False):
    return f"<li>{_details(html.escape(title), entries, opened)}</li>" if entries else ""


def _most(entries, words):
    entries = list(entries)
    shown = [words(entry) for entry in entries[:_MOST]]
    return shown + ([f"{_LEAF}and {len(entries) - _MOST} more</li>"] if len(entries) > _MOST else [])


def _named(of):
    def words(key):
        entry = of[key]
        if isinstance(of, core.Fields):
            return _leaf(key, _words(entry).removeprefix(f'"{key}"').lstrip(" ,"))
        items = "sides" if isinstance(of, core.Surfaces) else "items"
        return _leaf(key, f"{len(entry)} {items if len(entry) != 1 else items[:-1]}")

    return _most(of, words)


def _map(name, of):
    return _branch(f"{name} ({len(of)})", _named(of))


def _words(thing):
    from ._extras import describe

    return describe(thing)


def _system(system):
    return _branch(f"{system.name or 'a system'} ({system.kind})", [_map("fields", system.fields)]) or _leaf(
        system.name, system.kind)


def _mesh(mesh):
    maps = [_map(name, getattr(mesh, name)) for name in _MAPS]
    blocks = _most(mesh.blocks, lambda block: _leaf(str(block.number), _words(block)))
    systems = _most(range(len(mesh.systems)), lambda at: _system(mesh.systems[at]))
    return [
        _branch(f"blocks ({len(mesh.blocks)})", blocks), *maps, _branch(f"systems ({len(mesh.systems)})", systems)]


def _field(field):
    times = field.times if len(field) and field.steps == len(field) else ()

    def words(at):
        return _leaf(f"{at}, time {times[at]:g}" if at < len(times) else str(at), _words(field[at]))

    return _most(range(len(field)), words)


def _object(thing):
    def words(name):
        return _leaf(name, repr(thing.get(name)))

    return _most(thing.members, words)


def _entries(thing):
    if isinstance(thing, core.Sim):
        has_mesh = thing.has_model and thing.model.has_mesh
        return [_branch("mesh: " + _words(thing.model.mesh), _mesh(thing.model.mesh), True)] if has_mesh else []
    if isinstance(thing, core.Mesh):
        return _mesh(thing)
    if isinstance(thing, core.Object):
        return _object(thing)
    if isinstance(thing, (core.Sets, core.Fields, core.Surfaces)):
        return _named(thing)
    if isinstance(thing, core.Field):
        return _field(thing)
    if isinstance(thing, (core.Model, core.System, core.Event)):
        return _object(thing.object)
    return []


def page(self):
    """The object as a tree of HTML."""
    try:
        title = f"<strong>{type(self).__name__}</strong> {html.escape(_words(self))}"
        entries = _entries(self)
        text = _details(title, entries, True) if entries else f"<div>{title}</div>"
    except Error as fault:
        text = f"<div>{html.escape(str(fault))}</div>"
    return text.encode("utf-8", "replace").decode()  # names may have any bytes, notebooks have none but UTF-8
