#include <pdmsim/import/meshio/mio_Script.h>

const char mio_kScript[] = R"py(
import os, re, sys
out = os.fdopen(os.dup(1), "wb")
os.dup2(2, 1)

def fail(text):
    out.write(("ERROR " + " ".join(str(text).split())).encode(errors="replace"))
    out.flush()
    os._exit(0)

try:
    import numpy as np
    import meshio
except ImportError:
    fail("expected the Python module meshio, found none: install python3-meshio")

format, path = sys.argv[1:]
notes = [f"what meshio {meshio.__version__} may have left out: this format is experimental"]
groups, node_sets = [], []

def lines():
    with open(path, errors="replace") as file:
        yield from enumerate(file, 1)

def some(names):
    names = sorted(set(names))
    return ", ".join(names[:10]) + (f" and {len(names) - 10} more" if len(names) > 10 else "")

def members(text):
    """The numbers of a set, None for what has names."""
    try:
        return [int(word) for word in text.replace("\n", ",").split(",") if word.strip()]
    except ValueError:
        return None

def abaqus():
    sets, lost, other, elsets, nodes, current = {}, [], [], [], 0, None
    for number, line in lines():
        if line.startswith("**"):
            continue
        if not line.startswith("*"):
            if current:
                current[2] += line
            continue
        current = None
        words = [word.strip() for word in line[1:].split(",")]
        keyword, given = words[0].upper(), {}
        for word in words[1:]:
            key, _, value = word.partition("=")
            given[key.strip().upper()] = value.strip()
        if keyword == "NODE":
            nodes += 1
            if nodes > 1:
                fail(f"line {number}: expected one *NODE, found another")
            lost += [given["NSET"]] if "NSET" in given else []
        elif keyword == "ELEMENT":
            kind = given.get("TYPE", "")
            if meshio.abaqus._abaqus.abaqus_to_meshio_type.get(kind) not in meshio._mesh.topological_dimension:
                fail(f"line {number}: expected elements that meshio knows, found {kind}")
            if "ELSET" in given:
                elsets.append(given["ELSET"])
        elif keyword in ("NSET", "ELSET"):
            key = keyword, given.get(keyword, "")
            if key in sets:
                lost.append(key[1])
            current = sets[key] = [number, "GENERATE" in given, ""]
        elif keyword == "SURFACE":
            lost.append(given.get("NAME", "?"))
        elif keyword in ("INCLUDE", "INSTANCE", "SYSTEM", "NGEN", "NCOPY", "NFILL", "ELGEN", "ELCOPY"):
            fail(f"line {number}: expected nodes and elements of one part in one file, found *{keyword}")
        elif keyword not in ("HEADING", "PART", "END PART", "PREPRINT"):
            other.append(keyword)
    lost += [name for name in elsets if elsets.count(name) > 1 or ("ELSET", name) in sets]
    wanted = {}
    for (keyword, name), (number, generated, text) in sets.items():
        listed = members(text)
        if listed is None or (generated and len(listed) % 3):
            lost.append(name)
        elif generated:
            wanted[keyword, name] = len({i for k in range(0, len(listed), 3)
                                         for i in range(listed[k], listed[k + 1] + 1, listed[k + 2] or 1)})
        else:
            wanted[keyword, name] = len(set(listed))
    if lost:
        fail("expected sets that meshio keeps, found " + some(lost))
    mesh = meshio.abaqus.read(path)
    first = np.cumsum([0] + [len(block.data) for block in mesh.cells])
    for (keyword, name), count in wanted.items():
        found = mesh.point_sets if keyword == "NSET" else mesh.cell_sets
        if name in found and keyword == "NSET":
            cells = np.unique(found[name])
            node_sets.append((name, 0, cells))
        elif name in found and len(found[name]) == len(mesh.cells):
            cells = np.unique(np.concatenate([np.ravel(c) + first[k] for k, c in enumerate(found[name])]))
            groups.append((name, 0, cells))
        else:
            cells = []
        if len(cells) != count:
            fail(f"expected sets that meshio keeps, found {name}")
    groups[:0] = [(name, 0, np.concatenate([np.ravel(c) + first[k] for k, c in enumerate(mesh.cell_sets[name])]))
                  for name in elsets]  # these are blocks
    notes.append("labels of nodes and elements")
    if other:
        notes.append("keywords " + some(other))
    return mesh, None, None

def nastran():
    known = meshio.nastran._nastran.nastran_to_meshio_type
    unknown, other, bulk, turned = [], [], False, []
    for number, line in lines():
        if not bulk:
            bulk = line.strip().startswith("BEGIN BULK")
            continue
        card = re.match(r"[A-Z][A-Z0-9]*", line)
        if not card:
            continue
        card = card.group()
        if card == "GRID":
            wide = line.startswith("GRID*")
            words = line.split(",") if "," in line else [line[:8], line[8:24], line[24:40]] if wide else [line[:8], line[8:16], line[16:24]]
            if len(words) > 2 and words[2].strip() not in ("", "0"):
                fail(f"line {number}: expected nodes in the basic coordinate system, found system {words[2].strip()}")
        elif card in known:
            turned += [card] if card in ("CBAR", "CBEAM", "CBUSH", "CBUSH1D", "CGAP") else []
        elif card.startswith(("RBE", "RBAR", "RROD", "PLOTEL")) or (card[0] == "C" and not card.startswith("CORD")):
            unknown.append(card)
        elif card != "ENDDATA":
            other.append(card)
    if unknown:
        fail("expected elements that meshio knows, found " + some(unknown))
    mesh = meshio.nastran.read(path)
    refs = mesh.cell_data.get("nastran:ref", [])
    if [len(r) for r in refs] != [len(block.data) for block in mesh.cells] and len(mesh.cells):
        fail("expected a property for each element, found some without")
    refs = np.concatenate(refs) if len(refs) else np.zeros(0, int)
    groups.extend((f"property_{ref}", int(ref), np.flatnonzero(refs == ref)) for ref in np.unique(refs))
    if turned:
        notes.append("orientations of " + some(turned))
    if other:
        notes.append("cards " + some(other))
    return mesh, mesh.points_id, mesh.cells_id

def put(*numbers):
    out.write(np.asarray(numbers, dtype="=i8").tobytes())

def text(text):
    data = text.encode(errors="surrogateescape")
    put(len(data))
    out.write(data)

try:
    mesh, node_labels, cell_labels = {"abaqus": abaqus, "nastran": nastran}[format]()
    points = np.asarray(mesh.points, dtype="=f8")
    if points.ndim != 2 or points.shape[1] not in (2, 3):
        raise ValueError("nodes with 2 or 3 coordinates each, found others")
except KeyError as error:
    fail(f"expected nodes and elements that meshio knows, found {error}")
except Exception as error:
    fail(f"expected a mesh that meshio reads, found none: {type(error).__name__} {error}")

out.write(b"MESH")
put(points.shape[1], len(points), node_labels is not None, len(mesh.cells), len(groups), len(node_sets), len(notes))
out.write(points.tobytes())
if node_labels is not None:
    put(*[] if not len(node_labels) else node_labels)
for k, block in enumerate(mesh.cells):
    text(block.type)
    data = np.asarray(block.data, dtype="=i8")
    put(data.shape[1], data.shape[0], cell_labels is not None)
    out.write(data.tobytes())
    if cell_labels is not None:
        out.write(np.asarray(cell_labels[k], dtype="=i8").tobytes())
for name, number, cells in groups + node_sets:
    text(name)
    put(number, len(cells))
    out.write(np.asarray(cells, dtype="=i8").tobytes())
for note in notes:
    text(note)
out.flush()
os._exit(0)
)py";
