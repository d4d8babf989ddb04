"""pdmsim compact and import where they take a file's place: killed at any call, beside others, with journals.

Usage: replace_test.py PDMSIM PROGRAM_THAT_DIES WATCH_LIBRARY [unittest arguments]"""

import fcntl
import os
import shutil
import stat
import struct
import subprocess
import sys
import unittest

import numpy as np

import exo_make
import programs
from pdm_reader import content

PDMSIM, DYING, WATCH = sys.argv[1:4]
MODE = 0o640
ROUNDS = 12  # kills of each command


def run(*args, **env):
    return programs.run(PDMSIM, *args, **env)


class Replace(programs.Case):
    @classmethod
    def setUpClass(cls):
        os.umask(0)  # what is not kept shut is open
        cls.home = programs.folder(cls.addClassCleanup)
        cls.place = cls.home / "place"
        cls.file, cls.journal = cls.place / "file.pdm", cls.place / "file.pdm-journal"
        mesh = exo_make.write(cls.home / "old.exo", width=200, **exo_make.everything())
        cls.mesh = exo_make.write(cls.home / "new.exo", nodes=np.ones((9, 3)))
        assert run("import", mesh, cls.home / "sound.pdm", "--quiet").returncode == 0
        cls.commands = [("compact", cls.file), ("import", cls.mesh, cls.file, "--force", "--quiet"),
                        ("compact", cls.file, "-o", cls.place / "tight.pdm")]

    def prepare(self, hot=True):
        shutil.rmtree(self.place, ignore_errors=True)
        self.place.mkdir()
        shutil.copy(self.home / "sound.pdm", self.file)
        self.file.chmod(MODE)
        if hot:
            self.assertEqual(subprocess.run([DYING, "die", self.file]).returncode, -9)
            self.assertTrue(self.journal.exists())

    def look(self, target):
        """What the next program finds."""
        for file in (self.file, target):
            if file.exists():
                self.assertEqual(run("recover", file, "--apply").returncode, 0)
        return content(target)

    def test_killed_at_any_call(self):
        for command in self.commands:
            target = command[3] if "-o" in command else self.file
            self.prepare()
            old = self.look(target)
            self.prepare()
            told = self.home / "told"
            self.done(PDMSIM, *command, LD_PRELOAD=WATCH, PDM_WATCH=str(self.place), PDM_TOLD=str(told))
            new = self.look(target)
            calls, *events = told.read_text().split("\n")
            self.check_order([event.split(" ") for event in events if event], target.name)
            for i in range(ROUNDS):
                at = 1 + (int(calls) - 1) * i // (ROUNDS - 1)
                with self.subTest(command=command[0], target=target.name, at=at, of=calls):
                    self.prepare()
                    done = run(*command, LD_PRELOAD=WATCH, PDM_WATCH=str(self.place), PDM_KILL_AT=str(at))
                    self.assertEqual(done.returncode, -9)
                    for left in self.place.iterdir():
                        status = left.stat()
                        self.assertFalse(status.st_size and stat.S_IMODE(status.st_mode) & ~MODE, left)
                    self.assertIn(self.look(target), (old, new))
                    self.done(PDMSIM, *command, *(["--force"] if "-o" in command else []))
                    self.assertEqual(sorted(os.listdir(self.place)), sorted({"file.pdm", target.name}))
                    self.assertEqual(self.look(target), new)
                    # One that was killed before it opened a new file for others leaves it closed.
                    self.assertIn(stat.S_IMODE(target.stat().st_mode), {MODE, MODE & 0o700} if "-o" in command else {MODE})

    def check_order(self, events, name):
        """All bytes of the file are on the disk when it gets its name, and then the name."""
        (renamed, inode), = [(i, e[1]) for i, e in enumerate(events) if e[0] == "rename" and e[2] == name]
        of_file = [e[0] for e in events[:renamed] if e[1] == inode]
        self.assertEqual((of_file[-1], events[renamed + 1][0]), ("sync", "directory"))

    def refused(self, command):
        """In one line, and what is there stays as it is."""
        now = lambda: {one.name: (one.read_bytes(), one.stat().st_ino) for one in self.place.iterdir()}
        before, done = now(), run(*command)
        self.assertEqual((done.returncode, done.stderr.count(b"\n"), now() == before), (2, 1, True), done)
        return done.stderr

    def test_somebody_else_has_it_open(self):
        live = (1 << 62) + 1  # the byte that live readers share
        for lock in (lambda fd: fcntl.flock(fd, fcntl.LOCK_SH), lambda fd: fcntl.flock(fd, fcntl.LOCK_EX),
                     lambda fd: fcntl.fcntl(fd, fcntl.F_OFD_SETLK, struct.pack("hhqqi4x", fcntl.F_RDLCK, 0, live, 1, 0))):
            for command in self.commands[:2]:
                self.prepare(hot=False)
                with open(self.file, "r+b") as held:
                    lock(held)
                    self.assertIn(b"open", self.refused(command))

    def test_journal_that_cannot_be_applied(self):
        for command in self.commands[:2]:
            self.prepare()
            self.journal.write_bytes(b"no journal at all" * 500)
            self.refused(command)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
