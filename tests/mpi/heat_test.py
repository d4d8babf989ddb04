"""Drives examples/heat_mpi as its README does.

Usage: heat_test.py HEAT_MPI HEAT PDMSIM PROJECT_FOLDER MPIEXEC NUMBER_FLAG [unittest arguments]
"""

import json
import os
import signal
import subprocess
import sys
import unittest
from pathlib import Path

HEAT_MPI, HEAT, PDMSIM, PROJECT = map(Path, sys.argv[1:5])
MPIEXEC = sys.argv[5:7]
sys.path.append(str(PROJECT / "tests/tools"))
import programs  # noqa: E402

STEPS = 12
ROUND_OFF = ("--rel", "1e-12", "--ignore", "*/partition")
# Two bricks; the second one is inside out if told so.
BRICKS = """$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n12
1 0 0 0\n2 1 0 0\n3 1 1 0\n4 0 1 0\n5 0 0 1\n6 1 0 1\n7 1 1 1\n8 0 1 1\n9 2 0 0\n10 2 1 0\n11 2 0 1\n12 2 1 1
$EndNodes\n$Elements\n2\n1 5 2 0 1 1 2 3 4 5 6 7 8\n2 5 2 0 1 {}\n$EndElements\n"""


class HeatMpi(programs.Case):
    @classmethod
    def setUpClass(cls):
        """What one rank finds."""
        cls.alone = programs.folder(cls.addClassCleanup) / "alone.pdm"
        programs.run(PDMSIM, "import", PROJECT / "examples/meshes/block.exo", cls.alone)
        cls.said_alone = programs.run(*cls.job(1, cls.alone)).stdout.decode()

    def mesh(self, name, source=PROJECT / "examples/meshes/block.exo"):
        self.done(PDMSIM, "import", source, self.dir / name, "--quiet")
        return self.dir / name

    @staticmethod
    def job(ranks, file, *flags):
        return [*MPIEXEC, str(ranks), str(HEAT_MPI), str(file), "--steps", str(STEPS), *flags]

    def heat(self, ranks, file, *flags):
        return self.done(*self.job(ranks, file, *flags)).decode()

    def start(self, ranks, file, *flags):
        """A job that has done a few steps."""
        running = subprocess.Popen(self.job(ranks, file, *flags), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(running.wait, 60)
        self.addCleanup(running.stdout.close)
        for _ in range(5):
            running.stdout.readline()
        return running

    def same(self, one, other, *flags):
        said = programs.run(PDMSIM, "diff", one, other, *flags)
        self.assertIn(said.returncode, (0, 1), said)
        return said.returncode == 0

    def test_any_number_of_ranks_finds_the_same(self):
        parts, slices, serial, exact = (self.mesh(name + ".pdm") for name in ("parts", "slices", "serial", "exact"))
        self.assertIn("1 rank with all 320 elements\n", self.said_alone)
        self.done(PDMSIM, "partition", parts, 3, "--quiet")
        said = self.heat(3, parts)
        self.assertIn("each, by the 3 parts of the field 'partition'\n", said)
        self.assertEqual(said.count("step "), STEPS + 1)  # rank 0 alone tells it
        self.assertIn("with 160 elements each, in slices: there is no field", self.heat(2, slices))
        self.assertTrue(self.same(self.alone, parts, *ROUND_OFF))
        self.assertTrue(self.same(self.alone, slices, *ROUND_OFF))
        self.assertIn("each, in slices: 3 parts of the field 'partition' do not go evenly", self.heat(2, parts))

        self.done(HEAT, serial, "--steps", STEPS)  # by a factorised matrix
        self.assertTrue(self.same(serial, slices, "--rel", "1e-10"))
        self.done(HEAT, exact, "--steps", STEPS, "--series")
        self.assertTrue(self.same(exact, slices, "--tol", "temperature=abs:0.3"))
        self.assertFalse(self.same(exact, slices, "--tol", "temperature=abs:0.001"))

    def test_a_job_that_is_killed_goes_on_with_other_ranks(self):
        bar = self.mesh("bar.pdm")
        self.start(3, bar, "--pause", "100")
        root = next(
            int(process.name)
            for process in Path("/proc").glob("[0-9]*")
            if (words := self.words(process)).startswith(f"{HEAT_MPI}\0{bar}\0".encode())
            and any(f"\0{name}=0\0".encode() in self.words(process, "environ") for name in ("OMPI_COMM_WORLD_RANK", "PMI_RANK"))
        )
        os.kill(root, signal.SIGKILL)
        # At once: the other ranks live on for a while, and are waited for.
        self.assertRegex(self.heat(2, bar), r"2 ranks .*\n.*: [4-9] steps are there, going on\nstep [4-9] of")
        self.assertTrue(self.same(self.alone, bar, *ROUND_OFF))
        self.assertIn(b": sound", self.done(PDMSIM, "check", bar))

    @staticmethod
    def words(process, what="cmdline"):
        try:
            return (b"\0" if what == "environ" else b"") + (process / what).read_bytes()
        except OSError:  # it has ended, or is another user's
            return b""

    def test_a_live_reader_sees_whole_steps_only(self):
        bar = self.mesh("bar.pdm")
        running = self.start(3, bar, "--pause", "60")
        watch = subprocess.Popen([PDMSIM, "watch", bar, "--json", "--interval", "0.02"], stdout=subprocess.PIPE)
        self.addCleanup(watch.wait, 60)
        self.addCleanup(watch.stdout.close)
        self.addCleanup(watch.kill)
        first, second = (json.loads(watch.stdout.readline()) for _ in range(2))
        self.assertGreater(second["time"], first["time"])
        looks = set()
        while running.poll() is None:
            said = programs.run(PDMSIM, "diff", self.alone, bar, "--live", "--json", *ROUND_OFF)
            seen = json.loads(said.stdout)
            self.assertEqual((seen["differences"], seen["onlyInB"]), ([], []))
            lacking = [one["kind"] for one in seen["onlyInA"] if one["path"] == "discreteModel/frames"]
            looks.add(len(lacking))
        self.assertGreater(len(looks), 2)
        self.assertTrue(self.same(self.alone, bar, *ROUND_OFF))

    def test_a_failure_is_one_line_of_the_job(self):
        flat = self.mesh("flat.pdm", PROJECT / "examples/meshes/annulus-20.exo")
        self.refused(1, HEAT_MPI, flat, says=["heat_mpi: expected a mesh in space, found 2 dimensions"])
        self.refused(1, HEAT_MPI, self.dir / "none.pdm", says=["none.pdm", "No such file"])
        for nodes, says in (
            ("3 10 9 2 7 12 11 6", "element 1 of block 0 is flat or inside out"),  # the second rank's
            ("1 2 3 4 5 6 7 8", "expected every node in an element, found node 8 in none"),
        ):
            (self.dir / "bricks.msh").write_text(BRICKS.format(nodes))
            bricks = self.mesh(f"bricks{nodes[0]}.pdm", self.dir / "bricks.msh")
            done = programs.run(*self.job(2, bricks))
            self.assertEqual((done.returncode, done.stderr.count(b"heat_mpi: ")), (1, 1), done)
            self.assertIn(f"heat_mpi: {says}\n", done.stderr.decode())


unittest.main(argv=sys.argv[:1] + sys.argv[7:])
