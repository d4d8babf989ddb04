#!/usr/bin/env python3
"""The stubs say what is there, and a program that uses the package is checked by them."""

import importlib
import inspect
import os
import subprocess
import sys
import tempfile
import unittest

import pdm_core as pdm

GOOD = """
import numpy as np
import pdm_core as pdm
with pdm.open("a.pdm") as sim:
    mesh = sim.model.mesh
    names: list[str] = list(mesh.node_sets)
    total: int = int(mesh.node_sets["inlet"].sum()) + len(mesh.node_fields["heat"].at(time=0.5))
    mesh.node_fields.create("q", np.zeros(4), unit="W").append([1, 2, 3, 4])
    shapes: pdm.Field = mesh.systems["modal"].mode_shapes
    for name, field in mesh.node_fields.items():
        field.unit.upper()
class Comm:
    def py2f(self) -> int: return 0
with pdm.open("a.pdm", "r+", comm=Comm()) as ranks, ranks.update():
    ranks.field("node_fields", "q").append_rows([1.5], 0).rows.bit_length()
    ranks.share(lambda sim: sim.model.mesh.blocks[0].connectivity).write_rows([[0, 1, 2]], rows=[ranks.rank])
    steps: int = ranks.on_root(lambda sim: len(sim.model.mesh.times))
"""
BAD = ['pdm.open("a.pdm", "w")', 'pdm.open("a.pdm").model.mesh.node_sets[1]', 'pdm.open("a.pdm").modle.mesh',
       'pdm.open("a.pdm").model.mesh.node_fields.create(1)', 'pdm.open("a.pdm", comm=1)']


def names(one):
    return {name for name in vars(one) if not name.startswith("_") or name in ("__len__", "__getitem__", "__iter__")}


class Stubs(unittest.TestCase):
    def mypy(self, program):
        with tempfile.TemporaryDirectory(dir=sys.argv[1]) as folder:
            with open(os.path.join(folder, "program.py"), "w") as file:
                file.write(program)
            return subprocess.run(
                [sys.executable, "-m", "mypy", "--strict", "--cache-dir", sys.argv[1] + "/mypy", "program.py"],
                cwd=folder, capture_output=True, text=True, env={**os.environ, "MYPYPATH": sys.path[1]})

    def test_a_program_is_checked(self):
        result = self.mypy(GOOD)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        result = self.mypy("import pdm_core as pdm\n" + "\n".join(BAD))
        wrong = {line.split(":")[1] for line in result.stdout.splitlines() if ": error:" in line}
        self.assertEqual(wrong, {str(2 + i) for i in range(len(BAD))}, result.stdout)

    def test_stubs_have_what_there_is(self):
        file = os.path.join(os.path.dirname(pdm.__file__), "_pdm_core.pyi")
        with open(file) as stubs:
            source = "from __future__ import annotations\n" + stubs.read()
        told = {"__name__": "told"}
        exec(compile(source, file, "exec"), told)
        for name in pdm.__all__:
            one = getattr(pdm, name)
            if not inspect.isclass(one) or issubclass(one, Exception):
                continue
            said = set().union(*(vars(base) for base in told[name].__mro__)) | set(told[name].__annotations__)
            self.assertEqual(names(one) - said, set(), name)
            self.assertEqual({each for each in names(told[name])} - set(dir(one)), set(), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
