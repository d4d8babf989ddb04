"""Reads format 4.1 of Gmsh, binary or text, by its description alone. Asserts as it goes."""

import struct
import types

import numpy as np

NODES = {1: 2, 2: 3, 3: 4, 4: 4, 5: 8, 6: 6, 7: 5, 8: 3, 9: 6, 10: 9, 11: 10, 12: 27, 15: 1, 16: 8, 17: 20, 18: 15,
         19: 13}


class _File:
    def __init__(self, data):
        self.data, self.at, self.ascii = data, 0, True

    def line(self):
        end = self.data.index(b"\n", self.at)
        line, self.at = self.data[self.at : end], end + 1
        return line.decode()

    def take(self, kinds):
        """Numbers: i an int, Q a size, d a double."""
        if not self.ascii:
            self.at += struct.calcsize("<" + kinds)
            return struct.unpack("<" + kinds, self.data[self.at - struct.calcsize("<" + kinds) : self.at])
        found = []
        for kind in kinds:
            while self.data[self.at : self.at + 1].isspace():
                self.at += 1
            end = self.at
            while not self.data[end : end + 1].isspace():
                end += 1
            found.append((float if kind == "d" else int)(self.data[self.at : end]))
            self.at = end
        return tuple(found)

    def end(self, name):
        line = self.line()
        while not line.strip():
            line = self.line()
        assert line == "$End" + name, (line, name)


def read(path):
    """points {tag: xyz}, groups {(dimension, name): number}, elements {(dimension, name): {type: {tag: nodes}}},
    node_data and element_data {name: {(step, time): {tag: values}}}."""
    file = _File(path.read_bytes())
    mesh = types.SimpleNamespace(points={}, groups={}, elements={}, node_data={}, element_data={})
    names, physical = {}, {}
    while file.at < len(file.data):
        section = file.line()[1:]
        if section == "MeshFormat":
            version, binary, size = file.line().split()
            assert (version, size) == ("4.1", "8")
            file.ascii = binary == "0"
            assert file.ascii or file.take("i") == (1,)
        elif section == "PhysicalNames":
            for _ in range(int(file.line())):
                dimension, number, name = file.line().split(" ", 2)
                names[int(dimension), int(number)] = name.strip('"')
                mesh.groups[int(dimension), name.strip('"')] = int(number)
        elif section == "Entities":
            for dimension, count in enumerate(file.take("QQQQ")):
                for _ in range(count):
                    (tag,) = file.take("i")
                    file.take("ddd" if dimension == 0 else "dddddd")
                    groups = [file.take("i")[0] for _ in range(file.take("Q")[0])]
                    assert len(groups) == 1 and (dimension, tag) not in physical
                    assert dimension == 0 or file.take("Q") == (0,)
                    physical[dimension, tag] = names[dimension, groups[0]]
        elif section == "Nodes":
            blocks, total, least, greatest = file.take("QQQQ")
            for _ in range(blocks):
                *_, count = file.take("iiiQ")
                tags = [file.take("Q")[0] for _ in range(count)]
                for tag in tags:
                    mesh.points[tag] = np.array(file.take("ddd"))
            assert len(mesh.points) == total and [least, greatest] == [min(mesh.points), max(mesh.points)]
        elif section == "Elements":
            blocks, total, least, greatest = file.take("QQQQ")
            tags = []
            for _ in range(blocks):
                dimension, entity, kind, count = file.take("iiiQ")
                group = mesh.elements.setdefault((dimension, physical[dimension, entity]), {}).setdefault(kind, {})
                for _ in range(count):
                    tag, *nodes = file.take("Q" * (1 + NODES[kind]))
                    group[tag] = nodes
                    tags.append(tag)
            assert len(set(tags)) == total and least <= min(tags) and greatest >= max(tags)
        else:
            texts = [file.line() for _ in range(int(file.line()))]
            (time,) = [float(file.line()) for _ in range(int(file.line()))]
            step, components, rows = [int(file.line()) for _ in range(int(file.line()))]
            data = {"NodeData": mesh.node_data, "ElementData": mesh.element_data}[section]
            at = data.setdefault(texts[0].strip('"'), {}).setdefault((step, time), {})
            for _ in range(rows):
                tag, *values = file.take("i" + "d" * components)
                at[tag] = values
            assert len(at) == rows
        file.end(section)
    return mesh
