"""The lowest modes of a tuning fork that is held at its handle."""

import hexahedra
import numpy as np
import pdm_core as pdm
from scipy.sparse import coo_array
from scipy.sparse.csgraph import reverse_cuthill_mckee
from scipy.sparse.linalg import eigsh

MODES = 6


# [activity]
def activity_of(mesh):
    masks = np.full(mesh.node_count, 0b111)  # labels 1, 2 and 3: along x, y and z
    masks[mesh.node_sets["handle"]] = 0      # held: no equation
    return masks
# [activity]


# [order]
def bandwidth(matrix):
    rows, columns = matrix.nonzero()
    return abs(rows - columns).max()


def put_in_order(system, mesh):
    numbering = system.numbering()
    pattern = numbering.pattern(mesh)  # a sparse matrix of scipy
    system.set_order(reverse_cuthill_mckee(pattern, symmetric_mode=True))
    ordered = system.numbering()
    print(f"{numbering.equation_count} equations, {pattern.nnz} entries")
    print(f"bandwidth {bandwidth(pattern)} as the nodes are numbered")
    print(f"bandwidth {bandwidth(ordered.pattern(mesh))} in the solver's order")
    return ordered
# [order]


# [assembles]
def assemble(mesh, numbering):
    block = mesh.blocks[0]
    nodes = block.connectivity[:]                       # [elements][8]
    points = mesh.node_fields["coordinates"][:][nodes]  # [elements][8][3]
    equations = numbering.equations[nodes].reshape(len(nodes), 24)  # -1: none
    places = np.where(equations < 0, -1, numbering.places[equations])
    rows, columns = np.broadcast_arrays(places[:, :, None], places[:, None, :])
    free = (rows >= 0) & (columns >= 0)
    both = hexahedra.matrices(points, young=210e9, poisson=0.3, density=7850)
    return [coo_array((one[free], (rows[free], columns[free]))).tocsc() for one in both]
# [assembles]


# [stores]
def store(system, mesh, numbering, eigenvalues, vectors):
    system.frequencies = np.sqrt(eigenvalues) / (2 * np.pi)
    nodes = mesh.node_fields["coordinates"].set
    shapes = system.fields.create("modeShapes")
    at = numbering.order  # the equation at each of the solver's places
    for vector in vectors.T:
        shape = np.zeros((mesh.node_count, 3))
        shape[numbering.nodes[at], numbering.equation_labels[at] - 1] = vector
        shapes.append(shape, over=nodes)
# [stores]


# [main]
with pdm.open("fork.pdm", "r+") as sim, sim.update():
    mesh = sim.model.mesh
    system = mesh.systems.create("held", "modal")
    system.activity = activity_of(mesh)
    system.node_labels = mesh.node_labels
    numbering = put_in_order(system, mesh)
    stiffness, mass = assemble(mesh, numbering)
    begin = np.ones(len(numbering.order))  # the same result each time
    eigenvalues, vectors = eigsh(stiffness, MODES, mass, sigma=0, v0=begin)
    store(system, mesh, numbering, eigenvalues, vectors)
    print("Hz:", *system.frequencies.round(1))
# [main]
