#!/usr/bin/env python3
"""What opening a file of 500 fields and reading one of them costs in system calls on the file: by the ranks of a job, and by
as many processes that know nothing of each other. Needs strace.

Usage: opening.py BUILD [--ranks 4]
"""

import argparse
import collections
import os
import pathlib
import re
import subprocess
import tempfile

arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("build", type=pathlib.Path, help="folder of a build with PDM_BENCHMARKS and PDM_MPI")
arguments.add_argument("--ranks", type=int, default=4)
given = arguments.parse_args()
program = given.build / "bin" / "mpi_open"
environment = os.environ | {
    "OMPI_ALLOW_RUN_AS_ROOT": "1",
    "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
    "OMPI_MCA_sharedfp": "individual",
}


def count(log, name):
    """Calls that name the file, or a descriptor of it."""
    calls = collections.Counter()
    for line in log.read_text(errors="replace").splitlines():
        found = re.match(r"(?:\d+ +)?(\w+)\(", line)
        if found and (f"{name}>" in line or f'{name}"' in line):
            calls[found[1]] += 1
    return calls


def tell(title, logs, name):
    print(title)
    for log in logs:
        calls = count(log, name)
        kinds = ", ".join(f"{number} {call}" for call, number in calls.most_common())
        print(f"  {sum(calls.values()):5} calls: {kinds}")


with tempfile.TemporaryDirectory() as folder:
    folder = pathlib.Path(folder)
    file = folder / "a.pdm"
    subprocess.run([program, "make", file], check=True)
    watch = ["strace", "-f", "-y", "-o"]
    script = f'exec strace -f -y -o {folder}/rank.$OMPI_COMM_WORLD_RANK "$@"'
    command = ["mpirun", "--oversubscribe", "-np", str(given.ranks), "sh", "-c", script, "sh", program, "ranks", file]
    subprocess.run(command, env=environment, check=True, timeout=120)
    tell(f"{given.ranks} ranks of a job", [folder / f"rank.{rank}" for rank in range(given.ranks)], file)
    alone = [subprocess.Popen([*watch, folder / f"alone.{i}", program, "alone", file]) for i in range(given.ranks)]
    if any(process.wait(timeout=120) for process in alone):
        raise SystemExit("a process failed")
    tell(f"{given.ranks} processes by themselves", [folder / f"alone.{i}" for i in range(given.ranks)], file)
