"""The small file that the tests of the package work on."""

import numpy as np
import pdm_core as pdm

XY = np.array([[0, 0], [1, 0], [1, 1], [0, 1]], float)
TRIANGLES = np.array([[0, 1, 2], [0, 2, 3]], np.int32)
HEAT = [np.arange(4.0), np.arange(10.0, 14)]


def make(path):
    """Two triangles with sets, results at two times, and a modal analysis."""
    with pdm.create(path, replace=True) as sim, sim.update():
        mesh = sim.create_mesh(nodes=4, elements=2)
        mesh.node_fields.create("coordinates", XY, unit="m", long_name="x, y")
        mesh.node_sets["inlet"] = [0, 1]
        mesh.node_sets.create("outlet", np.array([2, 3], np.uint8))
        mesh.create_block("plate", "TRI3", TRIANGLES)
        mesh.surfaces.create("bottom", [0], [0])
        mesh.times = [0, 0.5]
        temperature = mesh.node_fields.create("temperature", unit="K")
        for step in HEAT:
            temperature.append(step)
        modal = mesh.systems.create("modal analysis", "modal")
        modal.activity = [3, 1, 3, 3]
        modal.frequencies = [1.5, 2.5]
        modal.set_order(range(6, -1, -1))
        modal.object.propertyEvaluation = 0.25
    return path
