"""What the tests of exports share: meshes, simulation files as whole things, runs of the built program."""

import json
import sys

import h5py
import numpy as np
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkIOHDF import vtkHDFReader
from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader

import exo_make
import programs
from pdm_reader import Sim

PDMSIM = sys.argv[1]


def whole(path):
    """All of a mesh by names, whatever numbers the file has for its collections and sets."""
    sim = Sim(path)

    def drawers(distribution):
        of = sim.file[f"store/distributions/{distribution}"].attrs
        return [str(of.get("unit", ""))] + [
            (d.long_name, d.values.dtype.str, d.values.shape, d.values.tobytes(), d.members.tolist())
            for d in sim.drawers(distribution)]

    found = {name: sim.items(getattr(of, name)) for of, names in
             ((sim.model, ("vectors", "localNodes", "frames")), (sim.mesh, ("nodes", "elements", "regions")))
             for name in names}
    for name, value in vars(sim.mesh).items():
        if isinstance(value, dict):
            of_sets = name.endswith("Sets")
            found[name] = {k: sim.members(v).tolist() if of_sets else drawers(v) for k, v in value.items()}
            for key in set(found[name]) - {b"connectivity", b"attribute"} if not of_sets else ():
                found[name][key][1:] = sorted(found[name][key][1:], key=lambda d: d[0])  # sets come in any order
    sim.file.close()
    return found


# Corners of every type on its unit cell, its edges in the order of their nodes, then its faces and whether a node
# follows on its middle, all as Exodus II has them; and the size.
CUBE = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)]
HEX = CUBE, [(0, 1), (1, 2), (2, 3), (3, 0), (0, 4), (1, 5), (2, 6), (3, 7), (4, 5), (5, 6), (6, 7), (7, 4)], 1
TET = CUBE[:2] + CUBE[3:5], [(0, 1), (1, 2), (2, 0), (0, 3), (1, 3), (2, 3)], 1 / 6
WEDGE = (CUBE[:2] + CUBE[3:6] + CUBE[7:], [(0, 1), (1, 2), (2, 0), (0, 3), (1, 4), (2, 5), (3, 4), (4, 5), (5, 3)], 1 / 2)
PYRAMID = CUBE[:5], [(0, 1), (1, 2), (2, 3), (3, 0), (0, 4), (1, 4), (2, 4), (3, 4)], 1 / 3
QUAD, TRI = (CUBE[:4], [(0, 1), (1, 2), (2, 3), (3, 0)], 1), (CUBE[:2] + CUBE[3:4], [(0, 1), (1, 2), (2, 0)], 1 / 2)
BAR = CUBE[:2], [(0, 1)], 1
HEX_MIDDLES = [range(8), (0, 1, 2, 3), (4, 5, 6, 7), (0, 3, 4, 7), (1, 2, 5, 6), (0, 1, 4, 5), (2, 3, 6, 7)]
TYPES = {"HEX8": (HEX, 0, []), "HEX20": (HEX, 1, []), "HEX27": (HEX, 1, HEX_MIDDLES), "TET4": (TET, 0, []),
         "TET10": (TET, 1, []), "WEDGE6": (WEDGE, 0, []), "WEDGE15": (WEDGE, 1, []), "PYRAMID5": (PYRAMID, 0, []),
         "PYRAMID13": (PYRAMID, 1, []), "QUAD4": (QUAD, 0, []), "QUAD8": (QUAD, 1, []), "QUAD9": (QUAD, 1, [range(4)]),
         "TRI3": (TRI, 0, []), "TRI6": (TRI, 1, []), "TRI7": (TRI, 1, [range(3)]), "BAR2": (BAR, 0, []),
         "BAR3": (BAR, 1, [])}
# The edges in Gmsh's order of their nodes, then the corners of the faces that have one, by Gmsh's type.
GMSH = {8: [(0, 1)], 9: [(0, 1), (1, 2), (2, 0)], 16: QUAD[1], 10: QUAD[1] + [range(4)],
        11: [(0, 1), (1, 2), (2, 0), (3, 0), (2, 3), (1, 3)],
        17: [(0, 1), (0, 3), (0, 4), (1, 2), (1, 5), (2, 3), (2, 6), (3, 7), (4, 5), (4, 7), (5, 6), (6, 7)],
        18: [(0, 1), (0, 2), (0, 3), (1, 2), (1, 4), (2, 5), (3, 4), (3, 5), (4, 5)],
        19: [(0, 1), (0, 3), (0, 4), (1, 2), (1, 4), (2, 3), (2, 4), (3, 4)]}
GMSH[12] = GMSH[17] + [(0, 3, 2, 1), (0, 1, 5, 4), (0, 4, 7, 3), (1, 2, 6, 5), (2, 3, 7, 6), (4, 5, 6, 7), range(8)]
CORNERS = {15: 1, 1: 2, 8: 2, 2: 3, 9: 3, 3: 4, 10: 4, 16: 4, 4: 4, 11: 4, 5: 8, 12: 8, 17: 8, 6: 6, 18: 6, 7: 5, 19: 5}


def one_of_each(names=TYPES):
    """A mesh of one element of each type, slanted; the sizes of the elements."""
    slant, nodes, blocks = np.array([[1.0, 0.2, 0.1], [0.0, 0.9, 0.3], [0.0, 0.0, 1.1]]), [], []
    for i, name in enumerate(names):
        (corners, edges, _), middles, faces = TYPES[name]
        of = [corners[k] for k in range(len(corners))]
        of += [np.mean([corners[a], corners[b]], 0) for a, b in edges if middles]
        of += [np.mean([corners[k] for k in face], 0) for face in faces]
        blocks.append({"id": i + 3, "name": name.lower(), "type": name,
                       "conn": [list(range(len(nodes) + 1, len(nodes) + 1 + len(of)))]})
        nodes += list(np.array(of) @ slant + 2 * i)
    plane = [np.linalg.norm(np.cross(slant[0], slant[1])), np.linalg.norm(slant[0])]
    sizes = [TYPES[name][0][2] * (np.linalg.det(slant) if TYPES[name][0] not in (QUAD, TRI, BAR)
                                  else plane[TYPES[name][0] is BAR]) for name in names]
    return dict(nodes=nodes, blocks=blocks), sizes


def edit(path, field, drawers=None, unit=None, keep=None, of="nodeFields"):
    """Gives a field of an imported mesh what only other programs write."""
    sim = Sim(path)
    number = getattr(sim.mesh, of)[field]
    sim.file.close()
    with h5py.File(path, "r+") as file:
        group = file[f"store/distributions/{number}"]
        members = group["0"].attrs["members"]
        if unit:
            group.attrs["unit"] = np.bytes_(unit)
        for name in list(group):
            if drawers or (keep and int(name) >= keep):
                del group[name]
        for i, values in enumerate(drawers or ()):
            group.create_dataset(str(i), data=values).attrs["members"] = members


def read_vtu(path):
    reader = vtkXMLUnstructuredGridReader()
    reader.SetFileName(str(path))
    reader.Update()
    assert reader.GetErrorCode() == 0
    return reader.GetOutput()


def read_hdf(path):
    reader = vtkHDFReader()
    reader.SetFileName(str(path))
    reader.Update()
    return reader.GetOutput()


def arrays(data):
    return {data.GetArrayName(i): vtk_to_numpy(data.GetArray(i)) for i in range(data.GetNumberOfArrays())}


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.pdm = self.dir / "in.pdm"

    def import_(self, mesh, out=None):
        """Warnings of names and entries that are not kept are those of the first import."""
        done = programs.run(PDMSIM, "import", mesh, out or self.pdm, "--force", "--quiet")
        self.assertEqual(done.returncode, 0, done)
        return out or self.pdm

    def make(self, name="mesh.exo", **kw):
        return exo_make.write(self.dir / name, **kw)

    def export(self, out, *options):
        return json.loads(self.done(PDMSIM, "export", self.pdm, self.dir / out, "--json", *options))

    def refused(self, code, *args, says=()):
        super().refused(code, PDMSIM, "export", *args, says=says)

    def lossy(self, out, *options, losses):
        """Without --lossy refused with a line that has all of them; with it each is told twice."""
        self.refused(2, self.pdm, self.dir / out, *options, says=losses)
        done = programs.run(PDMSIM, "export", self.pdm, self.dir / out, "--json", "--lossy", *options)
        self.assertEqual(done.returncode, 0, done)
        told = json.loads(done.stdout)["losses"]
        self.assertEqual(done.stderr.decode().splitlines(),
                         [f"{self.dir / out}: not exported: {line}" for line in told])
        for loss in losses:
            self.assertIn(loss, "\n".join(told))
        return told
