"""pdmsim report: what stands in a page, and what it does in a browser.

Usage: report_test.py PDMSIM FILE_PROGRAM [unittest arguments]"""

import base64
import io
import json
import sys
import time
import unittest

import matplotlib.image
import numpy as np

import exo_make
import programs
from page import Page
from pdm_reader import Sim

PDMSIM, PROGRAM = sys.argv[1:3]
EVIL = "</script><script>window.hacked = 1</script><b>&amp;'\""
PALETTE = [(0x4E, 0x79, 0xA7), (0xF2, 0x8E, 0x2B)]  # of the first blocks

# The faces of solids by their corners, as the Exodus II manual draws them.
FACES = {
    "HEX": [(0, 1, 5, 4), (1, 2, 6, 5), (2, 3, 7, 6), (3, 0, 4, 7), (0, 1, 2, 3), (4, 5, 6, 7)],
    "TET": [(0, 1, 3), (1, 2, 3), (2, 0, 3), (0, 1, 2)],
    "WEDGE": [(0, 1, 4, 3), (1, 2, 5, 4), (2, 0, 3, 5), (0, 1, 2), (3, 4, 5)],
    "PYRAMID": [(0, 1, 4), (1, 2, 4), (2, 3, 4), (3, 0, 4), (0, 1, 2, 3)]}
# A hexahedron cut into others; corner 8 is its middle.
CUTS = {
    "HEX": [range(8)],
    "TET": [(0, 1, 2, 6), (0, 2, 3, 6), (0, 3, 7, 6), (0, 7, 4, 6), (0, 4, 5, 6), (0, 5, 1, 6)],
    "WEDGE": [(0, 1, 2, 4, 5, 6), (0, 2, 3, 4, 6, 7)],
    "PYRAMID": [(0, 3, 2, 1, 8), (4, 5, 6, 7, 8), (0, 1, 5, 4, 8), (1, 2, 6, 5, 8), (2, 3, 7, 6, 8), (3, 0, 4, 7, 8)]}
SOLIDS = [("HEX", 8), ("HEX", 20), ("HEX", 27), ("TET", 4), ("TET", 10), ("WEDGE", 6), ("WEDGE", 15), ("PYRAMID", 5),
          ("PYRAMID", 13)]
FLAT = [("TRI", 3, 3), ("TRI", 6, 3), ("QUAD", 4, 4), ("QUAD", 9, 4), ("SHELL", 3, 3), ("SHELL", 4, 4),
        ("SHELL", 8, 4), ("BAR", 2, 2), ("BAR", 3, 2), ("SPHERE", 1, 1)]


def grid(*size):
    """Nodes of a box, and its hexahedra, 0-based."""
    at = np.stack(np.meshgrid(*(np.arange(n + 1) for n in size), indexing="ij"), -1)
    number = np.arange(at[..., 0].size).reshape(at.shape[:3])
    part = lambda i, j, k: number[i: i + size[0], j: j + size[1], k: k + size[2]].ravel()
    ring = [(0, 0), (1, 0), (1, 1), (0, 1)]
    return at.reshape(-1, 3).astype(float), np.stack([part(i, j, k) for k in (0, 1) for i, j in ring], 1)


def written(case, name="mesh", **mesh):
    """A simulation file of that mesh."""
    file = case.dir / f"{name}.pdm"
    done = programs.run(PDMSIM, "import", exo_make.write(case.dir / f"{name}.exo", width=200, **mesh), file, "--quiet")
    assert done.returncode == 0, done.stderr
    return file


def two_blocks(n=4, steps=3, noise=0):
    """A cube in two blocks, its nodes in no order, with sets and fields; the element field has no numbers in the first half of each."""
    nodes, hexes = grid(n, n, n)
    half, times = len(hexes) // 2, np.arange(steps) / 4
    random = np.random.default_rng(1)
    new = random.permutation(len(nodes))
    nodes, hexes = nodes[np.argsort(new)], new[hexes]
    edge = 1 + np.flatnonzero((nodes[:, :2] == 0).all(1))
    low, front = (1 + np.flatnonzero(nodes[hexes].min(1)[:, axis] == 0)[:2] for axis in (2, 1))
    values = nodes[:, 0] * nodes[:, 1] + random.random((steps, len(nodes))) * noise
    stress = np.tile(hexes.sum(1) * 1.0, (steps, 1)) + times[:, None]
    stress[:, :half // 2] = stress[:, half: half + half // 2] = np.nan
    return dict(
        nodes=nodes, times=times, blocks=[{"id": 1, "name": "left", "type": "HEX8", "conn": hexes[:half] + 1},
                                          {"id": 2, "name": EVIL, "type": "HEX8", "conn": hexes[half:] + 1}],
        node_sets=[{"id": 1, "name": "points", "members": edge}],
        elem_sets=[{"id": 1, "name": "picked", "members": front}],
        side_sets=[{"id": 1, "name": "wall", "members": low, "sides": [5, 5]}],
        node_vars={"heat": values, **{f"u_{a}": times[:, None] * nodes[:, k] for k, a in enumerate("xyz")}},
        elem_vars={"stress": {0: stress[:, :half], 1: stress[:, half:]}})


class Pages(programs.Case):
    def report(self, file, *flags, notes=b""):
        done = programs.run(PDMSIM, "report", file, "-o", self.dir / "out.html", "--force", "--json", *flags)
        self.assertEqual((done.returncode, bool(done.stderr)), (0, bool(notes)), done.stderr)
        self.assertIn(notes, done.stderr)
        self.page = Page(self.dir / "out.html")
        return json.loads(done.stdout)

    def faces(self, at):
        """{(block, other, the corners' places among the points)}, each once."""
        places = {tuple(p): i for i, p in enumerate(np.round(at, 3))}
        number = [places[tuple(p)] for p in np.round(self.page.coordinates, 3)]
        found = [(g["block"], g["other"], frozenset(number[n] for n in face)) for g, f in self.page.faces for face in f]
        self.assertEqual(len(found), len(set(found)))
        return set(found)

    def test_skin_is_what_counting_all_faces_finds(self):
        random = np.random.default_rng(3)
        at, hexes = grid(3, 3, 2)
        middles = at[hexes].mean(1)
        at = np.concatenate([at, middles])
        hexes = np.column_stack([hexes, len(at) - len(hexes) + np.arange(len(hexes))])
        for kind, size in SOLIDS:
            cells = np.array([[h[c] for c in cut] for h in hexes for cut in CUTS[kind]])
            cells = cells[random.random(len(cells)) < 0.8]
            inner = random.integers(0, len(at), (len(cells), size - cells.shape[1]))
            of = random.integers(0, 2, len(cells))
            conn = np.column_stack([cells, inner]) + 1
            blocks = [{"id": b + 1, "type": kind, "conn": conn[of == b]} for b in (0, 1)]
            owners = {}
            for cell, block in zip(cells, of):
                for face in FACES[kind]:
                    owners.setdefault(frozenset(cell[list(face)]), []).append(block)
            wanted = {(min(o), max(o) if len(o) == 2 else -1, face) for face, o in owners.items()
                      if len(o) == 1 or (len(o) == 2 and o[0] != o[1])}
            with self.subTest(kind=kind, size=size):
                self.report(written(self, f"{kind}{size}", nodes=at, blocks=blocks))
                self.assertEqual(self.faces(at), wanted)

    def test_surfaces_lines_and_points_are_whole_and_collapsed_solids_keep_their_faces(self):
        at, _ = grid(3, 3, 3)
        rows = lambda size, count: np.array([[(7 * i + k) % 64 for k in range(size)] for i in range(count)])
        blocks = [{"id": i + 1, "type": kind, "conn": rows(size, 5) + 1} for i, (kind, size, _) in enumerate(FLAT)]
        # A wedge as a hexahedron with two corners that are one, below a real one: the face between is inside.
        blocks.append({"id": 50, "type": "HEX8", "conn": [[1, 5, 6, 6, 17, 21, 22, 22]]})
        blocks.append({"id": 51, "type": "WEDGE", "conn": [[17, 21, 22, 33, 37, 38]]})
        self.report(written(self, nodes=at, blocks=blocks))
        wanted = {(b, -1, frozenset(row[:corners])) for b, (_, size, corners) in enumerate(FLAT) for row in rows(size, 5)}
        found = self.faces(at)
        self.assertEqual({face for face in found if face[0] < len(FLAT)}, wanted)
        last = len(FLAT)
        self.assertEqual(sorted((b, o, len(f)) for b, o, f in found if b >= last),
                         sorted([(last, -1, 3)] + [(last, -1, 4)] * 3 + [(last, last + 1, 3)] +
                                [(last + 1, -1, 3)] + [(last + 1, -1, 4)] * 3))

    def test_numbers_are_those_of_the_file(self):
        mesh = two_blocks(7)  # so many that faces get another order
        file = written(self, **mesh)
        summary = self.report(file)
        page, about = self.page, self.page.about
        self.assertEqual(summary["holds"], "3-D, 512 nodes, 343 hexahedra in 2 blocks, 3 steps")
        self.assertIn("<p>3-D, 512 nodes", page.html)
        places = {tuple(p): i for i, p in enumerate(mesh["nodes"])}
        number = [places[tuple(p)] for p in np.round(page.coordinates, 3)]
        self.assertEqual({f["name"]: (f["vector"], f["components"]) for f in about["fields"]},
                         {"heat": (False, []), "stress": (False, []), "u": (True, ["u_x", "u_y", "u_z"])})
        for field in about["fields"]:
            for step, planes in enumerate(field["steps"]):
                for k, plane in enumerate(planes):
                    values = page.plane(plane)
                    if field["name"] == "stress":
                        continue
                    name = field["components"][k] if field["components"] else field["name"]
                    wanted = mesh["node_vars"][name][step][number]
                    np.testing.assert_allclose(values, wanted, atol=np.ptp(wanted) / 65534 + 1e-12)
        # Each face has its element's number, and one between blocks those of both.
        stress = page.plane(next(f for f in about["fields"] if f["name"] == "stress")["steps"][0][0])
        of = [[(set(cell - 1), value) for cell, value in zip(block["conn"], mesh["elem_vars"]["stress"][b][0])]
              for b, block in enumerate(mesh["blocks"])]
        wanted = [value for group, faces in page.faces for b in (group["block"], group["other"]) if b >= 0
                  for face in faces for cell, value in of[b] if {number[n] for n in face} <= cell]
        np.testing.assert_allclose(stress, wanted, atol=np.nanmax(wanted) / 65534)
        self.assertTrue(np.isnan(wanted).any())
        self.assertEqual(sorted(np.array(number)[page.sets["points"][0].ravel()] + 1),
                         list(mesh["node_sets"][0]["members"]))
        self.assertEqual([f.shape for f in page.sets["wall"]], [(2, 4)])

    def test_integers_that_tell_few_kinds_apart(self):
        mesh = two_blocks()
        file = written(self, **mesh)
        self.done(PDMSIM, "partition", file, 3, "--quiet")
        sim = Sim(file)
        parts = np.split(sim.drawers(sim.mesh.elementFields[b"partition"])[0].values, 2)
        sim.file.close()
        self.report(file, "--fields", "partition")
        page, (field,) = self.page, self.page.about["fields"]
        self.assertEqual((field["kinds"], field["constant"], field["nodes"]), ([0, 1, 2], True, False))
        self.assertIn("<td>partition</td>", page.html)
        places = {tuple(p): i for i, p in enumerate(mesh["nodes"])}
        number = [places[tuple(p)] for p in np.round(page.coordinates, 3)]
        wanted = [part for group, faces in page.faces for b in (group["block"], group["other"]) if b >= 0 for face in faces
                  for cell, part in zip(mesh["blocks"][b]["conn"] - 1, parts[b]) if {number[n] for n in face} <= set(cell)]
        self.assertEqual(page.plane(field["steps"][0][0]).round(3).tolist(), wanted)

    def test_room_is_kept_and_what_has_none_is_told(self):
        file = written(self, **two_blocks(14, 30, noise=1))
        summary = self.report(file, "--most", "1.08", notes=b" of 30 steps are in this page: no room for more")
        self.assertLess(summary["bytes"], 1_080_000)
        kept = self.page.about["kept"]
        self.assertEqual((kept[0], kept[-1], len(kept)), (0, 29, summary["steps"]))
        self.assertTrue(3 < len(kept) < 30)
        self.assertIn("steps are in this page", self.page.html)
        self.assertEqual([len(f["steps"]) for f in self.page.about["fields"]], [len(kept)] * 3)
        self.assertEqual(self.report(file, "--steps", "2", "--fields", "heat,stress", notes=b"2 of 30 steps")["fields"], 2)
        self.assertEqual(self.page.about["kept"], [0, 29])
        bare = programs.run(PDMSIM, "report", file, "-o", self.dir / "a.html", "--most", "1")
        self.assertIn(b"the mesh is not drawn", bare.stderr)
        self.assertIn("<td>heat</td>", (self.dir / "a.html").read_text())

    def test_refused(self):
        file, out = written(self, **two_blocks()), self.dir / "a.html"
        self.refused(1, PDMSIM, "report", file, "-o", out, "--fields", "none", says=["a field 'none'"])
        self.refused(2, PDMSIM, "report", self.dir / "mesh.exo", "-o", out)
        out.write_text("mine")
        before = file.read_bytes()
        self.refused(2, PDMSIM, "report", file, "-o", out, says=["--force"])
        self.refused(2, PDMSIM, "report", file, "-o", out, "--force", says=["which stays"])
        self.assertEqual((out.read_text(), file.read_bytes()), ("mine", before))
        self.refused(2, PDMSIM, "report", file, "-o", self.dir / "no" / "a.html")


def browser(*flags):
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service

    options = webdriver.ChromeOptions()
    for flag in ("headless=new", "no-sandbox", "disable-dev-shm-usage", "use-gl=angle", "use-angle=swiftshader",
                 "enable-unsafe-swiftshader", "window-size=1200,900", *flags):
        options.add_argument("--" + flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


class Browser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = programs.folder(cls.addClassCleanup)
        file = written(cls, **two_blocks())
        for done in (programs.run(PROGRAM, "modes", file), programs.run(PDMSIM, "partition", file, 2, "--quiet"),
                     programs.run(PDMSIM, "report", file, "-o", cls.dir / "page.html", "--quiet")):
            assert done.returncode == 0, done.stderr
        cls.driver = browser()
        cls.addClassCleanup(cls.driver.quit)

    def setUp(self):
        self.open(self.driver)

    def open(self, driver):
        self.driver = driver
        driver.get((self.dir / "page.html").as_uri())
        self.until(lambda: driver.execute_script("return document.documentElement.dataset.ready"))

    def tearDown(self):
        self.assertEqual(self.driver.get_log("browser"), [])
        self.assertIsNone(self.driver.execute_script("return window.hacked || null"))

    def until(self, holds):
        end = time.monotonic() + 30
        while not (value := holds()):
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)
        return value

    def get(self, id):
        return self.driver.find_element("id", id)

    def text(self, id):
        return self.get(id).text

    def picture(self):
        """What is drawn, without what lies over it: [rows, columns, RGBA] of 0 to 255."""
        url = self.driver.execute_script("page.look.draw(); return document.getElementById('canvas').toDataURL()")
        return (255 * matplotlib.image.imread(io.BytesIO(base64.b64decode(url.split(",")[1])))).round().astype(int)

    def changes(self, act, says=None):
        """The picture after an act that changes it."""
        before = self.picture()
        act()
        after = self.until(lambda: [p for p in [self.picture()] if (p != before).any()])[0]
        if says:
            self.until(lambda: says in self.text("state"))
        return after

    def choose(self, id, text):
        from selenium.webdriver.support.ui import Select
        Select(self.get(id)).select_by_visible_text(text)

    def keys(self, id, *keys):
        from selenium.webdriver.common.keys import Keys
        for key in keys:
            self.get(id).send_keys(getattr(Keys, key, key))

    def hues(self, picture):
        """How many pixels have the hue of each of the first blocks."""
        seen = picture[picture[..., 3] == 255][:, :3].astype(float)
        unit = lambda v: v / np.maximum(1, np.linalg.norm(v, axis=-1, keepdims=True))
        return [int((unit(seen) @ unit(np.array(rgb, float)) > 0.999).sum()) for rgb in PALETTE]

    def test_blocks_and_sets(self):
        first = self.picture()
        self.assertTrue(0.1 < (first[..., 3] == 255).mean() < 0.9)
        self.assertTrue(min(self.hues(first)) > 2000)
        _, right = self.driver.find_elements("css selector", "#block-list input")
        self.assertIn(EVIL, right.accessible_name)
        off = self.hues(self.changes(right.click, "1 of 2 blocks shown"))
        self.assertEqual(off[1], 0)
        self.assertGreater(off[0], 1.2 * self.hues(first)[0])  # the face that was between them is seen
        self.assertEqual((self.changes(self.get("blocks-none").click)[..., 3] > 0).sum(), 0)
        self.changes(self.get("blocks-all").click, "2 of 2 blocks shown")
        self.changes(self.get("edges").click)
        self.get("view-front").click()
        for box in self.driver.find_elements("css selector", "#set-list input"):
            if "wall" in box.accessible_name:  # below
                self.keys("canvas", *["ARROW_DOWN"] * 4)
            self.changes(box.click, box.accessible_name.split(" (")[0])
            self.changes(box.click)

    def test_fields_steps_and_deformation(self):
        self.assertFalse(self.get("bar").is_displayed())
        stress = self.changes(lambda: self.choose("field", "stress"), "coloured by stress")
        self.assertTrue(self.get("bar").is_displayed())
        solid = stress[stress[..., 3] == 255][:, :3]
        self.assertGreater((np.ptp(solid, axis=1) < 3).sum(), 2000)  # grey without numbers
        parts = self.changes(lambda: self.choose("field", "partition"), "coloured by partition, 2 different ones")
        self.assertEqual((self.text("bar-kinds").split(), self.get("bar-scale").is_displayed()), (["0", "1"], False))
        self.assertTrue(min(self.hues(parts)) > 2000)
        self.choose("field", "u")
        self.until(lambda: self.text("bar-title") == "u, magnitude")
        self.assertEqual((self.text("bar-kinds"), self.get("bar-scale").is_displayed()), ("", True))
        self.assertEqual([self.text("bar-least"), self.text("bar-greatest")], ["0", "3.4641"])
        self.changes(lambda: self.choose("component", "u_y"), "u_y from 0 to 2, step 3 of 3, time 0.5")
        self.changes(lambda: self.keys("step", "ARROW_LEFT"), "step 2 of 3, time 0.25")
        seen = set()
        self.get("play-steps").click()
        self.until(lambda: seen.add(self.get("step").get_attribute("value")) or len(seen) == 3)
        self.assertEqual((self.text("play-steps"), self.get("play-steps").get_attribute("aria-pressed")),
                         ("Pause steps", "true"))
        self.get("play-steps").click()
        time.sleep(0.3)
        self.keys("step", "END")
        self.until(lambda: "step 3 of 3" in self.text("state"))
        outline = (self.picture()[..., 3] > 0).sum()
        self.assertGreater((self.changes(lambda: self.choose("deform", "u"))[..., 3] > 0).sum(), 1.05 * outline)
        self.changes(lambda: self.keys("amount", "END"))
        self.assertEqual((self.changes(lambda: self.keys("amount", "HOME"))[..., 3] > 0).sum(), outline)

    def test_modes(self):
        self.assertFalse(self.get("play-mode").is_enabled())
        self.changes(lambda: self.choose("deform", "mode 1 (12.5 Hz)"), "coloured by mode 1 (12.5 Hz), mm from 0")
        self.changes(self.get("play-mode").click)
        phases = set()
        self.until(lambda: phases.add(self.driver.execute_script("return page.shared.phase.value")) or
                   (min(phases) < -0.5 and max(phases) > 0.5 and len(phases) > 5))
        self.get("play-mode").click()
        self.until(lambda: self.driver.execute_script("return page.shared.phase.value") == 1)
        still = self.picture()
        time.sleep(0.3)
        self.assertTrue((self.picture() == still).all())
        self.assertIn("12.5", self.text("view") + self.driver.find_element("tag name", "main").text)

    def test_view_by_keys_and_mouse(self):
        from selenium.webdriver import ActionChains
        for key in ("ARROW_LEFT", "ARROW_UP", "+", "-"):
            self.changes(lambda: self.keys("canvas", key))
        for button in ("nearer", "farther", "front", "side", "top", "oblique"):
            self.changes(self.get("view-" + button).click)
        canvas = self.get("canvas")
        self.changes(ActionChains(self.driver).click_and_hold(canvas).move_by_offset(80, 30).release().perform)
        moved = self.changes(ActionChains(self.driver).key_down("\ue008").send_keys_to_element(
            canvas, "\ue014").key_up("\ue008").perform)
        self.assertTrue((self.changes(lambda: self.keys("canvas", "0")) != moved).any())
        self.changes(ActionChains(self.driver).scroll_from_origin(
            __import__("selenium").webdriver.common.actions.wheel_input.ScrollOrigin.from_element(canvas), 0, -100).perform)

    def test_keyboard_reaches_every_control_and_each_has_a_name(self):
        self.choose("deform", "mode 1 (12.5 Hz)")
        self.choose("field", "u")
        self.until(lambda: self.get("component").is_enabled())
        wanted = [e for e in self.driver.find_elements("css selector", "canvas, button, input, select")
                  if e.is_displayed() and e.is_enabled()]
        self.assertGreater(len(wanted), 20)
        self.assertEqual([e.get_attribute("outerHTML") for e in wanted if not e.accessible_name], [])
        self.driver.execute_script("document.activeElement.blur()")
        reached = []
        for _ in range(len(wanted) + 10):
            self.driver.switch_to.active_element.send_keys("\ue004")
            now = self.driver.switch_to.active_element
            reached.append(now)
            if now in wanted:
                style = now.value_of_css_property("outline-style")
                self.assertEqual(style, "solid", now.get_attribute("outerHTML"))
        self.assertEqual([e.accessible_name for e in wanted if e not in reached], [])

    def test_dark_and_with_less_motion(self):
        light = self.driver.find_element("tag name", "body").value_of_css_property("background-color")
        driver = browser("blink-settings=preferredColorScheme=0", "force-prefers-reduced-motion")
        self.addCleanup(driver.quit)
        self.addCleanup(setattr, self, "driver", self.driver)
        self.open(driver)
        dark = driver.find_element("tag name", "body").value_of_css_property("background-color")
        self.assertNotEqual(light, dark)
        self.changes(lambda: self.choose("deform", "mode 2"))
        self.get("play-mode").click()
        phases = set()
        self.until(lambda: phases.add(driver.execute_script("return page.shared.phase.value")) or len(phases) == 2)
        self.assertEqual(phases, {-1, 1})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
