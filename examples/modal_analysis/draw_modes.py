#!/usr/bin/env python3
"""Draws the first mode shapes of a simulation file that modal_analysis has been through.

Usage: draw_modes.py FILE PICTURE.png [SYSTEM]

Rigid-body modes are left out. Colour is the displacement; grey lines are the body at rest."""

import sys

import h5py
import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
from mpl_toolkits.mplot3d.art3d import Line3DCollection, Poly3DCollection

import pdm_file

MODES = 6
FACES = {  # of the corners, in the order of Exodus II
    "HEX": [[0, 1, 5, 4], [1, 2, 6, 5], [2, 3, 7, 6], [3, 0, 4, 7], [0, 3, 2, 1], [4, 5, 6, 7]],
    "TET": [[0, 1, 3], [1, 2, 3], [0, 3, 2], [0, 2, 1]],
}


def surface(blocks):
    """The faces that only one element has, [faces, corners], by number of corners."""
    found = []
    for name, nodes in blocks:
        if name[:3] in FACES and len(nodes):
            faces = np.concatenate([nodes[:, face] for face in FACES[name[:3]]])
            _, first, count = np.unique(np.sort(faces, 1), axis=0, return_index=True, return_counts=True)
            found.append(faces[first[count == 1]])
    # Blocks of one kind of element may share faces: those go as well.
    for corners in {faces.shape[1] for faces in found}:
        faces = np.concatenate([f for f in found if f.shape[1] == corners])
        _, first, count = np.unique(np.sort(faces, 1), axis=0, return_index=True, return_counts=True)
        yield faces[first[count == 1]]


def outline(points, faces):
    """Edges where the surface turns sharply or ends, as [edges, 2] of nodes."""
    normals = np.cross(points[faces[:, 1]] - points[faces[:, 0]], points[faces[:, 2]] - points[faces[:, 0]])
    normals /= np.maximum(np.linalg.norm(normals, axis=1, keepdims=True), 1e-300)
    beside = {}
    for face, normal in zip(faces, normals):
        for a, b in zip(face, np.roll(face, -1)):
            beside.setdefault((min(a, b), max(a, b)), []).append(normal)
    return np.array([edge for edge, n in beside.items() if len(n) != 2 or abs(n[0] @ n[1]) < 0.9]).reshape(-1, 2)


def draw(axes, points, surfaces, shape, title):
    size = np.ptp(points, axis=0)
    moved = points + shape * (0.12 * size.max() / np.abs(shape).max())
    amount = np.linalg.norm(shape, axis=1)
    amount /= amount.max()
    axes.computed_zorder = False  # the body always before the lines
    light = np.array([-0.3, -0.6, 0.75])
    for faces in surfaces:
        axes.add_collection3d(Line3DCollection(points[outline(points, faces)], colors="0.6", linewidths=0.5, zorder=1))
        corners = moved[faces]
        normals = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
        normals /= np.maximum(np.linalg.norm(normals, axis=1, keepdims=True), 1e-300)
        colours = plt.get_cmap("viridis")(amount[faces].mean(1))
        colours[:, :3] *= (0.72 + 0.28 * np.abs(normals @ light))[:, None]
        axes.add_collection3d(
            Poly3DCollection(corners, facecolors=colours, edgecolors=(0, 0, 0, 0.25), linewidths=0.2, zorder=2)
        )
    half = 0.5 * size + 0.08 * size.max()  # the same for all modes, so that the body keeps its size
    low, high = points.min(0) + 0.5 * size - half, points.min(0) + 0.5 * size + half
    axes.set(xlim=(low[0], high[0]), ylim=(low[1], high[1]), zlim=(low[2], high[2]))
    axes.set_proj_type("ortho")
    axes.set_box_aspect(high - low, zoom=1.08)
    axes.view_init(elev=22, azim=-55)
    axes.set_axis_off()
    axes.set_title(title, fontsize=10, y=0.9)


def main(path, picture, wanted=None):
    with h5py.File(path, "r") as file:
        points, blocks = pdm_file.mesh(file)
        systems = [(name, fields) for name, fields in pdm_file.modal_systems(file) if wanted in (None, name)]
        if not systems:
            sys.exit(f"{path}: expected a modal system{f' {wanted!r}' if wanted else ''}, found none")
        name, fields = systems[0]
        frequencies, shapes = pdm_file.shapes(file, fields)
    bending = [i for i, f in enumerate(frequencies) if f > 1e-4 * frequencies[-1]][:MODES]
    surfaces = list(surface(blocks))
    figure = plt.figure(figsize=(10, 5), layout="constrained")
    for place, i in enumerate(bending):
        axes = figure.add_subplot(2, 3, place + 1, projection="3d")
        draw(axes, points, surfaces, shapes[i], f"mode {i + 1}: {frequencies[i]:.4g} Hz")
    figure.savefig(picture, dpi=100)


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(*sys.argv[1:])
