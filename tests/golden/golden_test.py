"""Files of released versions: read, brought home from their journals, and written further. Works on copies.

Usage: golden_test.py PDMSIM PROGRAM [unittest arguments]"""

import difflib
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy as np

from golden_text import content, image, rows

PDMSIM, PROGRAM = sys.argv[1:3]
VERSIONS = [folder for folder in pathlib.Path(__file__).parent.iterdir() if folder.name[0].isdigit()]


def on_copies(check):
    """A test of `check` with a copy of each golden file and the lines of its text."""
    def test(self):
        files = sorted(file for folder in VERSIONS for file in folder.glob("*.pdm"))
        self.assertGreater(len(files), 6)
        for file in files:
            with self.subTest(f"{file.parent.name}/{file.name}"), tempfile.TemporaryDirectory() as home:
                for one in file.parent.glob(f"{file.name}*"):
                    shutil.copy(one, home)
                text = file.with_suffix(".txt").read_text("latin-1").split("\n")[:-1]
                check(self, pathlib.Path(home, file.name), text)
    return test


class Golden(unittest.TestCase):
    def run_(self, *args):
        done = subprocess.run(list(map(str, args)), capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done)
        return done.stdout

    def library(self, how, path):
        """What the library finds, line by line, with the rows of drawers as the texts have them."""
        lines = self.run_(PROGRAM, how, path).decode("latin-1")
        for line in lines.replace("fesD_", "").replace("msfD_", "").split("\n")[:-1]:
            head, colon, values = line.rpartition(": ")
            yield head + colon + rows(values) if line.startswith(" drawer ") else line

    def sound(self, path, journal=False):
        report = json.loads(self.run_(PDMSIM, "check", path, "--json"))
        self.assertEqual((report["sound"], [f for f in report["findings"] if not f["note"]]), (True, []))
        self.assertEqual("journal" in {f["kind"] for f in report["findings"]}, journal)

    def same(self, found, wanted):
        self.assertEqual("", "\n".join(difflib.unified_diff(wanted, list(found), lineterm="", n=0)))

    @on_copies
    def test_read_without_a_byte_changed(self, path, text):
        before = {file: file.read_bytes() for file in path.parent.iterdir()}
        hot = len(before) == 2
        self.assertEqual(hot, path.name.startswith("hot"))
        self.same(content(image(path)), text)
        self.assertEqual(content(path.read_bytes()) != text, hot, "the main file alone is older")
        self.same(self.library("read", path), text)
        self.same(self.library("live", path), text)
        self.sound(path, hot)
        self.assertEqual({file: file.read_bytes() for file in path.parent.iterdir()}, before)

    @on_copies
    def test_opened_for_writing_it_is_at_the_last_commit_point_and_alone(self, path, text):
        self.same(self.library("write", path), text)
        self.assertEqual(list(path.parent.iterdir()), [path])
        self.same(content(path.read_bytes()), text)
        self.sound(path)

    @on_copies
    def test_written_further(self, path, text):
        lines = lambda start: [line for line in text if line.startswith(start)]
        nodes = lines("     nodes ")[0].split()[-1]
        items = int(lines(f"collection {nodes} ")[0].split()[-1])
        numbers = rows(np.arange(items, dtype="<i4").tobytes().hex())
        end = text.index(lines("distribution 1 ")[0]) + 1
        while text[end].startswith(" drawer "):
            end += 1
        text.insert(end, f" drawer over {nodes}.0 <i4 x 1 [1] 'grown' chunk 0 deflate 0: {numbers}")
        text[text.index("     faces -")] = f"     faces {nodes}"
        self.same(self.library("grow", path), text)
        self.assertEqual(list(path.parent.iterdir()), [path])
        self.same(content(path.read_bytes()), text)
        self.same(self.library("read", path), text)
        self.sound(path)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
