#!/usr/bin/env python3
"""Includes run one way: no source of ours includes one that stands above it, or beside it in a closed room.

Usage: includes.py SOURCE
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()
FILE = "platform/UTI_ORXSimDynamicAPI"
JOURNAL = "platform/H5Journal"
SEES_ALL = ("tests", "benchmarks", "fuzz")  # they look behind what is public

# What a user of the platform may include.
PLATFORM = ["platform/UTI_CoreUtils", "platform/UTI_BasicUtils", "platform/DDB_HdxInterface", f"{FILE}/*.h"]
BELOW_FILE = PLATFORM[:2] + [f"{FILE}/*.h", JOURNAL]
# A file's room is the first of these that its path begins with; beside it stands what it may include as well.
LIBRARY = ["omi", "kda", "gbb", "gbb/pattern"]
USER = PLATFORM + LIBRARY + ["generated", "fes", "msf", "lib"]  # what stands on the library as a whole
JOURNAL_ROOMS = [f"{JOURNAL}/{room}" for room in ("files", "journal", "pages", "opening", "commit", "driver")]
BYTES = "tools/pdmsim/import/bytes"  # what several of them read with
IMPORTS = [f"tools/pdmsim/import/{room}" for room in ("exodus", "gmsh", "medit", "vtk", "xdmf", "med", "meshio")]
EXPORT = "tools/pdmsim/export"
EXPORTS = [f"{EXPORT}/{room}" for room in ("exodus", "vtu", "gmsh", "csv", "vtkhdf")]
TOOLS = [
    f"tools/pdmsim/{room}"
    for room in "cli show check dofs mesh import stored view draw report diff partition export export/out".split()
]
ROOMS = {
    "platform/UTI_CoreUtils": [],
    "platform/UTI_BasicUtils": PLATFORM[:1],
    "platform/DDB_HdxInterface": PLATFORM[:1],
    **{room: [JOURNAL, *JOURNAL_ROOMS[:place]] for place, room in enumerate(JOURNAL_ROOMS)},
    JOURNAL: [],
    f"{FILE}/objects": BELOW_FILE,
    f"{FILE}/bulk": BELOW_FILE + [f"{FILE}/objects"],
    f"{FILE}/inspect": BELOW_FILE + [f"{FILE}/objects"],
    f"{FILE}/contexts": BELOW_FILE + [f"{FILE}/objects", f"{FILE}/bulk", f"{FILE}/inspect"],
    f"{FILE}/*.h": PLATFORM[:2],
    "omi": PLATFORM,
    "kda": PLATFORM + ["omi"],
    "gbb/pattern": PLATFORM + ["omi", "kda", "gbb"],
    "gbb": PLATFORM + ["omi", "kda"],
    "dof": PLATFORM[:1],
    "generated": PLATFORM + LIBRARY + ["dof"],
    "fes": PLATFORM + LIBRARY + ["generated"],
    "msf": PLATFORM + LIBRARY + ["generated"],
    "lib": PLATFORM + LIBRARY + ["generated", "fes", "msf"],
    "tools/pdmsim/cli": USER,
    "tools/pdmsim/show": USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh", "tools/pdmsim/stored"],
    "tools/pdmsim/check": USER + ["tools/pdmsim/cli", "tools/pdmsim/show"],
    "tools/pdmsim/dofs": USER + ["tools/pdmsim/cli"],
    "tools/pdmsim/partition": USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh", "tools/pdmsim/stored"],
    "tools/pdmsim/mesh": USER + ["pdm"],  # the table of element types
    BYTES: USER + ["tools/pdmsim/mesh"],
    **{room: USER + ["tools/pdmsim/mesh", BYTES] for room in IMPORTS},
    "tools/pdmsim/import": USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh", *IMPORTS],
    "tools/pdmsim/stored": USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh"],
    **{
        f"tools/pdmsim/{room}": USER + [f"tools/pdmsim/{below}" for below in ("cli", "mesh", "stored", "show")]
        for room in ("view", "report")
    },
    f"{EXPORT}/out": USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh"],
    **{room: USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh", f"{EXPORT}/out", *IMPORTS] for room in EXPORTS},
    f"{EXPORT}/vtkhdf": USER + [f"tools/pdmsim/{room}" for room in ("cli", "mesh", "stored", "view", "export/out")],
    EXPORT: USER + ["tools/pdmsim/cli", "tools/pdmsim/mesh", f"{EXPORT}/out", *EXPORTS],
    "tools/pdmsim/diff": USER + ["tools/pdmsim/cli", "tools/pdmsim/show", "tools/pdmsim/dofs", "tools/pdmsim/stored"],
    "tools/pdmsim/draw": USER + [f"tools/pdmsim/{room}" for room in ("cli", "mesh", "stored", "dofs", "view")],
    "tools/pdmsim/commands": USER + TOOLS,
    "tools/pdmsim/*.cpp": USER + TOOLS + ["tools/pdmsim/commands"],
    "mpi/*.h": PLATFORM,
    "mpi/agree": [],
    "mpi/ranks": PLATFORM + ["mpi/*.h", "mpi/agree"],
    "mpi/numbering": PLATFORM + ["mpi/*.h", "mpi/agree", "dof"],
    "mpi": USER + ["mpi/*.h", "mpi/agree", "mpi/ranks"],
    "pdm": USER,
    "c": USER + ["pdm"],
    "fortran": ["c"],
    "examples": USER + ["pdm", "c", "mpi/*.h"],
    "docs/site": USER + ["pdm", "c"],
    "python/mpi": USER + ["pdm", "mpi/*.h", "python"],
    "python": USER + ["pdm"],
}
ROOMS["schema/templates"] = ROOMS["generated"] + ["generated"]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
HDF5 = re.compile(r"(.*/)?(hdf5|hdf5_hl|H5[A-Za-z]*)\.h$")


def room_of(path):
    for room in ROOMS:
        folder, _, name = room.partition("/*")
        inside = path.startswith(folder + "/")
        if inside and (not name or (path.endswith(name) and "/" not in path[len(folder) + 1 :])):
            return room
    return None


def ours(source, form, name):
    """The file of the tree that an include means, None for the system's and other packages'."""
    near = [source.parent] if form == '"' else []
    for folder in [*near, ROOT, ROOT / "platform", ROOT / "tools", ROOT / "generated", ROOT / "lib", ROOT / "c"]:
        if (found := (folder / name).resolve()).is_file() and found.is_relative_to(ROOT):
            return found.relative_to(ROOT).as_posix()
    return None


def wrong(path, target, name):
    """Why the file may not include that, None when it may."""
    here = room_of(path)
    if target is None:
        knows_hdf5 = here.startswith((FILE, JOURNAL)) and here != f"{FILE}/*.h"
        return "no HDF5 header" if HDF5.match(name) and not knows_hdf5 else None
    there = room_of(target)
    if (there or "").startswith(JOURNAL) and not here.startswith(JOURNAL) and name != "H5Journal/H5Journal.h":
        return "H5Journal/H5Journal.h alone"
    return None if there == here or there in ROOMS[here] else "only " + (", ".join(ROOMS[here]) or "its own room")


def main():
    known, errors = 0, []
    # Not into what is built, which other tests change meanwhile.
    tops = [p for p in ROOT.iterdir() if p.name not in SEES_ALL and not p.name.startswith((".", "build", "out"))]
    ends = (".h", ".hpp", ".c", ".cpp", ".j2")
    for source in sorted(p for top in tops for p in top.rglob("*.*") if p.suffix in ends):
        path = source.relative_to(ROOT).as_posix()
        if room_of(path) is None:
            errors.append(f"{path}: its folder has no rule in {pathlib.Path(__file__).name}")
            continue
        for form, name in INCLUDE.findall(source.read_text()):
            target = ours(source, form, name)
            known += target is not None
            if (may := wrong(path, target, name)) is not None:
                errors.append(f"{path}: includes {name} where it may include {may}")
    if known < 100:
        errors.append(f"only {known} includes of our own were found under {ROOT}")
    sys.exit("\n".join(errors) or None)


main()
