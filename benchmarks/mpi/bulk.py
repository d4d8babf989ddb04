#!/usr/bin/env python3
"""Writing and reading by ranks beside its peers: medians of interleaved runs.

Usage: bulk.py BUILD [--megabytes 500] [--rounds 7] [--where /dev/shm] [--ranks 1 2 4] [--json FILE]
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import tempfile

arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("build", type=pathlib.Path, help="folder of a build with PDM_BENCHMARKS and PDM_MPI")
arguments.add_argument("--megabytes", type=int, default=500)
arguments.add_argument("--rounds", type=int, default=7)
arguments.add_argument("--where", default="/dev/shm", help="folder of the files that are written")
arguments.add_argument("--ranks", type=int, nargs="+", default=[1, 2, 4])
arguments.add_argument("--json", type=pathlib.Path, help="takes the figures")
given = arguments.parse_args()

ENVIRONMENT = os.environ | {
    "OMPI_ALLOW_RUN_AS_ROOT": "1",
    "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
    "OMPI_MCA_sharedfp": "individual",
    "OMPI_MCA_hwloc_base_binding_policy": "none",
}
WAYS = {  # program, its way, option
    "raw MPI-IO": ("mpi_bulk", "raw", ""),
    "ranks": ("mpi_bulk", "ranks", "1"),
    "ranks, option 2": ("mpi_bulk", "ranks", "2"),
    "HDF5 for ranks, collective": ("mpi_hdf5", "collective", ""),
    "HDF5 for ranks, independent": ("mpi_hdf5", "independent", ""),
    "through rank 0": ("mpi_bulk", "funnel", "1"),
}


def run(ranks, program, way, option, megabytes):
    with tempfile.TemporaryDirectory(dir=given.where) as folder:
        command = ["mpirun", "--oversubscribe", "-np", str(ranks), given.build / "bin" / program, way]
        command += [f"{folder}/a.h5", str(megabytes), *option.split()]
        done = subprocess.run(command, env=ENVIRONMENT, stdout=subprocess.PIPE, timeout=300, check=True, text=True)
    return [float(number) for number in done.stdout.split()]


figures = {}
for ranks in given.ranks:
    there = {name: way for name, way in WAYS.items() if (given.build / "bin" / way[0]).exists()}
    times = {name: [] for name in there}
    for _ in range(given.rounds):
        for name, way in there.items():
            times[name].append(run(ranks, *way, given.megabytes))
    peer = [statistics.median(time) for time in zip(*times["raw MPI-IO"])]
    print(f"\n{given.megabytes} MB, {ranks} ranks, seconds (beside raw MPI-IO)")
    for name, all_times in times.items():
        write, read = (statistics.median(time) for time in zip(*all_times))
        figures[f"{name}, {ranks}"] = {"write": write, "read": read}
        print(f"  {name:28} write {write:6.3f} ({write / peer[0]:4.2f})   read {read:6.3f} ({read / peer[1]:4.2f})")
for option in "12":
    for ranks in given.ranks:
        took = statistics.median(run(ranks, "mpi_bulk", "commits", option, 1)[0] for _ in range(3))
        figures[f"commit of 1 MB, option {option}, {ranks}"] = took
        print(f"  a commit of 1 MB, option {option}, {ranks} ranks: {took:.0f} us")
if given.json:
    given.json.write_text(json.dumps(figures, indent=1))
