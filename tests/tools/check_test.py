"""pdmsim check, compact and recover: sound files, damage of every kind, and damage at random.

Usage: check_test.py PDMSIM PROGRAM_THAT_DIES [unittest arguments]"""

import json
import os
import pathlib
import random
import shutil
import signal
import stat
import struct
import subprocess
import sys
import unittest

import h5py
import numpy as np

import exo_make
import programs
from pdm_reader import content

PDMSIM, DYING = sys.argv[1:3]
MESH = "sim/discreteModel/mesh"


def run(*args):
    # HDF5 loses memory of its own on damaged files, which a build with sanitizers would tell.
    return programs.run(PDMSIM, *args, ASAN_OPTIONS="detect_leaks=0")


class Case(programs.Case):
    @classmethod
    def setUpClass(cls):
        cls.home = programs.folder(cls.addClassCleanup)
        mesh = exo_make.write(cls.home / "mesh.exo", width=200, **exo_make.everything())
        cls.sound = cls.home / "sound.pdm"
        assert run("import", mesh, cls.sound, "--quiet").returncode == 0

    def setUp(self):
        super().setUp()
        self.file = pathlib.Path(shutil.copy(self.sound, self.home / "file.pdm"))
        self.addCleanup(self.file.unlink, missing_ok=True)

    def check(self, *flags):
        done = run("check", self.file, "--json", *flags)
        self.assertEqual(done.stderr, b"")
        report = json.loads(done.stdout)
        errors = [f for f in report["findings"] if not f["note"]]
        self.assertEqual(done.returncode, 2 if not report["readable"] else 1 if errors else 0)
        self.assertEqual(report["sound"], not errors)
        return done.returncode, {(f["kind"], f["path"]) for f in report["findings"]}


class Check(Case):
    def test_sound(self):
        self.assertEqual(self.check(), (0, set()))
        self.assertEqual(self.check("--untrusted"), (0, set()))
        self.assertRegex(run("check", self.file).stdout, rb"file.pdm: sound, \d+ objects")

    def test_what_cannot_be_read(self):
        self.file.write_bytes(self.sound.read_bytes()[:-2000])
        for name, says in (("none", "No such file"), ("file.pdm", "truncated"), ("", "directory")):
            for command in (("check",), ("check", "--untrusted"), ("compact",), ("recover",)):
                self.refused(2, PDMSIM, *command, self.home / name, says=[says])

    def test_damage_has_a_kind_and_a_place(self):
        def stream(path, at, data, keep_sum=False):
            def apply(file):
                dataset = file[path]["#simpleTypeMembers"]
                bytes_ = bytearray(dataset[()].tobytes())
                bytes_[at : at + len(data)] = data
                if not keep_sum:  # as a program without checksums writes it
                    length = struct.unpack_from("<i", bytes_)[0]
                    if 0 < length <= len(bytes_):
                        bytes_[length:] = bytes(len(bytes_) - length)
                dataset[...] = np.frombuffer(bytes_, "u1")
            return apply

        def attribute(path, name, value):
            return lambda file: file[path].attrs.__setitem__(name, value)

        def delete(path):
            return lambda file: file.__delitem__(path)

        def class_name(text):
            return attribute(MESH, "class", np.frombuffer(text.ljust(80, b"\0"), "u1"))

        def replace(path, *args, **kw):
            def apply(file):
                old = dict(file[path].attrs)
                del file[path]
                new = file.create_dataset(path, *args, **kw)
                new.attrs.update({k: v for k, v in old.items() if k != "checksums"})
            return apply

        with h5py.File(self.sound) as file:
            sets = next(f"store/collections/{c}/sets" for c in file["store/collections"]
                        if "sets" in file[f"store/collections/{c}"])
            some_set = f"{sets}/1"
            drawer = "store/distributions/1/0"
            rows = file[drawer].shape[0]
            items = int(file[sets].parent.attrs["items"][0])
        members = "/" + MESH + "/#simpleTypeMembers"
        bulk = "/" + drawer
        cases = [
            (stream(MESH, 30, b"\xaa", True), "stream.checksum", members),
            (stream(MESH, 0, b"\xff\xff\xff\x7f"), "stream.length", members),
            (stream(MESH, 4, b"\7"), "stream.record", members),
            (stream(MESH, 5, b"\x63"), "stream.member", members),
            (stream(MESH, 14, b"\2"), "stream.identifier", members),
            (stream(MESH, 15, b"\x63"), "dangling", "/" + MESH),
            (delete("store/distributions/2"), "dangling", "/" + MESH),
            (delete(MESH + "/#simpleTypeMembers"), "members.missing", "/" + MESH),
            (delete("sim"), "sim.missing", "/sim"),
            (class_name(b"com.vertana.FESystem"), "class.mismatch", "/" + MESH),
            (class_name(b"com.vertana.Nonsense"), "class.unknown", "/" + MESH),
            (class_name(b"com\0vertana"), "class.form", "/" + MESH),
            (attribute(MESH + "/systems", "#size", np.array([2], "i4")), "array.size", "/" + MESH + "/systems"),
            (attribute("sim", "type", np.array([1, 2], "i4")), "sim.type", "/sim"),
            (attribute("store", "version", np.array([9], "i4")), "store.version", "/store"),
            (attribute(drawer, "members", np.array([99, 0], "i4")), "dangling", bulk),
            (replace(drawer, data=np.zeros((rows + 1, 3))), "drawer.rows", bulk),
            (replace(drawer, data=np.zeros((rows, 3), "c16")), "dataset.type", bulk),
            (replace(drawer, data=np.zeros((rows, 3)), fletcher32=True), "dataset.filter", bulk),
            (replace(some_set, data=np.array([0, items], "i4")), "set.members", "/" + some_set),
            (replace(some_set, data=np.array([1, 1], "i4")), "set.members", "/" + some_set),
            (lambda file: file["sim"].__setitem__("soft", h5py.SoftLink("/store")), "link.soft", "/sim/soft"),
            (lambda file: file.__setitem__("x", h5py.ExternalLink("a", "/b")), "link.external", "/x"),
            (lambda file: file[MESH].__setitem__("up", file["sim"]), "link.cycle", "/" + MESH + "/up"),
            (lambda file: file[MESH].__setitem__("to", file["store/collections"]), "link.shared",
             "/store/collections"),
            (lambda file: file["store"].__setitem__("type", np.dtype("i4")), "object.kind", "/store/type"),
            (lambda file: file.create_group("/".join(["deep"] * 120)), "depth", "/deep" * 101),
            (lambda file: file.__setitem__("mine", [1.0]), "foreign", "/mine"),
            (lambda file: file["store/distributions"].copy("1", "77"), "orphan", "/store/distributions/77"),
        ]
        notes = {"class.unknown", "foreign", "orphan"}
        for change, kind, path in cases:
            with self.subTest(kind=kind, path=path):
                shutil.copy(self.sound, self.file)
                with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
                    change(file)
                code, found = self.check()
                self.assertIn((kind, path), found)
                self.assertEqual(code, 0 if kind in notes else 1)
                self.assertEqual(self.check("--untrusted"), (code, found))

    def test_a_flipped_bit_in_bulk_data(self):
        raw = self.sound.read_bytes()
        with h5py.File(self.sound) as file:
            places = [(drawer.id.get_offset(), drawer.name, "data.checksum")
                      for field in file["store/distributions"].values() for drawer in field.values()
                      if drawer.id.get_offset() and drawer.id.get_storage_size()]
            # A short list stands in its object's header, whose own checksum notices it first.
            for sets in (c["sets"] for c in file["store/collections"].values() if "sets" in c):
                lists = [(one[()].tobytes(), one.name) for one in sets.values() if one.size >= 6]
                places += [(raw.index(data), name, "unreadable") for data, name in lists if raw.count(data) == 1]
        self.assertGreater(len({kind for _, _, kind in places}), 1)
        for at, name, kind in places:
            self.file.write_bytes(raw[: at + 3] + bytes([raw[at + 3] ^ 4]) + raw[at + 4 :])
            code, found = self.check()
            self.assertEqual(code, 1)
            self.assertIn((kind, name), found)

    def test_what_lies_beside(self):
        for name, kind in (("file.pdm-journal", "journal"), (f"file.pdm.new-{2**22 + 1}", "unfinished")):
            beside = self.home / name
            beside.write_bytes(b"")
            self.addCleanup(beside.unlink, missing_ok=True)
        code, found = self.check()
        self.assertEqual((code, found), (0, {("journal", ""), ("unfinished", "")}))

    def test_random_damage_ends_nothing(self):
        """Blind damage to copies: an answer each time, in time, and the child's death is never the parent's."""
        sound, dice = self.sound.read_bytes(), random.Random(20)
        found_some = 0
        for i in range(300):
            raw = bytearray(sound)
            for _ in range(dice.choice((1, 2, 8, 64))):
                length = dice.choice((1, 1, 4, 16))
                at = dice.randrange(len(raw) - length)
                raw[at : at + length] = dice.choice((dice.randbytes, bytes))(length)
            if dice.random() < 0.1:
                del raw[dice.randrange(len(raw)) :]
            self.file.write_bytes(raw)
            done = run("check", self.file, *(("--untrusted",) if i % 2 else ()))
            self.assertIn(done.returncode, (0, 1, 2), (i, done))
            found_some += done.returncode != 0
        self.assertGreater(found_some, 150)


class Beside(Case):
    """A program has the file open for writing."""

    def setUp(self):
        super().setUp()
        self.solver = subprocess.Popen([DYING, "follow", self.file], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.finish)
        self.assertEqual(self.solver.stdout.readline(), b"step 0\n")

    def finish(self):
        self.solver.communicate(timeout=60)

    def test_readers_are_told_what_helps_and_get_it(self):
        writes = {name: [*option, self.home / ("x" + end)] for name, option, end in (
            ("draw", ["-o"], ".png"), ("export", ["--lossy"], ".exo"), ("report", ["-o"], ".html"), ("view", ["-o"], ".hdf"))}
        for command in ("show", "info", "dofs", "check", "diff", *writes):
            others = [self.file] if command == "diff" else writes.get(command, [])
            self.refused(2, PDMSIM, command, self.file, *others, says=["has the file open for writing: --wait SECONDS", "--live"])
            if others:
                done = run(command, self.file, *others, "--live", "--json")
                self.assertEqual((done.returncode, bool(json.loads(done.stdout))), (0, True), done)
        with h5py.File(self.home / "x.hdf") as view:  # nothing leads to the file, which lacks what the journal has
            self.assertEqual((view["VTKHDF/Points"].is_virtual, list(view["VTKHDF/PointData/load"])),
                             (False, list(range(40))))
        done = run("compact", self.file)
        self.assertEqual((done.returncode, b"--wait" in done.stderr, b"--live" in done.stderr), (2, True, False), done)
        self.refused(2, PDMSIM, "import", self.home / "mesh.exo", self.file, "--force", says=["for writing: close it there first"])
        self.refused(2, PDMSIM, "import", self.file, self.home / "new", says=["expected a mesh, found a simulation file"])
        field = ("discreteModel/mesh/nodeFields/load", "--json", "--head", "1")
        self.assertEqual(json.loads(self.done(PDMSIM, "show", self.file, *field, "--live"))["head"]["rows"], [[0.0]])
        info = json.loads(self.done(PDMSIM, "info", self.file, "--json", "--live"))
        self.assertEqual((info["journal"]["writerAtWork"], info["journal"]["process"]), (True, self.solver.pid))
        self.assertIn(b"sound", self.done(PDMSIM, "check", self.file, "--live"))
        waiting = subprocess.Popen([PDMSIM, "show", self.file, *field, "--wait", "60"], stdout=subprocess.PIPE)
        self.assertRaises(subprocess.TimeoutExpired, waiting.wait, 0.3)
        self.finish()
        self.assertEqual(json.loads(waiting.communicate(timeout=60)[0])["drawers"][0]["range"][0]["min"], 0)
        info = json.loads(self.done(PDMSIM, "info", self.file, "--json"))
        self.assertEqual((info["journal"], info["layout"]["format"], info["unused"] < info["bytes"]), (None, 2, True))

    def test_watch(self):
        watch = subprocess.Popen([PDMSIM, "watch", self.file, "--json", "--field", "load", "--interval", "0.05"],
                                 stdout=subprocess.PIPE)
        self.addCleanup(watch.stdout.close)
        commits = []
        for step, time in ((0, 0.0), (1, 0.5), (2, 2.25), (3, None), (4, None), (5, None)):  # more steps than were planned
            line = json.loads(watch.stdout.readline())
            self.assertEqual((line["step"], line["time"]), (step, time), line)
            self.assertEqual(line["fields"]["load"]["values"], [{"min": 100.0 * step, "max": 100.0 * step + 39}])
            commits.append(line["commit"])
            if step < 5:
                self.solver.stdin.write(b"\n")
                self.solver.stdin.flush()
        self.assertEqual(commits, sorted(set(commits)))
        watch.send_signal(signal.SIGINT)
        self.assertEqual((watch.wait(60), watch.stdout.read()), (0, b""))
        self.assertRegex(self.done(PDMSIM, "watch", self.file, "--once", "--field", "load"),
                         rb"^commit \d+  step 5  load 500 .. 539 N\n$")
        self.refused(1, PDMSIM, "watch", self.file, "--once", "--field", "laod", says=["did you mean 'load'?"])


class Recover(Case):
    def test_what_a_dead_writer_left(self):
        journal = pathlib.Path(f"{self.file}-journal")
        recover = lambda *flags: (lambda done: (done.returncode, json.loads(done.stdout)))(
            run("recover", self.file, "--json", *flags))
        old = content(self.file)
        for flag, done in (("--discard", "discarded"), ("--apply", "applied")):
            killed = subprocess.run([DYING, "die", self.file])
            code, said = recover()
            self.assertEqual((code, said["journal"], said["usable"], said["writerAtWork"]), (0, True, True, False))
            self.assertEqual((said["commits"], said["unfinishedBytes"], said["done"]), (1, 0, "nothing"))
            self.assertEqual((killed.returncode, said["journalBytes"]), (-9, journal.stat().st_size))
            self.assertIn(b"up to commit", run("recover", self.file).stdout)
            self.assertEqual((recover(flag)[1]["done"], journal.exists()), (done, False))
            self.assertEqual(content(self.file) == old, flag == "--discard")
        journal.write_bytes(b"")  # its writer died before the header
        self.assertIn(b"holds no commit", run("recover", self.file).stdout)
        self.assertEqual((recover("--apply")[0], journal.exists()), (0, False))
        journal.write_bytes(b"no journal at all" * 100)
        self.assertEqual((recover()[0], run("recover", self.file, "--apply").returncode, journal.exists()), (1, 1, True))
        self.assertEqual((recover("--discard")[1]["done"], journal.exists()), ("discarded", False))
        self.assertEqual(self.check()[0], 0)


class Compact(Case):
    def waste(self):
        """Leaves a hole in the middle: what comes behind it keeps the file long."""
        shutil.copy(self.sound, self.file)
        with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
            file["garbage"] = np.arange(200_000.0)
            file.copy("store/distributions/1", "behind")
            del file["store/distributions/1"]
            file.move("behind", "store/distributions/1")
        with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
            del file["garbage"]

    def test_keeps_everything_and_shrinks(self):
        self.waste()
        os.chmod(self.file, 0o640)
        wanted, before = content(self.file), self.file.stat().st_size
        self.assertIn(("space", ""), self.check()[1])
        tight = self.home / "tight.pdm"
        self.assertEqual(run("compact", self.file, "-o", tight).returncode, 0)
        self.assertEqual(run("compact", self.file, "-o", tight).returncode, 2)  # not without --force
        self.assertEqual((self.file.stat().st_size, content(self.file)), (before, wanted))
        report = json.loads(self.done(PDMSIM, "compact", self.file, "--json"))
        self.assertEqual((report["before"], report["after"]), (before, self.file.stat().st_size))
        for file in (self.file, tight):
            self.assertEqual(content(file), wanted)
            self.assertLess(file.stat().st_size, self.sound.stat().st_size * 1.02 + 2048)
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o640)
        self.assertEqual(self.check(), (0, set()))
        tight.unlink()

    def test_what_was_never_written_stays_so(self):
        self.assertEqual(subprocess.run([DYING, "gaps", self.file], capture_output=True).stderr, b"")

        def chunks():
            with h5py.File(self.file) as file:
                gaps, = (d for d in file["store/distributions"].values() if d.attrs["name"] == b"gaps")
                return gaps.name, [[id.get_chunk_info(i).chunk_offset for i in range(id.get_num_chunks())]
                                   for id in (gaps[str(i)].id for i in range(3))]

        path, written = before = chunks()
        self.assertEqual([len(w) for w in written], [7, 7, 0])
        notes = {("data.unwritten", f"{path}/{i}") for i in range(3)}
        notes |= {("orphan", path), ("orphan", "/store/collections/10")}  # which only the orphan names
        for flags in ((), ("--untrusted",)):
            self.assertEqual(self.check(*flags), (0, notes))
        wanted = content(self.file)
        self.done(PDMSIM, "compact", self.file)
        self.assertEqual((content(self.file) == wanted, chunks(), self.check()), (True, before, (0, notes)))
        # A file that says to hold what it does not is another matter.
        with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
            del file[f"{path}/0"].attrs["checksums"]
        self.assertIn(("dataset.size", f"{path}/0"), self.check()[1])

    def test_orphans_are_listed_and_left_out(self):
        # An analysis that is run twice, and a field over a collection of its own.
        for how in ("follow", "gaps", "follow"):
            subprocess.run([DYING, how, self.file], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
        shown = lambda: {k: v for k, v in json.loads(self.done(PDMSIM, "show", self.file, "--json")).items() if k != "bytes"}
        before, whole = shown(), self.file.read_bytes()
        orphans = {p for kind, p in self.check()[1] if kind == "orphan"}
        self.assertEqual({p.rpartition("/")[0] for p in orphans}, {"/store/distributions", "/store/collections"})
        listed = json.loads(self.done(PDMSIM, "compact", self.file, "--list-orphans", "--json"))
        self.assertEqual({o["path"] for o in listed["orphans"]}, orphans)
        self.assertEqual({o["name"] for o in listed["orphans"]}, {"load", "gaps", "sparse"})
        self.assertEqual((self.file.read_bytes() == whole, listed["dropped"]), (True, 0))
        text = self.done(PDMSIM, "compact", self.file, "--drop-orphans").decode()
        self.assertTrue(all(p + ": " in text for p in orphans), text)
        self.assertEqual((shown(), self.check()), (before, (0, set())))
        with h5py.File(self.file) as file:  # the last one keeps its number, which is not the number of links
            self.assertNotIn(len(file["store/distributions"]), map(int, file["store/distributions"]))
        subprocess.run([DYING, "follow", self.file], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
        self.assertEqual({p.rpartition("/")[0] for kind, p in self.check()[1]}, {"/store/distributions"})

    def test_failure_leaves_the_original(self):
        # A disk that is full; python ignores SIGXFSZ and so does the child.
        full = ("import os, resource, sys; resource.setrlimit(resource.RLIMIT_FSIZE, (20_000,) * 2);"
                "os.execv(sys.argv[1], sys.argv[1:])")
        for code, before_it in ((1, []), (2, [sys.executable, "-c", full])):
            self.waste()
            if code == 1:  # damaged
                with h5py.File(self.file, "r+", libver=("v108", "v108")) as file:
                    del file["store/distributions/2"]
            before = self.file.read_bytes()
            self.refused(code, *before_it, PDMSIM, "compact", self.file)
            self.assertEqual(self.file.read_bytes(), before)
            self.assertEqual(sorted(os.listdir(self.home)), ["file.pdm", "mesh.exo", "sound.pdm"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
