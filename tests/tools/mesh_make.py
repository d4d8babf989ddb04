"""Writes one mesh as VTK legacy, .vtu, XDMF and MED, by numpy and h5py alone, for the tests.

A mesh is a dictionary: points [n, 3]; cells [(VTK's type, nodes)]; point, cell {name: array}. Node orders are VTK's."""

import base64
import struct
import zlib

import h5py
import numpy as np

# Where the nodes of an element lie in VTK's order: corners, then the nodes between some of them.
TETRAHEDRON = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)]
PYRAMID = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1)]
WEDGE = [(0, 0, 0), (0, 1, 0), (1, 0, 0), (0, 0, 1), (0, 1, 1), (1, 0, 1)]  # its first triangle is seen from within
HEXAHEDRON = PYRAMID[:4] + [(x, y, 1) for x, y, _ in PYRAMID[:4]]
LOOP = [(0, 1), (1, 2), (2, 3), (3, 0)]
EDGES = {24: LOOP[:2] + [(2, 0), (0, 3), (1, 3), (2, 3)],
         27: LOOP + [(k, 4) for k in range(4)],
         26: LOOP[:2] + [(2, 0), (3, 4), (4, 5), (5, 3), (0, 3), (1, 4), (2, 5)],
         25: LOOP + [(a + 4, b + 4) for a, b in LOOP] + [(k, k + 4) for k in range(4)]}
FACES = [(0, 3, 7, 4), (1, 2, 6, 5), (0, 1, 5, 4), (3, 2, 6, 7), (0, 1, 2, 3), (4, 5, 6, 7)]
SOLIDS = {10: TETRAHEDRON, 14: PYRAMID, 13: WEDGE, 12: HEXAHEDRON, 24: TETRAHEDRON, 27: PYRAMID, 26: WEDGE,
          25: HEXAHEDRON, 29: HEXAHEDRON}


def nodes_of(vtk):
    """The positions of a solid's nodes in VTK's order."""
    corners = np.array(SOLIDS[vtk], float)
    between = EDGES.get(25 if vtk == 29 else vtk, [])
    if vtk == 29:
        between = between + FACES + [tuple(range(8))]
    return np.vstack([corners] + [corners[list(some)].mean(axis=0) for some in between])


def solids(types):
    """A mesh of one element of each type, side by side and out of square, with arrays of several types."""
    points, cells = [], []
    for k, vtk in enumerate(types):
        at = nodes_of(vtk)
        cells.append((vtk, [len(points) + i for i in range(len(at))]))
        points += list(at @ [[1, .25, 0], [0, 1, .125], [.0625, 0, 1]] + [3 * k, 0, 0])
    n, m = len(points), len(cells)
    return {"points": np.array(points), "cells": cells,
            "point": {"temperature": np.arange(n) / 4, "velocity": np.arange(3 * n, dtype="f4").reshape(n, 3),
                      "part": np.arange(n, dtype="i4") % 3},
            "cell": {"GlobalElementId": np.arange(m, dtype="i8") * 7 + 5, "stress": np.arange(6.0 * m).reshape(m, 6),
                     "mat id": np.array([k % 2 + 1 for k in range(m)], "u1")}}


def flat(mesh):
    ends = np.cumsum([len(nodes) for _, nodes in mesh["cells"]])
    return np.array([i for _, nodes in mesh["cells"] for i in nodes]), ends, np.array([t for t, _ in mesh["cells"]])


def vtk(path, mesh, binary=False, version=2, dataset="UNSTRUCTURED_GRID"):
    names = {"f8": "double", "f4": "float", "i4": "int", "i8": "vtktypeint64", "u1": "unsigned_char"}
    nodes, ends, types = flat(mesh)

    def numbers(array):
        array = np.asarray(array)
        big = array.astype(array.dtype.newbyteorder(">")).tobytes()
        return (big if binary else " ".join(map(repr, array.ravel().tolist())).encode()) + b"\n"

    def text(*words):
        return " ".join(map(str, words)).encode() + b"\n"

    out = text("# vtk DataFile Version", {2: "3.0", 5: "5.1"}[version]) + text("made by the tests")
    out += text("BINARY" if binary else "ASCII") + text("DATASET", dataset)
    out += text("POINTS", len(mesh["points"]), "double") + numbers(mesh["points"])
    if dataset == "POLYDATA":
        runs = [(word, [n for t, n in mesh["cells"] if t == kind])
                for word, kind in (("VERTICES", 2), ("LINES", 4), ("POLYGONS", 7), ("TRIANGLE_STRIPS", 6))]
    else:
        runs = [("CELLS", [n for _, n in mesh["cells"]])]
    for word, run in runs:
        if version == 5:
            out += text(word, len(run) + 1, sum(map(len, run))) + text("OFFSETS vtktypeint64")
            out += numbers(np.cumsum([0] + [len(n) for n in run]).astype("i8")) + text("CONNECTIVITY vtktypeint64")
            out += numbers(np.array([i for n in run for i in n], "i8"))
        else:
            flat_run = [i for n in run for i in [len(n), *n]]
            out += text(word, len(run), len(flat_run)) + numbers(np.array(flat_run, "i4"))
    if dataset != "POLYDATA":
        out += text("CELL_TYPES", len(types)) + numbers(types.astype("i4"))
    for word, rows, arrays in (("POINT_DATA", len(mesh["points"]), mesh["point"]),
                               ("CELL_DATA", len(types), mesh["cell"])):
        out += text(word, rows)
        for name, array in arrays.items():
            kind, safe = names[array.dtype.str[1:]], name.replace(" ", "%20")
            if array.ndim == 1 and name == "temperature":
                out += text("SCALARS", safe, kind, 1) + text("LOOKUP_TABLE default") + numbers(array)
            elif array.ndim == 2 and array.shape[1] == 3:
                out += text("VECTORS", safe, kind) + numbers(array)
            else:
                out += text("FIELD FieldData 1") + text(safe, array.size // rows, rows, kind) + numbers(array)
                out += text("METADATA") + text("INFORMATION 0") + text()
    path.write_bytes(out)
    return path


def vtu(path, mesh, mode="ascii", encoding="raw", compressed=False, header="UInt32", order="LittleEndian", pieces=1):
    """mode: ascii, binary or appended; encoding: of appended data. Several pieces are copies of the mesh."""
    end, h, appended = "<" if order == "LittleEndian" else ">", "I" if header == "UInt32" else "Q", b"_"

    def packed(array, text):
        raw = array.astype(array.dtype.newbyteorder(end)).tobytes()
        code = base64.b64encode if text else bytes
        if not compressed:
            return code(struct.pack(end + h, len(raw)) + raw)
        blocks = [raw[i : i + 64] for i in range(0, len(raw), 64)]
        small = [zlib.compress(b) for b in blocks]
        last = len(blocks[-1]) % 64 if blocks else 0
        head = struct.pack(f"{end}{3 + len(small)}{h}", len(small), 64, last, *map(len, small))
        return code(head) + code(b"".join(small))

    def data(name, array):
        nonlocal appended
        kind = {"f": "Float", "i": "Int", "u": "UInt"}[array.dtype.kind] + str(8 * array.dtype.itemsize)
        width = array.shape[1] if array.ndim == 2 else 1
        tag = f'<DataArray type="{kind}" Name="{name}" NumberOfComponents="{width}" format="{mode}"'
        if mode == "appended":
            offset = len(appended) - 1
            appended += packed(array, encoding == "base64")
            return tag + f' offset="{offset}"/>\n'
        body = " ".join(map(repr, array.ravel().tolist())) if mode == "ascii" else packed(array, True).decode()
        return tag + f">\n  {body}\n<InformationKey name='K' location='L'>1</InformationKey></DataArray>\n"

    nodes, ends, types = flat(mesh)
    xml = f'<?xml version="1.0"?>\n<VTKFile type="UnstructuredGrid" version="1.0" byte_order="{order}" header_type="{header}"'
    xml += ' compressor="vtkZLibDataCompressor"' if compressed else ""
    xml += "><UnstructuredGrid><FieldData>" + data("TimeValue", np.array([2.5])) + "</FieldData>"
    for _ in range(pieces):
        xml += f'<Piece NumberOfPoints="{len(mesh["points"])}" NumberOfCells="{len(types)}">'
        xml += "<Points>" + data("Points", mesh["points"]) + "</Points><Cells>"
        xml += data("connectivity", nodes.astype("i8")) + data("offsets", ends.astype("i8"))
        xml += data("types", types.astype("u1")) + "</Cells>"
        for tag, arrays in (("PointData", mesh["point"]), ("CellData", mesh["cell"])):
            xml += f"<{tag}>" + "".join(data(*one) for one in arrays.items()) + f"</{tag}>"
        xml += "</Piece>"
    out = xml.encode() + b"</UnstructuredGrid>"
    if mode == "appended":
        out += f'<AppendedData encoding="{encoding}">\n '.encode() + appended + b"\n</AppendedData>"
    path.write_bytes(out + b"</VTKFile>")
    return path


XDMF_CODES = {10: 6, 14: 7, 13: 8, 12: 9, 24: 38, 27: 39, 26: 40, 25: 48, 29: 50, 5: 4, 9: 5}
XDMF_NAMES = {10: "Tetrahedron", 14: "Pyramid", 13: "Wedge", 12: "Hexahedron", 24: "Tetrahedron_10", 25: "Hexahedron_20",
              29: "Hexahedron_27"}


def xdmf(path, mesh, hdf=True, times=(), form="own", sets=""):
    """form: of the mesh in later steps: own (again), include or Reference."""
    file = h5py.File(path.with_suffix(".h5"), "w") if hdf else None
    count = 0

    def item(array):
        nonlocal count
        kind = {"f": "Float", "i": "Int", "u": "UInt"}[array.dtype.kind]
        tag = f'<DataItem Dimensions="{" ".join(map(str, array.shape))}" NumberType="{kind}" Precision="{array.dtype.itemsize}"'
        if not hdf:
            return tag + ' Format="XML">\n' + " ".join(map(repr, array.ravel().tolist())) + "</DataItem>"
        count += 1
        file.create_dataset(f"g/d{count}", data=array, compression="gzip")
        return tag + f' Format="HDF">\n{path.stem}.h5:/g/d{count}\n</DataItem>'

    nodes, _, types = flat(mesh)
    if len(set(types)) == 1:
        shape = f'<Topology TopologyType="{XDMF_NAMES[types[0]]}" NumberOfElements="{len(types)}">' + item(
            nodes.reshape(len(types), -1))
    else:
        shape = f'<Topology TopologyType="Mixed" NumberOfElements="{len(types)}">' + item(
            np.array([i for t, n in mesh["cells"] for i in [XDMF_CODES[t], *n]]))
    shape += '</Topology><Geometry GeometryType="XYZ">' + item(mesh["points"]) + "</Geometry>"
    others = {"own": shape,
              "include": '<xi:include xpointer="xpointer(//Grid[@Name=&quot;s0&quot;]/*[self::Topology or self::Geometry])"/>',
              "Reference": "".join(f'<{p} Reference="/Xdmf/Domain/Grid/Grid[1]/{p}"/>' for p in ("Topology", "Geometry"))}
    xml = '<?xml version="1.0"?>\n<Xdmf Version="3.0" xmlns:xi="http://www.w3.org/2001/XInclude"><Domain>'
    xml += '<Grid Name="all" GridType="Collection" CollectionType="Temporal">' if times else ""
    for step, time in enumerate(times or [None]):
        xml += f'<Grid Name="s{step}" GridType="Uniform">' + (shape if step == 0 else others[form])
        xml += f'<Time Value="{time}"/>' if times else ""
        for center, arrays in (("Node", mesh["point"]), ("Cell", mesh["cell"])):
            for name, array in arrays.items():
                kind = "GlobalId" if name.startswith("Global") else "Scalar" if array.ndim == 1 else "Matrix"
                values = array if array.dtype.kind != "f" else array + array.dtype.type(step)
                xml += f'<Attribute Name="{name}" AttributeType="{kind}" Center="{center}">{item(values)}</Attribute>'
        xml += sets + "</Grid>"
    path.write_text(xml + ("</Grid>" if times else "") + "</Domain></Xdmf>")
    return path


MED_NAMES = {10: "TE4", 24: "T10", 14: "PY5", 27: "P13", 13: "PE6", 26: "P15", 12: "HE8", 25: "H20", 29: "H27", 5: "TR3",
             9: "QU4", 3: "SE2"}
# The corners of a MED element among ours and, between them, its further nodes: as its documentation draws them.
MED_CORNERS = {4: [0, 2, 1, 3], 5: [0, 3, 2, 1, 4], 6: [0, 2, 1, 3, 5, 4], 8: [0, 3, 2, 1, 4, 7, 6, 5]}
MED_BETWEEN = {24: EDGES[24], 27: EDGES[27], 26: EDGES[26], 25: EDGES[25],
               29: EDGES[25] + [(0, 1, 2, 3), (0, 4, 5, 1), (1, 5, 6, 2), (2, 6, 7, 3), (3, 7, 4, 0), (4, 7, 6, 5),
                                tuple(range(8))]}


def med_order(vtk):
    """For each node of a MED element the place of the node in VTK's order."""
    ours = np.array(SOLIDS[vtk], float)
    if vtk in (13, 26):
        ours = ours[[3, 4, 5, 0, 1, 2]]
    corners = ours[MED_CORNERS[len(ours)]]
    at = np.vstack([corners] + [corners[list(some)].mean(axis=0) for some in MED_BETWEEN.get(vtk, [])])
    return [int(np.argmin(np.abs(nodes_of(vtk) - one).sum(axis=1))) for one in at]


def med(path, mesh, node_groups={}, cell_groups={}, fields=(), labels=True, profile=None):
    """node_groups {name: nodes}; cell_groups {name: cells}; fields (name, "NOE" or "MAI", {time or None: values}, units)."""
    nodes, _, types = flat(mesh)
    by_type = {t: [k for k, one in enumerate(types) if one == t] for t in sorted(set(types.tolist()))}
    with h5py.File(path, "w") as file:
        file.create_group("INFOS_GENERALES").attrs.update(MAJ=np.int32(4), MIN=np.int32(0), REL=np.int32(0))
        top = file.create_group("ENS_MAA/box")
        top.attrs.update(DIM=np.int32(3), ESP=np.int32(3), TYP=np.int32(0),
                         UNI=np.string_("mm              " * 3), NOM=np.string_("x               " * 3))
        step = top.create_group("-0000000000000000001-0000000000000000001")

        def families(kind, groups, rows, sign):
            """Numbers for the rows, and what FAS says of them: a family for each combination of groups."""
            known, numbers = {(): 0}, []
            for row in range(rows):
                names = tuple(sorted(name for name, members in groups.items() if row in members))
                numbers.append(known.setdefault(names, sign * len(known)))
            for names, number in known.items():
                family = file.create_group(f"FAS/box/{kind}/FAM_{number}" if number else f"FAS/box/FAMILLE_ZERO{kind}")
                family.attrs["NUM"] = np.int32(number)
                if names:
                    family.create_group("GRO").attrs["NBR"] = np.int32(len(names))
                    family["GRO"].create_dataset("NOM", (len(names),), np.dtype(("i1", (80,))))[:] = [
                        list(name.encode().ljust(80, b"\0")) for name in names]
            return np.array(numbers, "i4")

        n = len(mesh["points"])
        step["NOE/COO"] = mesh["points"].T.ravel()
        step["NOE/FAM"] = families("NOEUD", node_groups, n, 1)
        family = families("ELEME", cell_groups, len(types), -1)
        if labels:
            step["NOE/NUM"] = np.arange(n, dtype="i4") * 3 + 2
        for t, cells in by_type.items():
            place = step.create_group("MAI/" + MED_NAMES[t])
            order = med_order(t) if t in SOLIDS else slice(None)
            place["NOD"] = np.array([np.array(mesh["cells"][k][1])[order] for k in cells]).T.ravel().astype("i8") + 1
            place["FAM"] = family[cells]
            if labels:
                place["NUM"] = np.array(cells, "i4") * 5 + 1
        for name, kind, steps, units in fields:
            field = file.create_group("CHA/" + name)
            width = next(iter(steps.values()))[0].size
            field.attrs.update(NCO=np.int32(width), MAI=np.string_("box"), TYP=np.int32(6),
                               UNI=np.string_("".join(u.ljust(16) for u in units)))
            for number, (time, values) in enumerate(steps.items()):
                number = -1 if time is None else number
                at = field.create_group(f"{number:020d}-0000000000000000001")
                at.attrs.update(NDT=np.int32(number), NOR=np.int32(-1), PDT=np.float64(time or 0))
                rows = {"NOE": range(n)} if kind == "NOE" else {"MAI." + MED_NAMES[t]: c for t, c in by_type.items()}
                for place, members in rows.items():
                    values_here = values[list(members)].reshape(len(members), -1)
                    word = "MED_NO_PROFILE_INTERNAL"
                    if profile and kind == "NOE":
                        word, values_here = "half", values_here[::2]
                        file["PROFILS/half/PFL"] = np.arange(1, n + 1, 2, dtype="i4")
                    part = at.create_group(f"{place}/{word}")
                    part.attrs.update(NBR=np.int32(len(values_here)), NGA=np.int32(1))
                    part["CO"] = values_here.T.ravel()
    return path
