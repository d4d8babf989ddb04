"""What pdmsim diff says beside the differences: of NaN, of one of a thing, of files of tolerances that are none.

Usage: diff_words_test.py PDMSIM"""

import json
import sys
import unittest

import numpy as np

import exo_make
import programs

PDMSIM = sys.argv[1]
HINT = "--nan-equal"


class Words(programs.Case):
    def make(self, name, **mesh):
        exo_make.write(self.dir / "m.exo", nodes=np.eye(4, 3), **mesh)
        self.done(PDMSIM, "import", self.dir / "m.exo", self.dir / name, "--quiet")
        return self.dir / name

    def diff(self, *args):
        done = programs.run(PDMSIM, "diff", *args)
        self.assertEqual(done.stderr, b"", done)
        return done.returncode, done.stdout.decode()

    def test_nan_on_both_sides_is_named_where_it_is_all(self):
        u, v = np.array([[1.0, np.nan, np.nan, 4.0]]), np.arange(4.0)[None]
        files = [self.make(f"{i}.pdm", times=[0.0], node_vars=fields) for i, fields in enumerate((
            {"u": u, "v": v}, {"u": u, "v": v + 1}, {"u": np.nan_to_num(u, nan=2.0), "v": v}, {"u": u}))]
        for other, hinted in ((0, True), (1, False), (2, False), (3, False)):
            code, text = self.diff(files[0], files[other])
            self.assertEqual((code, HINT in text.splitlines()[-1], text.count(HINT)), (1, hinted, hinted), text)
        self.assertEqual(self.diff(files[0], files[0], HINT)[0], 0)
        (found,) = json.loads(self.diff(files[0], files[0], "--json")[1])["differences"]
        self.assertEqual((found["different"], found["bothNaN"]), (2, 2))

    def test_one_element(self):
        tet = lambda nodes, kind="TET4": {"blocks": [{"id": 1, "type": kind, "conn": [nodes]}]}
        a, b, c = (self.make(n, **m) for n, m in (("a", tet([1, 2, 3, 4])), ("b", tet([1, 2, 4, 3])),
                                                  ("c", tet([1, 2, 3, 4], "QUAD4"))))
        for other, says in ((b, "1 element with other nodes"), (c, "1 element of drawer 0 of type 'TET4' against")):
            self.assertIn(says, self.diff(a, other)[1])

    def test_tolerances_that_are_none(self):
        a = self.make("a.pdm")
        (self.dir / "t.json").write_text('{"u": {}}')
        for file, code, says in ((self.dir, 2, "Is a directory"), (self.dir / "t.json", 1, "for u, found '{}'")):
            self.refused(code, PDMSIM, "diff", a, a, "--tolerances", file, says=[f"{file}: ", says])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
