"""A plate in two materials that warms up, written and looked at by pdm_core. The same as first.cpp."""

import sys

import numpy as np
import pdm_core as pdm

ALONG, ACROSS = 24, 8  # elements along x and y


# [mesh]
def mesh_of(sim):
    mesh = sim.create_mesh(
        nodes=(ALONG + 1) * (ACROSS + 1), elements=ALONG * ACROSS)
    i, j = np.arange(ALONG + 1), np.arange(ACROSS + 1)
    x, y = np.meshgrid(3 * i / ALONG, j / ACROSS)
    xy = np.column_stack([x.ravel(), y.ravel()])
    mesh.node_fields.create(
        "coordinates", xy, unit="m", long_name="x, y")
    return mesh
# [mesh]


# [blocks]
def add_blocks(mesh):
    node = np.arange(mesh.node_count).reshape(ACROSS + 1, ALONG + 1)
    corners = [node[:-1, :-1], node[:-1, 1:],
               node[1:, 1:], node[1:, :-1]]
    quads = np.stack(corners, axis=-1).reshape(-1, 4)
    half = len(quads) // 2
    mesh.create_block("steel", "QUAD4", quads[:half])
    mesh.create_block("copper", "QUAD4", quads[half:])
# [blocks]


# [sets]
def add_sets(mesh):
    mesh.node_sets["left"] = np.arange(ACROSS + 1) * (ALONG + 1)
    elements = np.arange(ALONG)
    sides = np.zeros_like(elements)
    mesh.surfaces.create("bottom", elements, sides)
# [sets]


# [steps]
def add_steps(sim, mesh):
    x = mesh.node_fields["coordinates"][:, 0]
    heat = mesh.node_fields.create("heat", unit="degC")
    mesh.times = []
    for step in range(4):
        with sim.update():  # time and values, or nothing
            mesh.append_time(10 * step)
            far = 0.25 + 0.5 * step
            heat.append(20 + 80 * np.exp(-x / far))
# [steps]


# [reads]
def look(file):
    with pdm.open(file) as sim:
        mesh = sim.model.mesh
        nodes, elements = mesh.node_count, mesh.element_count
        print(f"{nodes} nodes, {elements} elements")
        for block in mesh.blocks:
            print(f"block {block.name}: {len(block)} {block.type}")
        left = mesh.node_sets["left"]  # an array of nodes
        bottom = mesh.surfaces["bottom"]
        print(f"{len(left)} nodes at the left")
        print(f"{len(bottom)} sides at the bottom")
        heat = mesh.node_fields["heat"]
        for time in mesh.times:
            last = heat.at(time)[-1]
            print(f"{time:4.0f} s: {last:.4f} {heat.unit}")
# [reads]


# [main]
try:
    # refused if it is there; replace=True gives it up
    with pdm.create("python.pdm") as sim:
        with sim.update():  # all of the model is one change
            mesh = mesh_of(sim)
            add_blocks(mesh)
            add_sets(mesh)
        add_steps(sim, mesh)
    look("python.pdm")
except pdm.Error as error:
    sys.exit(str(error))
# [main]
