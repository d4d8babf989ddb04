"""Objects as notebooks show them: trees that open and close."""

import html

from . import _pdm_core as core
from ._error import Error

_MOST = 50  # entries of a list
_MAPS = (
    "node_sets", "element_sets", "region_sets", "surfaces", "node_fields", "element_fields", "surface_fields",
    "frame_fields", "mesh_fields")


def _leaf(name, words):
    return f"<li>{html.escape(name)}: <code>{html.escape(words)}</code></li>"


def _branch(title, entries, opened=False):
    if not entries:
        return ""
    head = f"<li><details{' open' if opened else ''}><summary>{html.escape(title)}</summary>"
    return head + "<ul>" + "".join(entries) + "</ul></details></li>"


def _most(entries, words):
    entries = list(entries)
    shown = [words(entry) for entry in entries[:_MOST]]
    return shown + ([f"<li>and {len(entries) - _MOST} more</li>"] if len(entries) > _MOST else [])


def _map(name, of):
    def words(key):
        entry = of[key]
        return _leaf(key, f"{len(entry)} items" if isinstance(of, (core.Sets, core.Surfaces)) else _words(entry))

    return _branch(f"{name} ({len(of)})", _most(of, words))


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
        return [_map("entries", thing)]
    if isinstance(thing, (core.Model, core.System, core.Event)):
        return _object(thing.object)
    return []


def page(self):
    """The object as a tree of HTML."""
    try:
        tree = _branch(repr(self)[1:-1], _entries(self), True)
        return "<ul>" + (tree or f"<li>{html.escape(repr(self))}</li>") + "</ul>"
    except Error as fault:
        return f"<p>{html.escape(str(fault))}</p>"
