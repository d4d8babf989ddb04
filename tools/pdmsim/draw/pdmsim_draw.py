#!/usr/bin/env python3
"""Draws what `pdmsim draw` asks for: a view of a mesh, by VTK or else Matplotlib, or a matrix's pattern.

Usage: pdmsim_draw.py JOB.json

Exit codes: 0 drawn; 1 failed, the last line on standard error says why; 3 nothing here to draw with."""

import importlib.util
import json
import os
import shutil
import subprocess
import sys

from pdmsim_draw_look import BODY, BACKGROUND, LINES, MANY_EDGES, MISSING, PICKED, Look, camera_of, deformed, name_of, rgb
from pdmsim_draw_look import round_length, title
from pdmsim_draw_matplotlib import draw_matplotlib, draw_spy

NOTHING_TO_DRAW_WITH = 3


def has(*modules):
    return all(importlib.util.find_spec(name) for name in modules)


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
    group, _, name = job["array"].partition("/")
    data = {"Points": grid.GetPoints().GetData, "PointData": lambda: grid.GetPointData().GetArray(name),
            "CellData": lambda: grid.GetCellData().GetArray(name)}[group]()
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
    if look.by_name:
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
    if look.by_name:
        text(look.heading()[:24], width - 200, height - 62, 15)
        for i, (colour, words) in enumerate(look.legend()):
            stroke(width - 200, height - 82 - 26 * i, 14, colour, 14)
            text(words[:24], width - 176, height - 88 - 26 * i, 15)
    elif look.known:
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
    look.tell("vtk")


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
