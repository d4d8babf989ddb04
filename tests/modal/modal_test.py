"""Drives modal_analysis, modal_read, pdmsim dofs and the picture, and reads what they leave by h5py.

Usage: modal_test.py BIN_FOLDER PROJECT_FOLDER [unittest arguments]"""

import json
import math
import re
import resource
import subprocess
import sys
import unittest
from pathlib import Path

import h5py
import numpy as np

import boxes  # which makes the tools' readers known
import programs
from pdm_reader import System, array, members, systems

BIN, PROJECT = map(Path, sys.argv[1:3])
sys.path.append(str(PROJECT / "tests/golden"))
import golden_text  # noqa: E402

BLOCK = PROJECT / "examples/meshes/block.exo"
YOUNG, DENSITY = 210e9, 7850  # the default: steel


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.pdm = self.dir / "model.pdm"

    def done(self, program, *args):
        return super().done(BIN / program, *args).decode()

    def import_(self, mesh):
        self.done("pdmsim", "import", mesh, self.pdm, "--force", "--quiet")

    def analyse(self, *flags):
        return json.loads(self.done("modal_analysis", self.pdm, "--json", *flags))

    def dofs(self, system, *flags):
        return json.loads(self.done("pdmsim", "dofs", self.pdm, system, "--json", *flags))

    def refused(self, code, says, program, *args):
        super().refused(code, BIN / program, *args, says=[says])

    def damage(self, number, dataset, place, value):
        with h5py.File(self.pdm, "r+") as file:
            data = dataset(systems(file)[number])
            data.attrs.pop("checksums", None)  # or the library would find the damage before the program does
            data[place] = value(data) if callable(value) else value

    def system(self, name):
        file = h5py.File(self.pdm, "r")
        self.addCleanup(file.close)
        return next(s for s in systems(file) if s.name == name)


class Beam(Case):
    """The 10 x 2 x 2 block of real origin."""

    def test_clamped_block_bends_and_stretches_as_theory_says(self):
        self.import_(BLOCK)
        report = self.analyse()
        wave = math.sqrt(YOUNG / DENSITY)
        bending = 1.875104068711961**2 / (2 * math.pi * 10**2) * wave * math.sqrt(2**2 / 12)
        modes = {(m["kind"], m["number"]): m for m in report["modes"]}
        for kind in ("bending y", "bending z"):
            self.assertAlmostEqual(modes[kind, 1]["slenderTheory"] / bending, 1, delta=1e-6)
            self.assertAlmostEqual(modes[kind, 1]["frequency"] / bending, 1, delta=0.03)
            self.assertLess(modes[kind, 1]["timoshenko"], bending)
            self.assertAlmostEqual(modes[kind, 2]["frequency"] / modes[kind, 2]["timoshenko"], 1, delta=0.03)
        self.assertAlmostEqual(modes["axial", 1]["frequency"] / (wave / 40), 1, delta=0.015)
        self.assertEqual((report["dofs"], report["solverDofs"], report["clampedNodes"]), (1575, 1500, 25))
        self.done("modal_read", self.pdm)

    def test_free_block_has_six_rigid_modes_and_keeps_both_analyses(self):
        self.import_(BLOCK)
        self.analyse()
        self.refused(2, "found one; choose another --name", "modal_analysis", self.pdm)
        report = self.analyse("--clamp", "none", "--modes", "14", "--name", "free")
        frequencies = [m["frequency"] for m in report["modes"]]
        self.assertEqual((report["rigidModes"], frequencies), (6, sorted(frequencies)))
        self.assertLess(frequencies[5], 1e-4 * frequencies[6])
        self.assertAlmostEqual(frequencies[6] / report["modes"][6]["timoshenko"], 1, delta=0.02)
        self.assertAlmostEqual(frequencies[6] / frequencies[7], 1, delta=1e-6)  # two planes, one frequency
        free = self.system("free")
        (event,) = array(free.group["events"])
        self.assertEqual(list(free.members(members(event, "ModalEvent")["activeModes"])), list(range(6, 14)))
        self.assertEqual(self.done("modal_read", self.pdm).count("modal system "), 2)

    def test_units_scale_and_the_picture_shows_something(self):
        self.import_(BLOCK)
        si = self.analyse("--young", "70e9", "--density", "2700")["modes"]
        mm = self.analyse("--units", "mm", "--young", "70e3", "--density", "2.7e-9", "--name", "mm")["modes"]
        self.assertAlmostEqual(1000 * si[0]["frequency"] / mm[0]["frequency"], 1, delta=1e-9)
        picture = self.dir / "modes.png"
        subprocess.run([sys.executable, "-B", PROJECT / "examples/modal_analysis/draw_modes.py", self.pdm,
                        picture, "mm"], check=True, timeout=120)
        from matplotlib import image
        pixels = (image.imread(picture)[:, :, :3] * 255).astype(int)
        coloured = np.ptp(pixels, axis=2) > 60
        for row in np.array_split(coloured, 2, axis=0):
            for third in np.array_split(row, 3, axis=1):
                self.assertGreater(third.mean(), 0.02, "each of six pictures shows a body")


class Solids(Case):
    """Meshes of our own: every kind of element, disorder, and bodies that theory does not know."""

    def test_each_kind_of_element_finds_the_modes_of_a_free_beam(self):
        points, hexes = boxes.bricks((10, 2, 2), (10, 2, 2))
        exact = self.frequencies(boxes.with_midsides(points, hexes, boxes.HEX_EDGES), "HEX20")
        quadratic = self.frequencies(boxes.with_midsides(points, boxes.tets(hexes), boxes.TET_EDGES), "TETRA10")
        np.testing.assert_allclose(quadratic, exact, rtol=0.02)
        linear = self.frequencies((points, hexes[:, [4, 5, 6, 7, 0, 1, 2, 3]]), "HEX8")  # either orientation will do
        np.testing.assert_allclose(linear[:2], exact[:2], rtol=0.03)
        np.testing.assert_allclose(linear, exact, rtol=0.1)  # torsion, two elements wide
        linear = self.frequencies((points, boxes.tets(hexes)[:, [1, 0, 2, 3]]), "TETRA")
        self.assertTrue((linear > 1.05 * exact)[:2].all(), "stiff, as documented")

    def frequencies(self, mesh, kind):
        self.import_(boxes.write(self.dir / "mesh.exo", mesh[0], (kind, mesh[1])))
        report = self.analyse("--clamp", "none", "--modes", "10")
        self.assertEqual(report["rigidModes"], 6, kind)
        self.done("modal_read", self.pdm)
        return np.array([m["frequency"] for m in report["modes"]][6:])

    def test_two_loose_bodies_with_strays_have_twelve_rigid_modes_and_all_equal_ones(self):
        # Equal frequencies four times over are what a search easily misses; nodes of nobody and shells stand by.
        points, hexes = boxes.bricks((6, 2, 2), (6, 1, 1))
        points, hexes = boxes.shuffled(np.concatenate([points, points + [0, 5, 0], [[50, 50, 50], [60, 0, 0]]]),
                                       np.concatenate([hexes, hexes + len(points)]))
        labels = 3 * np.arange(len(points)) + 7
        self.import_(boxes.write(self.dir / "mesh.exo", points, ("HEX8", hexes), ("SHELL4", hexes[:3, :4]),
                                 node_labels=labels))
        report = self.analyse("--clamp", "none", "--modes", "18")
        elastic = [m["frequency"] for m in report["modes"]][12:]
        self.assertEqual((report["rigidModes"], report["leftOut"], report["beam"]), (12, ["SHELL4"], False))
        np.testing.assert_allclose(elastic[:4], elastic[0], rtol=1e-6)
        self.assertGreater(elastic[4], 1.05 * elastic[0])
        self.assertEqual(report["dofs"], 3 * (len(points) - 2))
        self.assertLess(report["bandwidth"]["solver"], report["bandwidth"]["system"] / 3)
        self.done("modal_read", self.pdm)
        stray = int(np.argmax(points[:, 0] == 50))
        self.assertEqual(self.dofs("0", "--node", labels[stray])["node"],
                         {"label": labels[stray], "item": stray, "mask": 0, "dofs": []})

    def test_a_node_set_can_be_clamped(self):
        points, hexes = boxes.bricks((4, 2, 2), (8, 1, 2))
        held = np.flatnonzero(points[:, 0] == 8) + 1
        self.import_(boxes.write(self.dir / "mesh.exo", points, ("HEX8", hexes),
                                 node_sets=[{"id": 4, "name": "wall", "members": held}]))
        by_set = self.analyse("--clamp", "wall", "--name", "by set")["modes"]
        by_face = self.analyse("--clamp", "x-max")["modes"]
        np.testing.assert_allclose([m["frequency"] for m in by_set], [m["frequency"] for m in by_face], rtol=1e-9)
        self.assertEqual([m["kind"] for m in by_face[:2]], ["bending y", "bending z"])


class Damage(Case):
    """modal_read finds what is wrong in a file, says what, and ends with 1."""

    def test_each_damage_is_found(self):
        points, hexes = boxes.bricks((4, 1, 1), (4, 1, 1))
        self.import_(boxes.write(self.dir / "mesh.exo", points, ("HEX8", hexes)))
        self.analyse("--modes", "5")
        whole = self.pdm.read_bytes()
        field = lambda name, drawer=0: lambda system: system.field(name, drawer)
        base = lambda member: lambda system: system.base_field(member)
        for promise, dataset, place, value in (
                ("by its label", base("nodalLabels"), 3, 1),
                ("activity mask", base("nodalActivityMask"), 0, -1),
                ("what the masks number", base("nodalActivityMask"), 19, 3),
                ("each once", System.order, 1, lambda data: data[0]),
                ("frequencies ascend", field("eigenvalues"), 0, 1e12),
                ("are finite", field("frequencies"), 2, math.nan),
                ("orthonormal in the mass", field("modeShapes", 2), (17, 1), 0.5),
                ("give the eigenvalues", field("youngsModulus"), 0, 200e9),
                ("not free", field("modeShapes", 1), (0, 0), 1e-9)):
            self.pdm.write_bytes(whole)
            self.damage(0, dataset, place, value)
            done = programs.run(BIN / "modal_read", self.pdm)
            failed = [line for line in done.stdout.decode().splitlines() if "FAILED" in line]
            self.assertEqual(done.returncode, 1, (promise, done))
            self.assertTrue(any(promise in line for line in failed), (promise, done.stdout))
        self.pdm.write_bytes(whole)
        self.done("modal_read", self.pdm)


class BadInputs(Case):
    def test_what_cannot_be_used_ends_with_one_line_and_2(self):
        h5py.File(self.dir / "other.pdm", "w").close()
        for program, *rest in (("modal_analysis",), ("modal_read",), ("pdmsim", "dofs", "0")):
            self.refused(2, "other.pdm", program, *rest[:1], self.dir / "other.pdm", *rest[1:])
        points, hexes = boxes.bricks((2, 1, 1), (2, 1, 1))
        flat = np.where(np.arange(3) == 2, 0, points)
        for says, nodes, *blocks in (
                ("found only SHELL4", points, ("SHELL4", hexes[:, :4])),
                ("found WEDGE6 with 6 nodes", points, ("HEX8", hexes), ("WEDGE6", hexes[:, :6])),
                ("flat or folded HEX8", flat, ("HEX8", hexes)),
                ("flat or folded HEX8", points, ("HEX8", hexes[:, [6, 1, 2, 3, 4, 5, 6, 7]])),
                ("flat or folded TETRA", points, ("TETRA", hexes[:, [0, 1, 2, 3]])),
                ("expected finite coordinates", points * [math.nan, 1, 1], ("HEX8", hexes))):
            self.import_(boxes.write(self.dir / "mesh.exo", nodes, *blocks))
            before = self.pdm.read_bytes()
            self.refused(2, says, "modal_analysis", self.pdm)
            self.assertEqual(self.pdm.read_bytes(), before)
            self.refused(2, "expected a modal system, found none", "modal_read", self.pdm)

    def test_bad_options_are_refused_and_small_bodies_give_what_they_have(self):
        points, hexes = boxes.bricks((1, 1, 1), (1, 1, 1))
        self.import_(boxes.write(self.dir / "mesh.exo", points, ("HEX8", hexes)))
        self.refused(2, "no set of that name", "modal_analysis", self.pdm, "--clamp", "w-min")
        for flags in (["--modes", "0"], ["--poisson", "0.5"], ["--density", "-1"], ["--units", "inch"]):
            self.assertEqual(programs.run(BIN / "modal_analysis", self.pdm, *flags).returncode, 1, flags)
        report = self.analyse("--modes", "50")
        self.assertEqual((len(report["modes"]), report["solverDofs"]), (12, 12))
        self.done("modal_read", self.pdm)


class Dofs(Case):
    def test_a_bandwidth_that_grows_is_called_no_failure(self):
        self.import_(BLOCK)
        seen = set()
        for clamp in ("none", "x-min", "z-max"):
            text = self.done("modal_analysis", self.pdm, "--modes", 1, "--clamp", clamp, "--name", clamp)
            before, after = map(int, re.search(r"bandwidth (\d+) as numbered, (\d+) in", text).groups())
            dofs = self.done("pdmsim", "dofs", self.pdm, clamp)
            self.assertEqual(("(no failure: " in text, "(no failure: " in dofs), (after > before,) * 2, text + dofs)
            seen.add(after > before)
        self.assertIn(True, seen)

    def test_figures_agree_with_what_h5py_makes_of_the_file(self):
        points, hexes = boxes.bricks((12, 3, 2), (12, 3, 2))
        points, hexes = boxes.shuffled(points, hexes)
        labels = np.arange(len(points))[::-1] * 2 + 5
        self.import_(boxes.write(self.dir / "mesh.exo", points, ("HEX8", hexes), node_labels=labels))
        report = self.analyse()
        figures = self.dofs("modal analysis")
        self.assertEqual(self.dofs("0"), figures)
        self.assertEqual(figures["bandwidth"], report["bandwidth"])
        order = self.system("modal analysis").order()[()]
        place = np.full(3 * len(points), -1)
        place[order] = np.arange(len(order))
        free = np.flatnonzero(place >= 0)
        self.assertEqual(set(free // 3), set(np.flatnonzero(points[:, 0] > 0)), "all but the clamped end")
        rank = np.full(len(place), -1)
        rank[free] = np.arange(len(free))
        width = lambda numbers: max(max(n) - min(n) for e in hexes for n in [
            [numbers[3 * node + axis] for node in e for axis in range(3) if numbers[3 * node + axis] >= 0]])
        self.assertEqual(figures["bandwidth"], {"system": width(rank), "solver": width(place)})
        self.assertEqual([figures[k] for k in ("nodes", "labels", "dofs", "solverDofs", "acousticDofs")],
                         [len(points), [1, 2, 3], len(place), len(order), 0])
        for node in (order[0] // 3, int(np.argmin(points[:, 0]))):  # a free one and a clamped one
            shown = self.dofs("0", "--node", labels[node])["node"]
            self.assertEqual(shown, {"label": labels[node], "item": node, "mask": 7, "dofs": [
                {"label": i + 1, "systemDof": 3 * node + i,
                 "solverDof": None if place[3 * node + i] < 0 else place[3 * node + i]} for i in range(3)]})

    def test_systems_of_other_kinds_and_names_that_are_not_there(self):
        self.done("modal_systems_file", self.pdm)
        modal = self.dofs("modes", "--node", "40")
        self.assertEqual((modal["labels"], modal["dofs"], modal["solverDofs"], modal["acousticDofs"],
                          modal["bandwidth"]), ([1, 2, 3, 8], 7, 4, 1, None))
        self.assertEqual([(d["label"], d["systemDof"], d["solverDof"]) for d in modal["node"]["dofs"]],
                         [(1, 3, None), (2, 4, 3), (3, 5, None), (8, 6, 0)])
        generic = self.dofs("statics")
        self.assertEqual((generic["dofs"], generic["solverDofs"]), (7, None))
        self.refused(1, "found none: it numbers no DOFs", "pdmsim", "dofs", self.pdm, "part")
        self.refused(1, "expected a system 'nothing'", "pdmsim", "dofs", self.pdm, "nothing")
        self.refused(1, "a node with the label 11", "pdmsim", "dofs", self.pdm, "0", "--node", "11")
        masks = lambda system: system.base_field("nodalActivityMask")
        for damaged, bad, says in ((masks, -1, "label 32"), (System.order, 6, "each once")):
            whole = self.pdm.read_bytes()
            self.damage(1, damaged, 1, bad)
            self.refused(2, says, "pdmsim", "dofs", self.pdm, "1")
            self.pdm.write_bytes(whole)

    def test_a_long_order_takes_hardly_longer_than_none(self):
        self.done("modal_systems_file", self.pdm, 30000)
        spent = [resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime]
        for system, solver in (("statics", None), ("modes", 209997)):
            self.assertEqual(self.dofs(system)["solverDofs"], solver)
            spent.append(resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime)
        self.assertLess(spent[2] - spent[1], spent[1] - spent[0] + 1)


class Systems(Case):
    def test_one_of_each_system_is_written_as_ever_and_shown(self):
        self.done("modal_systems_file", self.pdm)
        wanted = (PROJECT / "tests/golden/0.1/systems.txt").read_text().split("\n")[:-1]
        self.assertEqual(list(golden_text.content(self.pdm.read_bytes())), wanted)

        show = lambda path: json.loads(self.done("pdmsim", "show", self.pdm, "discreteModel/mesh/systems" + path, "--json"))
        _, modal, part = show("")["elements"]
        self.assertEqual((modal["class"], modal["members"]["systemName"]), ("com.vertana.ModalSystem", "modes"))
        self.assertEqual([e["members"]["eventTypeID"] for e in modal["children"]["events"]["elements"]], [11, 12])
        self.assertEqual(part["children"]["damping"]["members"]["volume"], 4.5)
        self.assertEqual(show("/1/solverDofOrdering")["head"]["items"], [6, 2, 0, 4])
        self.assertEqual(show("/1/events/0/userDistributions/gain")["head"]["rows"], [[5], [6]])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
