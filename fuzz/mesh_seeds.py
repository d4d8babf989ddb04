"""Writes the first inputs of the fuzzing programs that read meshes: mesh_seeds.py fuzz/corpus (Python with numpy)."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "tools"))
import numpy as np

import gmsh_make
import gmsh_test
import medit_test
import mesh_make

corpus = pathlib.Path(sys.argv[1])
for name in ("Gmsh", "Medit", "VtkLegacy", "VtkXml", "Xdmf", "Med"):
    (corpus / name).mkdir(parents=True, exist_ok=True)
for version, order, wide in gmsh_make.VARIANTS:
    ending = {None: "text", "<": f"little{wide}", ">": f"big{wide}"}[order]
    gmsh_make.write(corpus / "Gmsh" / f"{version}-{ending}", gmsh_test.mesh(), version, order, wide)
gmsh_make.write(corpus / "Gmsh" / "nothing", {"nodes": [(1, (0.0, 0.0, 0.0))], "entities": {}, "elements": []}, "4.1", "<")
(corpus / "Medit" / "text").write_text(medit_test.text(medit_test.MESH))
(corpus / "Medit" / "nothing").write_text(medit_test.text([("Vertices", 4, [])]))
for version in (1, 2, 3, 4):
    for order, ending in (("<", "little"), (">", "big")):
        (corpus / "Medit" / f"{version}-{ending}").write_bytes(medit_test.binary(medit_test.MESH, version, order))
mesh = mesh_make.solids([10, 24, 12])
for version, binary in ((2, False), (2, True), (5, False), (5, True)):
    mesh_make.vtk(corpus / "VtkLegacy" / f"{version}-{'binary' if binary else 'text'}", mesh, binary, version)
for mode, encoding, packed in (("ascii", "", 0), ("binary", "", 0), ("binary", "", 1), ("appended", "raw", 0),
                               ("appended", "raw", 1), ("appended", "base64", 1)):
    mesh_make.vtu(corpus / "VtkXml" / f"{mode}{encoding}{packed}", mesh, mode, encoding, bool(packed))
polygons = {"points": np.arange(21.0).reshape(7, 3), "cells": [(7, [0, 1, 2, 3, 4]), (9, [0, 1, 2, 3]), (7, [*range(1, 7)])],
            "point": {"wide": 2**60 + np.arange(7)}, "cell": {"c": np.arange(3.0)}}
mesh_make.vtk(corpus / "VtkLegacy" / "polygons", polygons, False, 5)
mesh_make.vtu(corpus / "VtkXml" / "polygons", polygons)
mesh_make.xdmf(corpus / "Xdmf" / "mixed", mesh, False)
mesh_make.xdmf(corpus / "Xdmf" / "steps", mesh_make.solids([12]), False, (0.0, 1.0), "include")
mesh_make.med(corpus / "Med" / "groups", mesh, {"pins": {1}}, {"core": {0, 2}},
              [("t", "NOE", {0.0: mesh["point"]["temperature"]}, ["K"])])
