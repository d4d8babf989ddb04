#!/usr/bin/env python3
"""The package beside h5py and C++: medians of interleaved runs.

Usage: PYTHONPATH=build/release/python benchmarks/python/bench.py build/release/bin/open_member
"""

import os
import statistics
import subprocess
import sys
import tempfile
import time

import h5py
import numpy as np
import pdm_core as pdm


def timed(work):
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def interleaved(rounds, *works):
    """The median time of each, run in turns."""
    times = [[] for _ in works]
    for _ in range(rounds):
        for mine, work in zip(times, works):
            mine.append(timed(work))
    return [statistics.median(mine) for mine in times]


def coordinates(folder):
    file, plain = os.path.join(folder, "big.pdm"), os.path.join(folder, "big.h5")
    numbers = np.random.default_rng(1).random((1_000_000, 3))
    with pdm.create(file) as sim:
        sim.create_mesh(len(numbers), 0).node_fields.create("coordinates", numbers)
    with h5py.File(plain, "w") as other:
        other["coordinates"] = numbers
    with pdm.open(file) as sim, h5py.File(plain) as other:
        field, dataset = sim.model.mesh.node_fields["coordinates"], other["coordinates"]
        ours, theirs = interleaved(41, lambda: field[:], lambda: dataset[:])
    print(f"coordinates of 1e6 nodes: {ours * 1e3:.2f} ms, h5py {theirs * 1e3:.2f} ms, ratio {ours / theirs:.3f} (at most 1.1)")


def member(folder, program):
    file = os.path.join(folder, "small.pdm")
    with pdm.create(file) as sim:
        sim.create_mesh(4, 0)

    def ours():
        with pdm.open(file) as sim:
            assert sim.model.mesh.node_count == 4

    mine, theirs = [], []
    for _ in range(15):
        mine.append(statistics.median(timed(ours) for _ in range(50)) * 1e6)
        theirs.append(float(subprocess.run([program, file, "50"], capture_output=True, check=True).stdout))
    a, b = statistics.median(mine), statistics.median(theirs)
    print(f"open and read one member: {a:.0f} us, C++ {b:.0f} us, difference {a - b:.0f} us (at most 60)")


def names(folder):
    file = os.path.join(folder, "sets.pdm")
    with pdm.create(file) as sim, sim.update():
        mesh = sim.create_mesh(10_000, 0)
        for i in range(10_000):
            mesh.node_sets[f"set number {i}"] = [i]
    with pdm.open(file) as sim:
        sets = sim.model.mesh.node_sets
        list(sets)
        (each,) = interleaved(41, lambda: [name for name in sets])
    print(f"10,000 set names: {each / 10_000 * 1e6:.3f} us each (at most 1)")


with tempfile.TemporaryDirectory() as folder:
    coordinates(folder)
    member(folder, sys.argv[1])
    names(folder)
