#!/usr/bin/env python3
"""A handle that outlives its file raises and never crashes, whatever is called on it."""

import contextlib
import functools
import gc
import inspect
import os
import random
import re
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import pdm_core as pdm
from model import HEAT, make

ARGUMENTS = {
    "name": "inlet", "index": 0, "which": 0, "values": HEAT[0], "items": [0], "elements": 0, "sides": 0, "nodes": 3,
    "time": 0.5, "step": 0, "path": "discreteModel/mesh", "kind": "modal", "type": "TRI3", "order": [0],
    "mesh": None, "value": 1, "node": 0, "label": 1, "sets": {"new": [0]}}
KNOWN = {  # what an object knows without its file
    "path", "name", "is_open", "number", "id", "index", "close", "__bool__", "update", "file", "_repr_html_", "__repr__",
    "__enter__", "__exit__", "_ipython_key_completions_"}
VALUES = (pdm.Numbering,)
RANKS = (pdm.RankDrawer, pdm.RankField, pdm.RankSim, pdm.RankUpdate)  # of Python over the others; a job has them


def parts(sim):
    """An object of each class, by a reading Sim or a writing one."""
    mesh = sim.model.mesh
    system = mesh.systems[0]
    fields = mesh.node_fields
    return [
        sim, sim.model, mesh, mesh.nodes, mesh.node_sets, mesh.node_sets.set("inlet"), fields, fields["temperature"],
        fields["temperature"][1], mesh.blocks[0], mesh.surfaces, mesh.surfaces["bottom"], mesh.systems, system,
        system.object, system.object.events, sim["discreteModel"].object, sim.update()]


@functools.cache
def members(of):
    """Of every public method and property of a class the name, and the arguments of a method or whether it is written."""
    found = []
    for name in dir(of):
        member = getattr(of, name)
        special = name in ("__len__", "__getitem__", "__iter__", "__contains__", "__array__", "__repr__", "__enter__")
        if name.startswith("_") and not special and name not in ("_repr_html_", "_vtk"):
            continue
        if isinstance(member, property):
            found.append((name, None, member.fset is not None))
            continue
        if inspect.isfunction(member):
            names = [each for each, of in inspect.signature(member).parameters.items() if of.default is of.empty]
        else:
            names = re.findall(r"(\w+): ", (member.__doc__ or "").split("\n")[0].split("*")[0])
        found.append((name, [ARGUMENTS.get(each, 0) for each in names[1:]], False))
    return found


def calls(thing):
    """Every public method and property of an object, as functions without arguments."""
    for name, arguments, written in members(type(thing)):
        if arguments is not None:
            yield name, lambda name=name, arguments=arguments: getattr(thing, name)(*arguments)
            continue
        yield name, lambda name=name: getattr(thing, name)
        if written:
            yield name + "=", lambda name=name: setattr(thing, name, [1, 2, 3, 4])


class Dead(unittest.TestCase):
    def setUp(self):
        self.file = make(os.path.join(tempfile.mkdtemp(dir=sys.argv[1]), "a.pdm"))

    def assert_dead(self, things):
        """Each call raises Error, but for what an object knows by itself."""
        for thing in things:
            for name, call in calls(thing):
                with self.subTest(of=type(thing).__name__, name=name):
                    if name in KNOWN:
                        with contextlib.suppress(pdm.Error):
                            call()
                    else:
                        self.assertRaises(pdm.Error, call)

    def test_of_a_closed_file(self):
        for mode in ("r", "r+"):
            sim = pdm.open(self.file, mode)
            things = parts(sim)
            self.assertLessEqual(  # nobody is forgotten
                {getattr(pdm, name) for name in pdm.__all__ if not name[0].islower() and "Missing" not in name},
                {type(thing) for thing in things} | {pdm.Error, pdm.Event, *VALUES, *RANKS})
            sim.close()
            self.assert_dead(things)
            del things, sim
            gc.collect()

    def test_of_a_file_whose_sim_is_collected(self):
        mesh = pdm.open(self.file, "r+").model.mesh  # what is in use keeps its file open
        gc.collect()
        self.assertEqual(mesh.node_count, 4)
        self.assertRaises(pdm.Error, pdm.open, self.file, "r+")
        del mesh
        gc.collect()
        pdm.open(self.file, "r+").close()

    def test_of_what_was_taken_back(self):
        for path in (self.file, os.path.join(os.path.dirname(self.file), "b.pdm")):
            sim = pdm.open(path, "r+") if path == self.file else pdm.create(path)
            things = []
            with self.assertRaises(ZeroDivisionError), sim.update():
                if path != self.file:
                    mesh = sim.create_mesh(4, 2)
                    things += [mesh, mesh.nodes, mesh.node_sets]
                mesh = sim.model.mesh
                mesh.node_sets["new"] = [1]
                field = mesh.node_fields.create("new", HEAT[0])
                system = mesh.systems.create("new", "modal")
                things += [mesh.node_sets.set("new"), field, field[0], system, system.object, system.fields]
                1 / 0
            for thing in things:
                for name, call in calls(thing):
                    try:
                        call()
                    except (pdm.Error, TypeError, IndexError):
                        pass
            if path == self.file:
                self.assertNotIn("new", sim.model.mesh.node_sets)
                self.assertNotIn("new", sim.model.mesh.node_fields)
                self.assertRaises(pdm.Error, field.read)
            sim.close()

    def test_of_what_was_never_made(self):
        for name in pdm.__all__:
            one = getattr(pdm, name)
            if isinstance(one, type) and not issubclass(one, (Exception, *RANKS)):
                for make_one in (one, lambda one=one: one.__new__(one), lambda one=one: object.__new__(one)):
                    self.assertRaises(TypeError, make_one)  # memory that nothing was put into would be called on

    def test_after_a_fork(self):
        sim = pdm.open(self.file, "r+")
        things = parts(sim)
        child = os.fork()
        if child == 0:
            try:
                self.assert_dead(things)
                del things, sim
                gc.collect()
                os._exit(0)
            except BaseException as fault:
                os.write(2, repr(fault).encode())
                os._exit(1)
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        sim.model.mesh.node_sets["later"] = [3]
        sim.close()

    def test_threads_that_outlive_the_interpreter(self):
        program = (
            "import sys, threading, time, pdm_core as pdm\n"
            "mesh = pdm.open(sys.argv[1], 'r+').model.mesh\n"
            "def loop():\n"
            "    while True: mesh.node_fields['coordinates'][:]\n"
            "for _ in range(3): threading.Thread(target=loop, daemon=True).start()\n"
            "time.sleep(0.1)\n")
        for _ in range(3):
            result = subprocess.run([sys.executable, "-c", program, self.file], capture_output=True, text=True, timeout=60)
            self.assertEqual((result.returncode, result.stderr), (0, ""))

class Programs:
    """Random programs over files and what is made of them; nothing but exceptions may come of them."""

    def __init__(self, seed, folder):
        self.random = random.Random(seed)
        self.folder = folder
        self.things = []

    def step(self):
        choice = self.random.random()
        if choice < 0.15 or not self.things:
            path = os.path.join(self.folder, self.random.choice(["a.pdm", "b.pdm"]))
            mode = self.random.choice([{}, {"mode": "r+"}, {"live": True}])
            self.things.append(pdm.open(path, **mode))
        elif choice < 0.25:
            self.things.pop(self.random.randrange(len(self.things)))
        elif choice < 0.28:
            gc.collect()
        elif choice < 0.33:
            self.random.choice(self.things).close()
        elif choice < 0.40:
            with self.random.choice(self.things).update():
                self.step()
                if self.random.random() < 0.5:
                    raise ValueError
        else:
            thing = self.random.choice(self.things)
            name, call = self.random.choice(list(calls(thing)))
            made = call()
            made = list(made.values())[:1] if isinstance(made, dict) else made
            for each in made if isinstance(made, list) else [made]:
                if type(each).__module__.startswith("pdm_core"):
                    self.things.append(each)

    def run(self, steps):
        for _ in range(steps):
            try:
                self.step()
            except (pdm.Error, TypeError, ValueError, AttributeError, KeyError, IndexError):
                pass


def programs(count):
    import meshio, pandas, scipy.sparse  # noqa: what calls would import

    gc.freeze()  # a collection looks at what the programs made alone
    folder = tempfile.mkdtemp(dir=sys.argv[1])
    for seed in range(count):
        if seed % 50 == 0:
            gc.collect()
            for name in ("a.pdm", "b.pdm"):
                make(os.path.join(folder, name))
        Programs(seed, folder).run(40)


if __name__ == "__main__":
    if sys.argv[2:]:
        programs(int(sys.argv[2]))
    else:
        unittest.main(argv=sys.argv[:1])
