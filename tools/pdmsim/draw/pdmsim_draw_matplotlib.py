"""Draws views and matrices by Matplotlib."""

from pdmsim_draw_look import (BACKGROUND, BLOCKS, BODY, LINES, MANY_EDGES, MISSING, PICKED, Look, camera_of, deformed,
                              name_of, round_length, tell, title)

_HEX = [[0, 3, 2, 1], [4, 5, 6, 7], [0, 1, 5, 4], [1, 2, 6, 5], [2, 3, 7, 6], [3, 0, 4, 7]]
_TET = [[0, 1, 3], [1, 2, 3], [2, 0, 3], [0, 2, 1]]
_WEDGE = [[0, 1, 2], [3, 5, 4], [0, 3, 4, 1], [1, 4, 5, 2], [2, 5, 3, 0]]
_PYRAMID = [[0, 3, 2, 1], [0, 1, 4], [1, 2, 4], [2, 3, 4], [3, 0, 4]]
# The faces of VTK's solids by their corners, seen from outside.
SOLIDS = {10: _TET, 24: _TET, 12: _HEX, 25: _HEX, 29: _HEX, 13: _WEDGE, 26: _WEDGE, 14: _PYRAMID, 27: _PYRAMID}
SURFACES = {5: 3, 22: 3, 34: 3, 9: 4, 23: 4, 28: 4}  # corners
LINE_TYPES = (3, 21)
POINTS = (1, 2)


def faces_of(types, ids, offsets, np):
    """What is seen of a mesh from outside: lists of (corners [n, k], their cells)."""
    solids, flat = {3: [], 4: []}, []
    for kind in np.unique(types):
        cells = np.flatnonzero(types == kind)
        for face in SOLIDS.get(kind, ()):
            solids[len(face)].append((ids[offsets[cells][:, None] + face], cells))
        if kind in SURFACES:
            flat.append((ids[offsets[cells][:, None] + np.arange(SURFACES[kind])], cells))
        if kind == 7:
            flat += [(ids[offsets[c] : offsets[c + 1]][None], np.array([c])) for c in cells]
        if kind in LINE_TYPES:
            flat.append((ids[offsets[cells][:, None] + [0, 1]], cells))
    for parts in solids.values():
        if parts:
            corners, cells = (np.concatenate(p) for p in zip(*parts))
            _, first, count = np.unique(np.sort(corners, 1), axis=0, return_index=True, return_counts=True)
            flat.append((corners[first[count == 1]], cells[first[count == 1]]))
    return flat


def draw_matplotlib(job):
    import h5py
    import matplotlib
    import numpy as np

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    from matplotlib.collections import PolyCollection
    from matplotlib.colors import LinearSegmentedColormap, ListedColormap, Normalize, to_rgb
    from matplotlib.lines import Line2D

    with h5py.File(job["view"], "r") as file:
        root = file["VTKHDF"]
        points, ids, offsets, types = (root[n][()] for n in ("Points", "Connectivity", "Offsets", "Types"))
        values = root[job["array"]][()]
    look, rest = Look(job, values, np), None
    note = look.note
    if "mode" in job:
        rest = points
        points, factor = deformed(job, points, values, np)
        note = f"deformed {factor:.4g} times; grey: at rest"
    flat = np.ptp(points[:, 2]) == 0
    eye, axes = camera_of(points, np)
    colours = look.colours()
    scale = ListedColormap(colours) if look.by_name else LinearSegmentedColormap.from_list(
        "scale", colours)
    scale.set_bad(MISSING)
    norm = Normalize(look.low, look.high if look.high > look.low else look.low + 1)
    dots = look.is_set and look.on_points
    seen = faces_of(types, ids, offsets, np)
    faces = sum(len(corners) for corners, _ in seen)
    polygons, fill, depth, wires, bars = [], [], [], [], []
    for corners, cells in seen:
        at = points[corners]
        if corners.shape[1] > 2:
            normal = np.cross(at[:, 1] - at[:, 0], at[:, 2] - at[:, 0])
            length = np.linalg.norm(normal, axis=1)
            facing = (normal @ eye) / np.where(length > 0, length, 1)
        else:
            facing = np.ones(len(at))
        solid = np.isin(types[cells], list(SOLIDS))
        front = ~solid | (facing > 0)
        if rest is not None and faces <= MANY_EDGES:
            wires += list((rest[corners[front]] @ axes.T))
        with np.errstate(invalid="ignore"):
            shown = look.values[corners].mean(axis=1) if look.on_points else look.values[cells]
        colour = np.array([to_rgb(BODY)] * len(at)) if dots else scale(norm(np.ma.masked_invalid(shown)))[:, :3]
        light = 1 if flat else (0.65 + 0.35 * np.abs(facing))[:, None]
        polygons += list((at @ axes.T)[front])
        fill.append((colour * light)[front])
        bars += [corners.shape[1] == 2] * int(front.sum())
        depth.append((at @ eye).mean(axis=1)[front])
    spots = np.flatnonzero(np.isin(types, POINTS))  # cells that are points
    width, height = (int(n) / 100 for n in job["size"].split("x"))
    figure = plt.figure(figsize=(width, height), dpi=100)
    plot = figure.add_axes([0.02, 0.06, 0.8, 0.84])
    plot.set_aspect("equal")
    plot.axis("off")
    if polygons:
        order = np.argsort(np.concatenate(depth), kind="stable")
        fill = np.concatenate(fill)[order]
        bars = np.array(bars)[order]
        edges = np.where((bars | (faces > MANY_EDGES))[:, None], fill, to_rgb(LINES))
        if wires:
            plot.add_collection(PolyCollection(wires, facecolors="none", edgecolors=MISSING, linewidths=0.5))
        plot.add_collection(PolyCollection([polygons[i] for i in order], facecolors=fill, edgecolors=edges,
                                           linewidths=np.where(bars, 1.5, 0.4)))
    flattened = points @ axes.T
    if len(spots) and not dots:
        at = ids[offsets[spots]]
        plot.scatter(*flattened[at].T, c=look.values[at if look.on_points else spots], cmap=scale, norm=norm, s=25)
    if dots:
        plot.plot(*flattened[look.values > 0].T, "o", color=PICKED, markersize=5)
    around = np.concatenate([flattened] + ([rest @ axes.T] if rest is not None else []))
    low, high = around.min(axis=0), around.max(axis=0)
    extent = max(high - low) or 1
    plot.set_xlim(low[0] - 0.03 * extent, high[0] + 0.03 * extent)
    plot.set_ylim(low[1] - 0.12 * extent, high[1] + 0.03 * extent)
    length = round_length(extent / 4)
    plot.plot([low[0], low[0] + length], [low[1] - 0.08 * extent] * 2, color=LINES, linewidth=3)
    plot.text(low[0], low[1] - 0.065 * extent, f"{length:g} {job['lengthUnit']}".strip(), color=LINES)
    figure.text(0.02, 0.95, title(job), fontsize=13, color=LINES)
    figure.text(0.02, 0.92, note, fontsize=10, color=LINES)
    if look.by_name:
        figure.legend(handles=[Line2D([], [], marker="s", linestyle="", color=c, label=n[:24])
                               for c, n in look.legend()], title=look.heading(), loc="upper right", frameon=False)
    elif look.known:
        bar = figure.colorbar(matplotlib.cm.ScalarMappable(norm, scale), cax=figure.add_axes([0.86, 0.2, 0.025, 0.6]),
                              ticks=np.linspace(norm.vmin, norm.vmax, 6), format="%.4g")
        bar.ax.set_title(name_of(job), fontsize=11, pad=10)
    figure.savefig(job["out"])
    look.tell("matplotlib")


def draw_spy(job):
    import matplotlib
    import numpy as np

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    from matplotlib.colors import ListedColormap

    spy = job["spy"]
    figure, plots = plt.subplots(1, len(spy["orders"]), figsize=(6 * len(spy["orders"]), 6.6), dpi=100, squeeze=False)
    for plot, order in zip(plots[0], spy["orders"]):
        raster = np.array([[c == "1" for c in row] for row in order["rows"]])
        plot.imshow(raster, cmap=ListedColormap([BACKGROUND, BLOCKS[0]]), interpolation="nearest",
                    extent=(0, spy["size"], spy["size"], 0))
        plot.set_title(f"{order['name']}\nbandwidth {order['bandwidth']}", fontsize=11)
        plot.set_xlabel("DOF")
    figure.suptitle(f"{job['file']}: matrix of {spy['system'] or 'the system'}, {spy['size']} DOFs", fontsize=13)
    figure.tight_layout()
    figure.savefig(job["out"])
    tell(job, {"by": "matplotlib"})
