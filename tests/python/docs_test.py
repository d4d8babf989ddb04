#!/usr/bin/env python3
"""What the documents and docstrings show is what comes out."""

import doctest
import inspect
import os
import sys
import tempfile
import unittest

import numpy as np
import pdm_core
import pdm_core._arrays
from model import make


def examples(thing, name):
    """The docstrings of a class or function and of what it has, one test each."""
    finder = doctest.DocTestFinder(recurse=False)
    own = vars(thing).items() if inspect.isclass(thing) else ()
    members = [(f"{name}.{key}", inspect.getdoc(value)) for key, value in own]
    for where, text in [(name, inspect.getdoc(thing)), *members]:
        if text and ">>>" in text:
            yield from finder.find(type("Shown", (), {"__doc__": text}), where)


class Docs(unittest.TestCase):
    def test_docstrings_run(self):
        os.chdir(tempfile.mkdtemp(dir=sys.argv[1]))
        ran = 0
        things = [(getattr(pdm_core, name), name) for name in pdm_core.__all__]
        for thing, name in [*things, (pdm_core._arrays.lossless, "lossless")]:
            for test in examples(thing, name):
                with pdm_core.open(make("a.pdm")) as sim:
                    test.globs = {
                        "pdm_core": pdm_core, "pdm": pdm_core, "np": np, "sim": sim, "mesh": sim.model.mesh,
                        "lossless": pdm_core._arrays.lossless}
                    if "r+" in test.docstring:
                        sim.close()
                    result = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(test, clear_globs=False)
                    self.assertEqual(result.failed, 0, test.name)
                    ran += result.attempted
        self.assertGreater(ran, 25)

    def test_every_word_says_what_it_is(self):
        for name in pdm_core.__all__:
            one = getattr(pdm_core, name)
            own = vars(one).items() if inspect.isclass(one) else ()
            for key, member in [(name, one), *((f"{name}.{key}", of) for key, of in own if not key.startswith("_"))]:
                text = inspect.getdoc(member) or ""
                if not inspect.isclass(member) and text.startswith(key.split(".")[-1] + "("):
                    text = text.partition("\n")[2]  # the signature, which stands before what is said
                self.assertTrue(text.strip() or not (callable(member) or isinstance(member, property)), key)

    def test_the_pages_run(self):
        for name in sys.argv[2:]:
            with open(name) as page:
                lines = page.read().split("```python\n")[1].split("```")[0]
            os.chdir(tempfile.mkdtemp(dir=sys.argv[1]))
            make("a.pdm")
            exec(compile(lines, name, "exec"), {"q": np.arange(4.0)})
            with pdm_core.open("a.pdm") as sim:
                self.assertEqual(sim.model.mesh.node_fields["heat"].unit, "W")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
