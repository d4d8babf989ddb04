"""pdmsim diff: tolerances at their limits, rules, and steps that go together.

Usage: diff_tolerances_test.py PDMSIM GOLDEN [unittest arguments]"""

import sys
import unittest

import numpy as np

from diff_cases import MESH, PDMSIM, Case, line


class Tolerances(Case):
    def pair(self, a, b, **mesh):
        return self.make("a", line(a, **mesh)), self.make("b", line(b, **mesh))

    def test_limits(self):
        nan, inf = float("nan"), float("inf")
        u = {"values nodeFields/u"}
        for a, b, options, passes in (
                (1.0, 1.5, ["--abs", "0.5"], True), (1.0, 1.5, ["--abs", "0.4999999999999999"], False),
                (-2.0, -1.0, ["--rel", "0.5"], True), (-2.0, -1.0, ["--rel", "0.4999999999999999"], False),
                (-1.0, 1.0, ["--rel", "1.9"], False), (-1.0, 1.0, ["--rel", "2"], True),
                (0.25, -0.5, ["--floor", "0.5"], False), (0.25, -0.5, ["--floor", "0.5000001"], True),
                (0.25, 0.75, ["--floor", "0.5"], False), (0.75, 0.25, ["--floor", "0.5"], False),
                (1e-300, 0.0, [], False), (0.0, -0.0, [], True), (inf, inf, [], True),
                (inf, 1.0, ["--rel", "1"], False), (inf, -inf, ["--abs", "1e308"], False),
                (nan, nan, [], False), (nan, nan, ["--nan-equal"], True),
                (nan, 0.0, ["--nan-equal", "--floor", "1"], False), (0.0, nan, ["--floor", "1", "--abs", "9"], False)):
            with self.subTest(a=a, b=b, options=options):
                self.assertEqual(self.diff(*self.pair([5, a, 3], [5, b, 3]), *options), set() if passes else u)

    def test_many_values_are_all_seen(self):
        n = 700_001  # more than a piece
        a, b = np.zeros((2, n)), np.zeros((2, n))
        b[1, [0, 2047, 2048, 262143, 262144, 524288, n - 1]] = [1, 2, 3, 4, 5, 6, 7]
        self.assertEqual(self.diff(*self.pair(a, b)), {"values nodeFields/u"})
        found = self.worst()
        self.assertEqual((found["different"], found["worst"]["item"], found["worst"]["difference"]), (7, n - 1, 7))
        self.assertEqual(self.diff(self.dir / "a", self.dir / "b", "--abs", "7"), set())

    def test_rules(self):
        a, b = self.pair([1, 2], [1.25, 2])
        for options, passes in (
                (["--tol", "u=abs:0.25"], True), (["--tol", "v=abs:0.25"], False),
                (["--tol", "nodeFields/*=rel:0.2"], True), (["--tol", MESH + "nodeFields/u=rel:0.2"], True),
                (["--abs", "1", "--tol", "u=abs:0"], False), (["--tol", "*=abs:1", "--tol", "[t-v]=abs:0.1"], False),
                (["--tol", "*=abs:1", "--tol", "u=rel:0"], True), (["--ignore", "node*"], True),
                (["--tol", "u=ignore"], True)):
            self.assertEqual(self.diff(a, b, *options), set() if passes else {"values nodeFields/u"}, options)
        text = self.done(PDMSIM, "diff", a, b, "--ignore", "u")
        self.assertIn(b"; 1 left out as asked", text)
        rules = self.dir / "rules"
        for content, passes in (("# all\n\n u = rel:1e-3, abs:0.25\n", True), ("u=abs:0.1\nu=abs:0.3", True),
                                ("u = ignore", True), ('{"u": {"abs": 0.25}}', True), ('{"u": "ignore"}', True),
                                ('{"u": {"abs": 0.2}, "*": {"rel": 0.1}}', False)):
            rules.write_text(content)
            found = self.diff(a, b, "--tolerances", rules)
            self.assertEqual(found, set() if passes else {"values nodeFields/u"}, content)
        for content in ("u", "u=abs", "u=abs:x", "u=abs:-1", "u=near:1", "=abs:1", "{", '{"u": 1}', '{"u": {"abs": "1"}}'):
            rules.write_text(content)
            self.refused(1, PDMSIM, "diff", a, b, "--tolerances", rules, says=["rules", "expected"])
        self.refused(1, PDMSIM, "diff", a, b, "--tol", "u=rel:nan", says=["--tol", "'nan'"])
        self.refused(2, PDMSIM, "diff", a, b, "--tolerances", self.dir / "none", says=["No such file"])

    def test_tolerances_written_let_the_values_pass(self):
        values = np.random.default_rng(1).random((3, 50))
        other = values * (1 + 1e-3 * np.random.default_rng(2).random((3, 50)))
        maps = lambda shift: {"m": np.arange(50) + shift}
        a = self.make("a", line(values, node_maps=maps(0)) | {"node_vars": {"u*[x]": values, "#v": values}})
        b = self.make("b", line(other, node_maps=maps(3)) | {"node_vars": {"u*[x]": other, "#v": values + 1}})
        differ = {"values nodeFields/u*[x]", "values nodeFields/#v", "values nodeFields/m"}
        rules = self.dir / "rules"
        self.assertEqual(self.diff(a, b, "--abs", "10", "--rel", "1"), {"values nodeFields/m"})  # integers are exact
        self.assertEqual(self.diff(a, b, "--write-tolerances", rules), differ)
        self.assertEqual(self.diff(a, b, "--tolerances", rules), set())
        self.assertEqual(self.diff(a, b, "--write-tolerances", rules), differ)  # again
        for taken in (b, self.dir):  # never over anything else
            before = b.read_bytes()
            self.refused(2, PDMSIM, "diff", a, b, "--write-tolerances", taken, says=[taken.name])
            self.assertEqual(b.read_bytes(), before)
        self.assertEqual(len([r for r in rules.read_text().splitlines() if r[0] != "#"]), 3)

    def test_steps_go_together_by_time(self):
        values = np.arange(8.0).reshape(4, 2)
        a = self.make("a", line(values, times=[0, 1, 2, 3]))
        for times, rows, options, expected in (
                ([0, 1, 3], [0, 1, 3], [], {"- step 2 (time 2) of discreteModel/frames"}),
                ([0, 1, 1.5, 2, 3], [0, 1, 0, 2, 3], [], {"+ step 2 (time 1.5) of discreteModel/frames"}),
                ([0, 1 + 1e-12, 2, 3], [0, 1, 2, 3], [], set()),
                ([0, 1.2, 2, 3], [0, 1, 2, 3], ["--time-tolerance", "0.2"], set()),
                ([0.3, 0.9, 2, 3], [0, 1, 2, 3], ["--time-tolerance", "0.5"], set()),
                ([0, 0.8, 1.1, 2, 3], [0, 0, 1, 2, 3], ["--time-tolerance", "0.5"],
                 {"+ step 1 (time 0.8) of discreteModel/frames"})):
            b = self.make("b", line(values[rows], times=times))
            self.assertEqual(self.diff(a, b, *options), expected, times)
        self.assertEqual(self.diff(a, self.make("b", line(values[:1], times=[1]))) & {"values nodeFields/u"},
                         {"values nodeFields/u"})


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
