"""What the tests of pdmsim diff have in common: meshes, and what is said of two files.

Imported by programs whose arguments are: PDMSIM GOLDEN [unittest arguments]"""

import copy
import json
import pathlib
import sys

import numpy as np

import exo_make
import programs

PDMSIM, GOLDEN = sys.argv[1], pathlib.Path(sys.argv[2])
MESH = "discreteModel/mesh/"


def renumbered(mesh, seed=3):
    """The same mesh with the same labels: nodes, blocks and their elements in another order."""
    r, mesh = np.random.default_rng(seed), copy.deepcopy(mesh)
    order = r.permutation(len(mesh["nodes"]))
    place = np.argsort(order)
    for key in ("nodes", "node_labels"):
        mesh[key] = mesh[key][order]
    for things in (mesh["node_vars"], mesh["node_maps"]):
        for name in things:
            things[name] = things[name][..., order]
    inside = [r.permutation(len(b["conn"])) for b in mesh["blocks"]]
    first = np.cumsum([0] + [len(one) for one in inside])
    elements = np.concatenate([first[k] + one for k, one in reversed(list(enumerate(inside)))]).astype(int)
    for block, one in zip(mesh["blocks"], inside):
        if len(one):
            block["conn"] = place[np.asarray(block["conn"])[one] - 1] + 1
        if "attributes" in block:
            block["attributes"] = block["attributes"][one]
    mesh["blocks"].reverse()
    mesh["elem_labels"] = mesh["elem_labels"][elements]
    for name, values in mesh["elem_vars"].items():
        mesh["elem_vars"][name] = {len(inside) - 1 - k: v[:, inside[k]] for k, v in values.items()}
    for one in mesh["node_sets"]:
        one["members"] = place[np.array(one["members"], int) - 1] + 1
    for one in mesh["elem_sets"] + mesh["side_sets"]:
        one["members"] = np.argsort(elements)[np.array(one["members"], int) - 1] + 1
    return mesh


def line(values, **mesh):
    """Nodes in a row with a field u of one step or more."""
    values = np.atleast_2d(np.asarray(values, float))
    steps, n = values.shape
    return dict({"nodes": np.arange(3.0 * n).reshape(n, 3), "times": np.arange(float(steps)), "node_vars": {"u": values}},
                **mesh)


class Case(programs.Case):
    def make(self, name, mesh):
        exo = exo_make.write(self.dir / (name + ".exo"), width=200, **mesh)
        self.done(PDMSIM, "import", exo, self.dir / name, "--quiet", "--force")
        return self.dir / name

    def diff(self, a, b, *options):
        """Everything that differs, as "what path"; options and exit code agree with it."""
        done = programs.run(PDMSIM, "diff", a, b, "--json", *options)
        self.assertEqual(done.stderr, b"", done)
        self.report = json.loads(done.stdout)
        short = lambda one: one["path"].removeprefix(MESH)
        found = {f"{d['what']} {short(d)}" for d in self.report["differences"]}
        for key, sign in (("onlyInA", "-"), ("onlyInB", "+")):
            found |= {f"{sign} {o['kind']} {short(o)}" for o in self.report[key]}
        self.assertEqual((done.returncode, self.report["same"]), (1 if found else 0, not found))
        return found

    def worst(self):
        return next(d for d in self.report["differences"] if d["what"] == "values")
