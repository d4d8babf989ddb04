#!/usr/bin/env python3
"""pdmsim with a mesh of a million elements: imports beside meshio, view, exports and draw, diff beside h5diff.

Times are of whole processes, on the processor, as medians of runs in turns; files lie in memory. Memory is the greatest that
a process had.

Usage: /usr/bin/python3 benchmarks/tools/bench.py build/release/bin/pdmsim [ROUNDS] [ELEMENTS_ALONG_AN_EDGE]
"""

import json
import os
import statistics
import subprocess
import sys
import tempfile

# What meshio reads, and what it converts into arrays of HDF5, without the time that Python takes to begin.
READ = """
import sys, time, meshio
begin = time.process_time()
mesh = meshio.read(sys.argv[1])
read = time.process_time()
meshio.write("out.xdmf", mesh, "xdmf", compression=None)
print(read - begin, time.process_time() - begin)
"""
# EDGE^3 hexahedra written by meshio, in a process of its own: what this one holds in memory is counted for its children.
WRITE = """
import json, sys, meshio, numpy as np
file, form, options, edge, fields, change = json.loads(sys.argv[1])
n = edge + 1
axis = np.arange(n) / edge
points = np.stack(np.meshgrid(axis, axis, axis, indexing="ij"), axis=-1).reshape(-1, 3)
first = np.arange(n**3).reshape(n, n, n)[:-1, :-1, :-1].reshape(-1, 1)
corners = first + np.array([0, n * n, n * n + n, n, 1, n * n + 1, n * n + n + 1, n + 1])
random = np.random.default_rng(1)
data = {f"field{i}": random.random(len(points)) for i in range(fields)}
if change:
    data[f"field{fields - 1}"][-1] += change
meshio.write(file, meshio.Mesh(points, [("hexahedron", corners)], data), form, **options)
"""
FORMATS = {  # file, meshio's name of the format, what it is told
    "Gmsh 4.1 binary": ("a.msh", "gmsh", {}), "Gmsh 4.1 text": ("b.msh", "gmsh", {"binary": False}),
    "Gmsh 2.2 binary": ("c.msh", "gmsh22", {}), "Gmsh 2.2 text": ("d.msh", "gmsh22", {"binary": False}),
    "Medit text": ("e.mesh", "medit", {}), "VTK legacy binary": ("f.vtk", "vtk", {}),
    "VTK legacy text": ("g.vtk", "vtk", {"binary": False}), "vtu, zlib": ("h.vtu", "vtu", {}),
    "XDMF, HDF5": ("i.xdmf", "xdmf", {}), "MED": ("j.med", "med", {}), "Exodus": ("k.exo", "exodus", {})}


def child(*command):
    """Seconds on the processor, greatest memory in MB, exit code, and what it printed."""
    with tempfile.TemporaryFile("w+") as out:
        running = subprocess.Popen([str(c) for c in command], stdout=out)
        _, status, usage = os.wait4(running.pid, 0)
        running.returncode = os.waitstatus_to_exitcode(status)
        out.seek(0)
        return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, running.returncode, out.read()


def median(runs):
    return tuple(statistics.median(column) for column in zip(*runs))


def ours(*command, codes=(0,)):
    seconds, memory, code, _ = child(PDMSIM, *command)
    assert code in codes, (command, code)
    return seconds, memory


def write(file, form, options, fields=0, change=0):
    what = json.dumps([file, form, options, EDGE, fields, change])
    subprocess.run([PYTHON, "-W", "ignore", "-c", WRITE, what], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def imports():
    nodes, elements = (EDGE + 1) ** 3, EDGE**3
    arrays = (nodes * 3 * 8 + elements * 8 * 4) / 2**20
    print(f"{nodes} nodes, {elements} hexahedra: {arrays:.1f} MB of numbers")
    print(f"{'import of':20} {'s':>6} {'MB':>6} {'of its arrays':>13}   meshio reads, converts; MB   ratio to each")
    for name, (file, form, options) in FORMATS.items():
        write(file, form, options)
        mine, theirs = [], []
        for _ in range(ROUNDS):
            mine.append(ours("import", file, "out.pdm", "--force", "--quiet"))
            _, memory, code, seconds = child(PYTHON, "-W", "ignore", "-c", READ, file)
            if code == 0:
                theirs.append((*map(float, seconds.split()[-2:]), memory))
        seconds, memory = median(mine)
        print(f"{name:20} {seconds:6.2f} {memory:6.0f} {memory / arrays:13.2f} ", end="")
        if theirs:
            read, converted, theirs = median(theirs)
            print(f"{read:14.2f} {converted:9.2f} {theirs:6.0f} {seconds / read:8.2f} {seconds / converted:6.2f}", flush=True)
        else:
            print("not read by it", flush=True)
        os.remove(file)


def results():
    """A mesh with ten fields, and one that differs in one number."""
    for name, change in (("a", 0), ("b", 1e-3)):
        write(f"{name}.vtu", "vtu", {"compression": None}, 10, change)
        ours("import", f"{name}.vtu", f"{name}.pdm", "--quiet")
        os.remove(f"{name}.vtu")
    print(f"\n{'with 10 fields':20} {'s':>6} {'MB':>6} {'file MB':>8} ({os.path.getsize('a.pdm') / 2**20:.0f} MB as it is)")
    for title, command, out in [
            ("view", ["view", "a.pdm", "-o", "out.hdf"], "out.hdf"),
            ("report", ["report", "a.pdm", "-o", "out.html"], "out.html"),
            ("draw", ["draw", "a.pdm", "-o", "out.png"], "out.png"),
            *((f"export, {end}", ["export", "a.pdm", f"out.{end}", "--lossy"], f"out.{end}")
              for end in ("exo", "vtu", "msh", "vtkhdf")),
            ("export, csv", ["export", "a.pdm", "out.csv", "--field", "field1"], "out.csv")]:
        runs = [ours(*command, "--force", "--quiet") for _ in range(ROUNDS)]
        print("{:20} {:6.2f} {:6.0f} {:8.1f}".format(title, *median(runs), os.path.getsize(out) / 2**20), flush=True)
        os.remove(out)
    mine, theirs = [], []
    for _ in range(ROUNDS):
        mine.append(ours("diff", "a.pdm", "b.pdm", codes=(1,)))
        theirs.append(child("h5diff", "a.pdm", "b.pdm")[:2])
    print("{:20} {:6.2f} {:6.0f}; h5diff {:.2f} s, {:.0f} MB".format("diff", *median(mine), *median(theirs)), end="")
    print(f", ratio {median(mine)[0] / median(theirs)[0]:.2f}")


if __name__ == "__main__":
    PYTHON = "/usr/bin/python3"
    PDMSIM = os.path.abspath(sys.argv[1])
    ROUNDS, EDGE = (int(sys.argv[i]) if len(sys.argv) > i else other for i, other in ((2, 5), (3, 100)))
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as folder:
        os.chdir(folder)
        imports()
        results()
