"""Element matrices of eight-node hexahedra that bend well: nine modes of their own are condensed out."""

import itertools

import numpy as np

CORNERS = np.array([[-1, -1, -1], [1, -1, -1], [1, 1, -1], [-1, 1, -1], [-1, -1, 1], [1, -1, 1], [1, 1, 1], [-1, 1, 1]])


def gradients(at):
    """[3][8] derivatives of the shape functions."""
    f = 1 + CORNERS * at
    return np.stack([CORNERS[:, k] * np.delete(f, k, axis=1).prod(axis=1) / 8 for k in range(3)])


def strains(gradient):
    """[n][6][3 k] strain of displacements of k functions with these gradients [n][3][k]."""
    out = np.zeros((len(gradient), 6, gradient.shape[2], 3))
    for row, (i, j) in enumerate([(0, 0), (1, 1), (2, 2), (0, 1), (1, 2), (2, 0)]):
        out[:, row, :, i] = gradient[:, j]
        out[:, row, :, j] = gradient[:, i]
    return out.reshape(len(gradient), 6, -1)


def matrices(points, young, poisson, density):
    """Stiffness and mass [n][24][24] of elements with corners [n][8][3]."""
    shear = young / (2 + 2 * poisson)
    elasticity = np.diag([2 * shear] * 3 + [shear] * 3)
    elasticity[:3, :3] += 2 * shear * poisson / (1 - 2 * poisson)
    centre = gradients(np.zeros(3)) @ points
    stiffness, mass = np.zeros((len(points), 33, 33)), np.zeros((len(points), 8, 8))
    for at in itertools.product([-1 / np.sqrt(3), 1 / np.sqrt(3)], repeat=3):
        jacobian = gradients(at) @ points
        volume = np.linalg.det(jacobian)[:, None, None]
        bubbles = np.linalg.inv(centre) @ np.diag(-2 * np.array(at)) * np.linalg.det(centre)[:, None, None] / volume
        strain = np.concatenate([strains(np.linalg.solve(jacobian, gradients(at)[None])), strains(bubbles)], axis=2)
        stiffness += volume * (strain.transpose(0, 2, 1) @ elasticity @ strain)
        values = (1 + CORNERS * at).prod(axis=1) / 8
        mass += density * volume * np.outer(values, values)
    inner = np.linalg.solve(stiffness[:, 24:, 24:], stiffness[:, 24:, :24])
    return stiffness[:, :24, :24] - stiffness[:, :24, 24:] @ inner, np.kron(mass, np.eye(3))
