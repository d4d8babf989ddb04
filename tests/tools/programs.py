"""Runs of built programs, for the tests in Python."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest


def run(*args, **env):
    return subprocess.run(list(map(str, args)), capture_output=True, timeout=300, env=os.environ | env)


def folder(add_cleanup):
    """An empty one, until the cleanup."""
    made = pathlib.Path(tempfile.mkdtemp(prefix="pdm-")).resolve()
    add_cleanup(shutil.rmtree, made)
    return made


class Case(unittest.TestCase):
    def setUp(self):
        self.dir = folder(self.addCleanup)

    def done(self, *args, **env):
        """What a program says that does as it is told and complains of nothing."""
        done = run(*args, **env)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done)
        return done.stdout

    def refused(self, code, *args, says=()):
        """One line on stderr, nothing on stdout, and nobody's file is touched."""
        before = sorted(os.listdir(self.dir))
        done = run(*args)
        self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (code, b"", 1), done)
        for text in says:
            self.assertIn(text, done.stderr.decode(errors="replace"))
        self.assertEqual(sorted(os.listdir(self.dir)), before)
