"""Boxes of solid elements as Exodus II files."""

import itertools
import pathlib
import sys

import numpy as np

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tools"))
import exo_make

HEX_EDGES = [(0, 1), (1, 2), (2, 3), (3, 0), (0, 4), (1, 5), (2, 6), (3, 7), (4, 5), (5, 6), (6, 7), (7, 4)]
TET_EDGES = [(0, 1), (1, 2), (0, 2), (0, 3), (1, 3), (2, 3)]


def bricks(counts, sizes):
    """Points and hexahedra of a box of so many elements along each axis."""
    ticks = [np.linspace(0, size, n + 1) for n, size in zip(counts, sizes)]
    points = np.array(list(itertools.product(*ticks)))
    number = np.arange(len(points)).reshape([n + 1 for n in counts])
    corners = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)]
    part = lambda corner: number[tuple(slice(c, c + n) for c, n in zip(corner, counts))].ravel()
    return points, np.stack([part(c) for c in corners], 1)


def tets(hexes):
    """Six tetrahedra round the diagonal of each hexahedron."""
    ring = [1, 2, 3, 7, 4, 5, 1]
    return np.concatenate([hexes[:, [0, a, b, 6]] for a, b in zip(ring, ring[1:])])


def with_midsides(points, elements, edges):
    ends = np.sort(elements[:, edges], 2)
    unique, place = np.unique(ends.reshape(-1, 2), axis=0, return_inverse=True)
    middle = len(points) + place.reshape(len(elements), -1)
    return np.concatenate([points, points[unique].mean(1)]), np.concatenate([elements, middle], 1)


def shuffled(points, elements):
    order = np.random.default_rng(5).permutation(len(points))
    return points[order], np.argsort(order)[elements]


def write(path, points, *blocks, **more):
    """blocks: (type, elements, 0-based)"""
    exo_make.write(path, nodes=points, **more, blocks=[
        {"id": i, "type": kind, "conn": elements + 1} for i, (kind, elements) in enumerate(blocks, 1)])
    return path
