"""Writes Gmsh meshes of one description in every variant of the format.

A mesh is a dict: nodes [(label, (x, y, z))], elements [(label, type, entity, [node labels in Gmsh's order])], entities
{(dimension, tag): [physical groups]}, names {(dimension, physical group): name}, data [(kind, name, time, step,
{label: values})], more: text of further sections."""

import struct

VARIANTS = [("2.2", None, 8), ("2.2", "<", 8), ("2.2", ">", 8), ("4.1", None, 8), ("4.1", "<", 8), ("4.1", ">", 8),
            ("4.1", "<", 4), ("4.1", ">", 4)]
DIMENSION = {15: 0, 1: 1, 8: 1, 2: 2, 3: 2, 9: 2, 10: 2, 16: 2}  # others are 3
REPEATED = 5000  # added to the label where version 2.2 has an element once more, for another group


class Writer:
    def __init__(self, order, wide):
        self.order, self.size, self.out = order, "Q" if wide == 8 else "I", bytearray()

    def text(self, text):
        self.out += text.encode()

    def put(self, form, *numbers):
        """i an int, s a size, d a double; a line in text files."""
        if self.order:
            self.out += struct.pack(self.order + form.replace("s", self.size), *numbers)
        else:
            self.text(" ".join(repr(n) for n in numbers) + "\n")

    def section(self, name, body):
        self.text(f"${name}\n")
        body()
        self.text(f"\n$End{name}\n" if self.order else f"$End{name}\n")


def dimension(kind):
    return DIMENSION.get(kind, 3)


def nodes_2(w, mesh):
    w.text(f"{len(mesh['nodes'])}\n")
    for label, xyz in mesh["nodes"]:
        w.put("iddd", label, *xyz)


def elements_2(w, mesh):
    rows = []
    for label, kind, tag, nodes in mesh["elements"]:
        groups = mesh["entities"].get((dimension(kind), tag)) or [0]
        rows += [(label + REPEATED * i, kind, group, tag, nodes) for i, group in enumerate(groups)]
    w.text(f"{len(rows)}\n")
    for label, kind, group, tag, nodes in rows:
        if w.order:
            w.put("iii", kind, 1, 2)
            w.put(f"iii{len(nodes)}i", label, group, tag, *nodes)
        else:
            w.put("", label, kind, 2, group, tag, *nodes)


def entities_4(w, mesh):
    by = [[(tag, groups) for (d, tag), groups in mesh["entities"].items() if d == k] for k in range(4)]
    w.put("ssss", *map(len, by))
    for k, entities in enumerate(by):
        for tag, groups in entities:
            box = [0.0] * (6 if k else 3)
            w.put(f"i{len(box)}ds{len(groups)}i" + ("sii" if k else ""), tag, *box, len(groups), *groups,
                  *([2, 1, -2] if k else []))


def nodes_4(w, mesh):
    nodes, half = mesh["nodes"], len(mesh["nodes"]) // 2
    labels = [label for label, _ in nodes]
    w.put("ssss", 2, len(nodes), min(labels), max(labels))
    for k, part in ((3, nodes[:half]), (1, nodes[half:])):  # the second with a parameter behind each node
        parametric = int(k == 1 and mesh.get("parametric", False))
        w.put("iiis", k, 1, parametric, len(part))
        for label, _ in part:
            w.put("s", label)
        for _, xyz in part:
            w.put("ddd" + "d" * parametric, *xyz, *[0.25] * parametric)


def elements_4(w, mesh):
    labels = [e[0] for e in mesh["elements"]]
    w.put("ssss", len(labels), len(labels), min(labels, default=0), max(labels, default=0))
    for label, kind, tag, nodes in mesh["elements"]:
        w.put("iiis", dimension(kind), tag, kind, 1)
        w.put("s" * (1 + len(nodes)), label, *nodes)


def data(w, kind, name, time, step, rows):
    width = len(next(iter(rows.values())))
    w.text(f'1\n"{name}"\n1\n{time!r}\n3\n{step}\n{width}\n{len(rows)}\n')
    for label, values in rows.items():
        if kind == "ElementNodeData":
            w.put(f"ii{width}d", label, 1, *values)
        else:
            w.put(f"i{width}d", label, *values)


def write(path, mesh, version="4.1", order=None, wide=8):
    w = Writer(order, wide)
    w.text(f"$MeshFormat\n{version} {int(bool(order))} {wide}\n")
    if order:
        w.put("i", 1)
        w.text("\n")
    w.text("$EndMeshFormat\n")
    if names := mesh.get("names"):
        w.text(f"$PhysicalNames\n{len(names)}\n")
        for (k, tag), name in names.items():
            w.text(f'{k} {tag} "{name}"\n')
        w.text("$EndPhysicalNames\n")
    if version == "4.1":
        w.section("Entities", lambda: entities_4(w, mesh))
    w.section("Nodes", lambda: (nodes_2 if version == "2.2" else nodes_4)(w, mesh))
    w.section("Elements", lambda: (elements_2 if version == "2.2" else elements_4)(w, mesh))
    w.text(mesh.get("more", ""))
    for kind, *rest in mesh.get("data", []):
        w.section(kind, lambda: data(w, kind, *rest))
    path.write_bytes(w.out)
    return path
