#!/usr/bin/env python3
"""Draws what `pdmsim draw` asks for: a view of a mesh, by VTK or else Matplotlib, or a matrix's pattern.

Usage: pdmsim_draw.py JOB.json

Exit codes: 0 drawn; 1 failed, the last line on standard error says why; 3 nothing here to draw with."""

import importlib.util
import json
import math
import os
import shutil
import subprocess
import sys

NOTHING_TO_DRAW_WITH = 3
BACKGROUND, BODY, PICKED, LINES, MISSING = "#ffffff", "#d3d8de", "#d1495b", "#2b2f36", "#a9aeb5"
BLOCKS = ["#4e79a7", "#f28e2b", "#76b7b2", "#edc948", "#b07aa1", "#59a14f", "#9c755f", "#ff9da7", "#86bcb6", "#bab0ac"]
SCALE = ["#440154", "#482878", "#3e4989", "#31688e", "#26828e", "#1f9e89", "#35b779", "#6ece58", "#b5de2b", "#fde725"]
MANY_EDGES = 40000  # faces; beyond, their edges would cover everything
EYE, UP = (0.55, -0.72, 0.42), (0, 0, 1)  # where the camera stands, of solids


def rgb(text):
    return tuple(int(text[i : i + 2], 16) / 255 for i in (1, 3, 5))


def round_length(most):
    """The greatest of 1, 2 and 5 times a power of ten that is not more."""
    power = 10.0 ** math.floor(math.log10(most))
    return next(f * power for f in (5, 2, 1) if f * power <= most * (1 + 1e-9))


def has(*modules):
    return all(importlib.util.find_spec(name) for name in modules)


def title(job):
    if "mode" in job:
        what = f"{job['mode']['title']} of {job['mode']['system'] or 'the only system'}"
    else:
        what = job["shows"].replace("block", "blocks", 1) if job["shows"] == "block" else job["shows"]
    when = f", step {job['step']} (time {job['time']:.6g})" if "time" in job and "mode" not in job else ""
    return f"{job['file']}: {what}{when}"


def name_of(job):
    """What the colours mean, with the unit."""
    name = "displacement" if "mode" in job else job["shows"].split("/", 1)[-1]
    if "mode" not in job and job.get("component") is not None:
        name += f"[{job['component']}]"
    return f"{name} [{job['unit']}]" if job["unit"] else name


class Look:
    """What an array is drawn as."""
    def __init__(self, job, values, numpy):
        np = self.np = numpy
        self.job, self.kind = job, job["shows"].split("/")[0]
        self.is_set = self.kind in ("nodeSets", "elementSets", "surfaces")
        self.is_block = job["shows"] == "block"
        self.on_points = job["array"].startswith("PointData/")
        component, count = job.get("component"), values.shape[1] if values.ndim == 2 else 1
        if component is not None and component >= count:
            raise ValueError(f"expected a component below {count}, found {component}")
        if values.ndim == 2:
            values = (values[:, component] if component is not None else
                      np.linalg.norm(values, axis=1) if values.shape[1] in (2, 3) else values[:, 0])
        self.values = np.asarray(values, float)
        if self.is_block:
            order = {b["id"]: i for i, b in enumerate(job["blocks"])}
            self.values = np.array([order.get(int(v), 0) for v in values], float)
        known = self.values[np.isfinite(self.values)]
        self.note = "grey: no values" if known.size < len(self.values) else ""
        self.low, self.high = (float(known.min()), float(known.max())) if known.size else (0.0, 1.0)
        if self.is_block or self.is_set:
            self.low, self.high = -0.5, (len(job["blocks"]) if self.is_block else 2) - 0.5

    def colours(self):
        if self.is_set:
            return [BODY, PICKED]
        return [BLOCKS[i % len(BLOCKS)] for i in range(len(self.job["blocks"]))] if self.is_block else SCALE

    def legend(self):
        """Colours and their names, of what has no scale."""
        if self.is_set:
            name = self.job["shows"].split("/", 1)[1]
            return [(PICKED, f"elements at {name}" if self.kind == "surfaces" else name)]
        names = [(c, b["name"] or f"block {b['id']}") for c, b in zip(self.colours(), self.job["blocks"])]
        return names if len(names) <= 12 else names[:11] + [("#ffffff", f"... {len(names) - 11} more")]


def deformed(job, points, shape, numpy):
    """The points of a mode, and by what its shape was multiplied."""
    shape = numpy.nan_to_num(shape if shape.ndim == 2 else shape[:, None] * [[0, 0, 1]])
    most = numpy.linalg.norm(shape, axis=1).max(initial=0)
    size = numpy.linalg.norm(numpy.ptp(points, axis=0))
    factor = job["scale"] if job.get("scale") is not None else 0.1 * size / most if most > 0 else 1
    return points + factor * shape, factor


def camera_of(points, numpy):
    """Where the camera looks from, and the directions to the right and upwards of the picture."""
    flat = numpy.ptp(points[:, 2]) == 0
    eye = numpy.array((0, 0, 1) if flat else EYE, float)
    eye /= numpy.linalg.norm(eye)
    right = numpy.cross((0, 1, 0) if flat else UP, eye)
    right /= numpy.linalg.norm(right)
    return eye, numpy.array([right, numpy.cross(eye, right)])


# VTK

def draw_vtk(job):
    import numpy as np
    import vtk
    from vtk.util.numpy_support import numpy_to_vtk, vtk_to_numpy

    vtk.vtkObject.GlobalWarningDisplayOff()
    width, height = map(int, job["size"].split("x"))
    reader = vtk.vtkHDFReader()
    reader.SetFileName(job["view"])
    reader.Update()
    grid = reader.GetOutput()
    group, name = job["array"].split("/", 1)
    data = (grid.GetPointData() if group == "PointData" else grid.GetCellData()).GetArray(name)
    if data is None:
        raise ValueError(f"expected an array {name} in the view, found none")
    values = vtk_to_numpy(data)
    look = Look(job, values, np)
    renderer = vtk.vtkRenderer()
    renderer.SetBackground(*rgb(BACKGROUND))
    note = look.note

    def surface(of):
        skin = vtk.vtkDataSetSurfaceFilter()
        skin.SetInputData(of)
        skin.SetNonlinearSubdivisionLevel(0)
        skin.Update()
        return skin.GetOutput()

    def add(of, colour=None, edges=True, opacity=1.0, lines_only=False):
        mapper, actor = vtk.vtkPolyDataMapper(), vtk.vtkActor()
        mapper.SetInputData(of)
        mapper.SetScalarVisibility(colour is None)
        actor.SetMapper(mapper)
        of_actor = actor.GetProperty()
        of_actor.SetAmbient(0.5)
        of_actor.SetDiffuse(0.55)
        of_actor.SetOpacity(opacity)
        of_actor.SetPointSize(6)  # of cells that are points
        if colour:
            of_actor.SetColor(*rgb(colour))
        if lines_only:
            of_actor.SetRepresentationToWireframe()
            of_actor.SetLighting(False)
        elif edges and of.GetNumberOfCells() <= MANY_EDGES:
            of_actor.EdgeVisibilityOn()
            of_actor.SetEdgeColor(*rgb(LINES))
            of_actor.SetLineWidth(0.8)
        renderer.AddActor(actor)
        return mapper, actor

    if "mode" in job:
        rest = vtk.vtkPolyData()
        rest.DeepCopy(surface(grid))
        if rest.GetNumberOfCells() <= MANY_EDGES:
            add(rest, MISSING, lines_only=True, opacity=0.5)
        points, factor = deformed(job, vtk_to_numpy(grid.GetPoints().GetData()), values, np)
        moved = vtk.vtkPoints()
        moved.SetData(numpy_to_vtk(points, deep=True))
        grid.SetPoints(moved)
        note = f"deformed {factor:.4g} times; grey: at rest"
    shown = numpy_to_vtk(look.values, deep=True)
    shown.SetName("shown")
    (grid.GetPointData() if look.on_points else grid.GetCellData()).AddArray(shown)

    table = vtk.vtkLookupTable()
    colours = look.colours()
    if look.is_set or look.is_block:
        table.SetNumberOfTableValues(len(colours))
        for i, colour in enumerate(colours):
            table.SetTableValue(i, *rgb(colour))
    else:
        ramp = vtk.vtkColorTransferFunction()
        for i, colour in enumerate(colours):
            ramp.AddRGBPoint(i / (len(colours) - 1), *rgb(colour))
        table.SetNumberOfTableValues(256)
        for i in range(256):
            table.SetTableValue(i, *ramp.GetColor(i / 255))
    table.SetRange(look.low, look.high if look.high > look.low else look.low + 1)
    table.SetNanColor(*rgb(MISSING), 1)

    skin = surface(grid)
    if look.is_set and look.on_points:
        add(skin, BODY)
        picked, cells = vtk.vtkPoints(), vtk.vtkCellArray()
        for i in np.flatnonzero(look.values):
            cells.InsertNextCell(1, [picked.InsertNextPoint(grid.GetPoint(int(i)))])
        dots = vtk.vtkPolyData()
        dots.SetPoints(picked)
        dots.SetVerts(cells)
        _, actor = add(dots, PICKED, edges=False)
        actor.GetProperty().SetPointSize(9)
        actor.GetProperty().RenderPointsAsSpheresOn()
    else:
        mapper, _ = add(skin)
        if look.on_points:
            mapper.SetScalarModeToUsePointFieldData()
        else:
            mapper.SetScalarModeToUseCellFieldData()
        mapper.SelectColorArray("shown")
        mapper.SetLookupTable(table)
        mapper.UseLookupTableScalarRangeOn()
        mapper.InterpolateScalarsBeforeMappingOn()

    def text(words, x, y, size=16, right=False, colour=LINES):
        actor = vtk.vtkTextActor()
        actor.SetInput(words)
        actor.GetTextProperty().SetFontSize(size)
        actor.GetTextProperty().SetColor(*rgb(colour))
        if right:
            actor.GetTextProperty().SetJustificationToRight()
        actor.SetPosition(x, y)
        renderer.AddActor2D(actor)

    def stroke(x, y, length, colour, thickness):
        line, mapper, actor = vtk.vtkLineSource(), vtk.vtkPolyDataMapper2D(), vtk.vtkActor2D()
        line.SetPoint1(x, y, 0)
        line.SetPoint2(x + length, y, 0)
        mapper.SetInputConnection(line.GetOutputPort())
        actor.SetMapper(mapper)
        actor.GetProperty().SetColor(*rgb(colour))
        actor.GetProperty().SetLineWidth(thickness)
        renderer.AddActor2D(actor)

    text(title(job), 20, height - 36, 20)
    if note:
        text(note, 20, height - 62, 15)
    if look.is_set or look.is_block:
        for i, (colour, words) in enumerate(look.legend()):
            stroke(width - 200, height - 82 - 26 * i, 14, colour, 14)
            text(words[:24], width - 176, height - 88 - 26 * i, 15)
    else:
        bar = vtk.vtkScalarBarActor()
        bar.SetLookupTable(table)
        bar.SetNumberOfLabels(6)
        bar.SetLabelFormat("%.4g")
        text(name_of(job), width - 20, 0.82 * height, right=True)
        bar.SetMaximumNumberOfColors(256)
        bar.UnconstrainedFontSizeOn()
        label = bar.GetLabelTextProperty()
        label.SetColor(*rgb(LINES))
        label.SetFontSize(14)
        label.ItalicOff()
        label.BoldOff()
        label.ShadowOff()
        bar.SetPosition(0.86, 0.2)
        bar.SetWidth(0.1)
        bar.SetHeight(0.6)
        renderer.AddActor2D(bar)

    camera = renderer.GetActiveCamera()
    camera.ParallelProjectionOn()
    seen = vtk_to_numpy(grid.GetPoints().GetData())
    eye, axes = camera_of(seen, np)
    low, high = (seen @ axes.T).min(axis=0), (seen @ axes.T).max(axis=0)
    camera.SetParallelScale(max((high - low)[1] / 0.76, (high - low)[0] / 0.76 * height / width) / 2 or 1)
    middle = (low + high) / 2 @ axes + seen.mean(axis=0) @ eye * eye
    camera.SetFocalPoint(*middle)
    camera.SetPosition(*(middle + eye * (np.linalg.norm(np.ptp(seen, axis=0)) or 1)))
    camera.SetViewUp(*axes[1])
    renderer.ResetCameraClippingRange()
    camera.SetWindowCenter(0.12, 0)
    # The bar: a round length, a fifth of the picture at most.
    length = round_length(2 * camera.GetParallelScale() * width / height / 5)
    pixels = length * height / (2 * camera.GetParallelScale())
    stroke(24, 40, pixels, LINES, 4)
    text(f"{length:g} {job['lengthUnit']}".strip(), 24, 50)

    window = vtk.vtkRenderWindow()
    window.SetOffScreenRendering(1)
    window.SetMultiSamples(4)
    window.SetSize(width, height)
    window.AddRenderer(renderer)
    window.Render()
    image, writer = vtk.vtkWindowToImageFilter(), vtk.vtkPNGWriter()
    image.SetInput(window)
    image.ReadFrontBufferOff()
    writer.SetFileName(job["out"])
    writer.SetInputConnection(image.GetOutputPort())
    writer.Write()
    if not os.path.exists(job["out"]):
        raise OSError("the picture cannot be written")


# Matplotlib

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
    scale = ListedColormap(colours) if look.is_set or look.is_block else LinearSegmentedColormap.from_list(
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
    if look.is_set or look.is_block:
        figure.legend(handles=[Line2D([], [], marker="s", linestyle="", color=c, label=n[:24])
                               for c, n in look.legend()], loc="upper right", frameon=False)
    else:
        bar = figure.colorbar(matplotlib.cm.ScalarMappable(norm, scale), cax=figure.add_axes([0.86, 0.2, 0.025, 0.6]),
                              ticks=np.linspace(norm.vmin, norm.vmax, 6), format="%.4g")
        bar.ax.set_title(name_of(job), fontsize=11, pad=10)
    figure.savefig(job["out"])


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


def run_vtk(job_file):
    """Draws by VTK in a child process, since VTK ends its process where there is no screen."""
    command = [sys.executable, "-B", __file__, job_file, "vtk"]
    if not os.environ.get("DISPLAY"):
        command = ["xvfb-run", "-a", "-s", "-screen 0 1280x1024x24", *command]
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout.decode(errors="replace").strip().split("\n")[-1]


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        job = json.load(file)
    if sys.argv[2:] == ["vtk"]:
        return draw_vtk(job)
    if "spy" in job:
        return draw_spy(job) if has("numpy", "matplotlib") else sys.exit(NOTHING_TO_DRAW_WITH)
    screen = os.environ.get("DISPLAY") or shutil.which("xvfb-run")
    by_vtk = has("numpy", "vtk") and screen and job["with"] != "matplotlib"
    by_matplotlib = has("numpy", "matplotlib", "h5py") and job["with"] != "vtk"
    if not by_vtk and not by_matplotlib:
        sys.exit(NOTHING_TO_DRAW_WITH)
    if by_vtk:
        code, said = run_vtk(sys.argv[1])
        if code == 0 and os.path.exists(job["out"]):
            return None
        if not by_matplotlib:
            sys.exit(said or f"VTK ended with {code}")
    return draw_matplotlib(job)


try:
    main()
except OSError as error:
    sys.exit(error.strerror or " ".join(str(error).split()))
except (ValueError, KeyError, MemoryError) as error:
    sys.exit(" ".join(str(error).split()) or type(error).__name__)
