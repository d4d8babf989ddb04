"""A tuning fork of hexahedra, held at the end of its handle."""

import numpy as np
import pdm_core as pdm

ACROSS, HANDLE, BASE, PRONG, THICK = 7, 8, 2, 19, 2  # cells
STEPS = np.array([2.5e-3, 5e-3, 2.5e-3])             # m, along x, y and z
HEX8 = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0],
        [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]  # corners of a cell

solid = np.zeros((ACROSS, HANDLE + BASE + PRONG, THICK), bool)
solid[2:5, :HANDLE] = True
solid[:, HANDLE : HANDLE + BASE] = True
solid[[0, 1, 5, 6], HANDLE + BASE :] = True

corners = np.argwhere(solid)[:, None] + HEX8  # [elements][8][3]
order = corners[:, :, [2, 0, 1]].reshape(-1, 3)  # numbered along the length first
places, nodes = np.unique(order, axis=0, return_inverse=True)
points = places[:, [1, 2, 0]] * STEPS

with pdm.create("fork.pdm") as sim, sim.update():
    mesh = sim.create_mesh(nodes=len(points), elements=len(corners))
    mesh.node_fields.create("coordinates", points, unit="m", long_name="x, y, z")
    mesh.create_block("fork", "HEX8", nodes.reshape(-1, 8))
    mesh.node_fields.create("label", np.arange(1, len(points) + 1, dtype=np.int32))
    mesh.node_sets["handle"] = np.flatnonzero(points[:, 1] == 0)
