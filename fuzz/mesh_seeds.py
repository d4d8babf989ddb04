"""Writes the first inputs of the fuzzing programs that read meshes: mesh_seeds.py fuzz/corpus (Python with numpy)."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "tools"))
import gmsh_make
import gmsh_test
import medit_test

corpus = pathlib.Path(sys.argv[1])
for name in ("Gmsh", "Medit"):
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
