#!/usr/bin/env python3
"""A host's own classes in Python, by the module that pdm_core_generate(... PYTHON) makes."""

import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import pdm_core as pdm
from model import make

sys.path.insert(0, sys.argv[2])
LATE = make(os.path.join(tempfile.mkdtemp(dir=sys.argv[1]), "late.pdm"))
BEFORE = pdm.open(LATE, "r+")  # open before the classes are known
import hst  # noqa: E402

VALUES = {
    "Bool": [True, False], "Uchar": [7, 255], "Int": [-3, 2], "Longlong": [1 << 40, -1], "Float": [0.5, 2.0],
    "Double": [0.1, -2.0], "String": ["ä", ""]}
PROGRAM = """
import hst, pdm_core as pdm
with pdm.open("a.pdm", "r+") as sim:
    beam: hst.Beam = sim.model.mesh.systems.create("beam", hst.Beam)
    beam.stiffness = 2.5
    beam.tags = ["a", "b"]
    part: hst.Part = beam.parts.append(xInt=3)
    number: int = beam.parts[0].xInt + part.xInt
    one: hst.Everything = beam.object.create("everything", hst.Everything)
    total: float = one.listDouble.sum() + len(beam.tags[0])
    one.listDouble = [1, 2]
"""
WRONG = ['beam.stiffness = "soft"', "beam.parts[0].xInt.upper()", 'sim.model.mesh.systems.create("x", hst.Part)']


class Hosts(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(dir=sys.argv[1])
        self.file = make(os.path.join(self.folder, "a.pdm"))

    def test_written_and_read_again(self):
        with pdm.open(self.file, "r+") as sim, sim.update():
            mesh = sim.model.mesh
            beam = mesh.systems.create("beam", hst.Beam)
            self.assertIs(type(beam), hst.Beam)
            beam.stiffness, beam.tags = 2.5, ["one", "two"]
            for i in range(3):
                beam.parts.append(xInt=i)
            beam.object.create("spare", xInt=9)
            one = beam.object.create("everything")
            for name, values in VALUES.items():
                setattr(one, "single" + name, values[0])
                setattr(one, "list" + name, values)
                setattr(one, "byInt" + name, dict(enumerate(values)))
                setattr(one, "byName" + name, dict(zip("xy", values)))
            one.singleCset, one.listDistribution = mesh.node_sets.set("inlet"), [mesh.node_fields["temperature"], None]
        with pdm.open(self.file) as sim:
            beam = sim.model.mesh.systems["beam"]
            self.assertIsInstance(beam, hst.Beam)
            self.assertIs(type(sim["discreteModel/mesh/systems/1"]), hst.Beam)
            self.assertEqual((beam.kind, beam.stiffness, beam.tags), ("other", 2.5, ["one", "two"]))
            self.assertEqual([part.xInt for part in beam.parts], [0, 1, 2])
            self.assertEqual([part.xInt for part in beam.parts[::-2]], [2, 0])
            self.assertEqual((beam.parts[-1].xInt, beam.spare.xInt), (2, 9))
            one = beam.everything
            self.assertIs(type(one), hst.Everything)
            for name, values in VALUES.items():
                self.assertEqual(getattr(one, "single" + name), values[0])
                self.assertEqual(list(getattr(one, "list" + name)), values)
                self.assertEqual(getattr(one, "byInt" + name), dict(enumerate(values)))
                self.assertEqual(getattr(one, "byName" + name), dict(zip("xy", values)))
            np.testing.assert_array_equal(one.singleCset, [0, 1])
            self.assertEqual((one.listDistribution[0].unit, one.listDistribution[1]), ("K", None))

    def test_refused(self):
        with pdm.open(self.file, "r+") as sim:
            systems = sim.model.mesh.systems
            beam = systems.create("beam", hst.Beam)
            for call in (
                    lambda: systems.create("part", hst.Part), lambda: systems.create("none", int),
                    lambda: systems.create("none", pdm.System), lambda: beam.parts.append(hst.Frame),
                    lambda: beam.parts.append(xInt="three"), lambda: beam.parts.append(nothing=1),
                    lambda: beam.object.create("parts"), lambda: beam.object.create("spare", hst.Beam),
                    lambda: setattr(beam, "parts", [])):
                self.assertRaises(pdm.Error, call)
            self.assertEqual((len(beam.parts), len(systems), beam.spare), (0, 2, None))
            beam.object.create("spare")
            self.assertRaises(pdm.Error, beam.object.create, "spare")
        for call in (lambda: beam.parts, lambda: setattr(beam, "stiffness", 1.0), lambda: beam.object.create("spare")):
            self.assertRaises(pdm.Error, call)
        self.assertRaises(TypeError, hst.Beam)

    def test_of_a_file_that_was_open_before(self):
        with BEFORE as sim:
            self.assertIs(type(sim.model.mesh.systems.create("beam", hst.Beam)), hst.Beam)
        with pdm.open(LATE) as sim:
            self.assertEqual(sim.model.mesh.systems["beam"].stiffness, 0)

    def test_a_program_is_checked(self):
        text = PROGRAM + "".join(f"    {line}\n" for line in WRONG)
        with open(os.path.join(self.folder, "program.py"), "w") as program:
            program.write(text)
        result = subprocess.run(
            [sys.executable, "-m", "mypy", "--strict", "--cache-dir", sys.argv[1] + "/mypy", "program.py"],
            cwd=self.folder, capture_output=True, text=True, env={**os.environ, "MYPYPATH": f"{sys.path[2]}:{sys.argv[2]}"})
        first = PROGRAM.count("\n") + 1
        wrong = {line.split(":")[1] for line in result.stdout.splitlines() if ": error:" in line}
        self.assertEqual(wrong, {str(first + i) for i in range(len(WRONG))}, result.stdout)
        exec(PROGRAM.replace('"a.pdm"', "file"), {"file": self.file})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
