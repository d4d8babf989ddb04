"""Takes ranks, whole jobs, disks and rules away from jobs that work on one file, and looks at what is left.

    mpi_campaign.py WORKER all [--count N]      N kills, and each other trial
    mpi_campaign.py WORKER kills --count 1000   one trial alone: kills, orphans, limit, full, views
    mpi_campaign.py WORKER broken               each rule broken on purpose: it must be noticed

Exit code 1: a file was not as it must be, ranks disagreed, or a broken rule was not noticed.
"""

import argparse
import collections
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import h5py
import numpy as np

HANG = 60  # seconds without a word, on a machine that has other work
COUNTS = collections.Counter()


class Bad(Exception):
    pass


def environment(**more):
    known = {"OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
             "OMPI_MCA_rmaps_base_oversubscribe": "1", "OMPI_MCA_hwloc_base_binding_policy": "none",
             "OMPI_MCA_sharedfp": "individual"}
    return {**os.environ, **known, **more}


class Job:
    """mpirun and its ranks, which tell the board what they do."""

    def __init__(self, file, mode, steps, option, command):
        self.file, self.seen = file, 0
        self.board = file.parent.parent / "board"
        self.board.write_text("")
        words = [mode, str(file), str(self.board), str(steps), str(option)]
        self.run = subprocess.Popen([arg for part in command(words) for arg in part], env=environment(),
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def lines(self, word):
        return [line[len(word) + 1:] for line in self.board.read_text().splitlines() if line.startswith(word + " ")]

    def ranks(self):
        return {int(rank): int(pid) for rank, pid in (line.split() for line in self.lines("rank"))}

    def wait_for(self, done):
        """Waits until something is so, or the job has ended; a job that says nothing hangs."""
        quiet, size = time.monotonic(), 0
        while not done() and self.run.poll() is None:
            time.sleep(0.005)
            if self.board.stat().st_size != size:
                quiet, size = time.monotonic(), self.board.stat().st_size
            if time.monotonic() - quiet > HANG:
                raise Bad("the job hangs")

    def at_the_file(self):
        """Ranks that have the file open."""
        return [rank for rank, pid in self.ranks().items() if has_open(pid, self.file)]

    def end(self):
        for pid in [*self.ranks().values(), self.run.pid]:
            kill(pid, signal.SIGKILL)
        self.run.wait()
        while any(Path(f"/proc/{pid}/exe").exists() for pid in self.ranks().values()):
            time.sleep(0.005)

    def check(self):
        if self.lines("bad"):
            raise Bad(self.lines("bad")[0])


def kill(pid, what):
    try:
        os.kill(pid, what)
    except ProcessLookupError:
        pass


def has_open(pid, file):
    try:
        return any(os.readlink(entry) == str(file) for entry in Path(f"/proc/{pid}/fd").iterdir())
    except OSError:
        return False


class Campaign:
    def __init__(self, options):
        self.options = options
        self.random = random.Random(options.seed)
        self.rules = {}  # environment of a broken rule

    def words(self, ranks, words):
        """mpirun's words for some ranks."""
        given = [word for name, value in self.rules.items() for word in ("-x", f"{name}={value}")]
        return ["-np", str(ranks), *given, str(self.options.worker), *words]

    def job(self, file, mode, ranks, steps, option):
        mpirun = str(self.options.mpirun)
        return Job(file, mode, steps, option, lambda words: [[mpirun], self.words(ranks, words)])

    def ask(self, mode, file):
        """What one process says of the file: a word, and what comes after it."""
        got = subprocess.run([str(self.options.worker), mode, str(file)], env=environment(**self.rules),
                             capture_output=True, text=True, timeout=60)
        word, _, text = got.stdout.strip().partition(" ")
        if word not in ("step", "refused"):
            raise Bad(f"{mode}: {text or got.stderr or got.returncode}")
        return word, text

    def directory(self):
        place = Path(tempfile.mkdtemp(prefix="pdm_mpi_", dir="/dev/shm"))
        (place / "disk").mkdir()
        return place

    def opened_after(self, job, acked):
        """A writer that tries again and again: refused while anybody is there, then it finds the last step."""
        deadline, waited = time.monotonic() + HANG, collections.Counter()
        while time.monotonic() < deadline:
            there = job.at_the_file()
            word, text = self.ask("verify", job.file)
            if word == "step":
                break
            kind = next((kind for kind in ("of a job whose rank 0", "has the file open", "No such file") if kind in text), "")
            if not kind:
                raise Bad(f"refused in other words: {text}")
            waited[kind] += 1
            if kind == "No such file" and not there and job.run.poll() is not None:
                break
            time.sleep(0.01)
        else:
            raise Bad(f"never opened: {text}")
        if word == "step" and there and set(there) & set(job.at_the_file()):
            time.sleep(0.1)  # a process that ends lets go of one thing after the other
            if set(there) & set(job.at_the_file()):
                raise Bad(f"a writer opened the file beside ranks {there}")
        COUNTS.update({"refused: rank N " + kind if "job" in kind else "refused: " + kind: n for kind, n in waited.items()})
        COUNTS["kills after which a rank was named"] += waited["of a job whose rank 0"] > 0
        acked = max([acked, *map(int, job.lines("ack"))])
        job.check()
        found = int(text) if word == "step" else 0
        if found not in (acked, acked + 1):
            raise Bad(f"step {found} is there, {acked} was acknowledged")
        COUNTS["found the step in flight"] += found == acked + 1
        return found

    def kills(self, count):
        option, watched = 1, True
        while count > 0:
            place, watched = self.directory(), not watched  # beside a reader no space is used again
            file, acked = place / "disk" / "model.pdm", 0
            watcher = subprocess.Popen([str(self.options.worker), "live", str(file if watched else place / "none")], stdout=subprocess.PIPE, text=True)
            try:
                for _ in range(min(count, 10)):
                    option = 3 - option
                    acked = self.one_kill(file, acked, option)
                    count -= 1
                watcher.terminate()
                said = watcher.communicate()[0].split()
                if said[0] != "snapshots":
                    raise Bad("live reader: " + " ".join(said))
                COUNTS["snapshots"] += int(said[1])
                if acked > 0 and self.ask("verify", file) == ("step", str(acked)):  # without a journal beside it
                    self.check_with_h5py(file, acked)
            finally:
                watcher.kill()
                watcher.wait()
                shutil.rmtree(place)

    def one_kill(self, file, acked, option):
        ranks = self.random.randint(2, 4)
        job = self.job(file, "steps", ranks, 1000000, option)
        try:
            job.wait_for(lambda: len(job.ranks()) == ranks)
            early = self.random.random() < 0.15  # while it opens the file
            if not early:
                job.wait_for(lambda: job.lines("cause"))
                steps = self.random.randint(0, 3)
                job.wait_for(lambda: len(job.lines("ack")) >= steps)
            time.sleep(self.random.uniform(0, 0.3 if early else 0.15))
            job.check()
            victim = self.random.choice(["a rank", "rank 0", "all ranks", "mpirun"])
            COUNTS["killed: " + victim] += 1
            known = job.ranks()
            for pid in {"a rank": [known[self.random.randrange(1, ranks)]], "rank 0": [known[0]],
                        "all ranks": list(known.values()), "mpirun": [job.run.pid]}[victim]:
                kill(pid, signal.SIGKILL)
            return self.opened_after(job, acked)
        finally:
            COUNTS["steps"] += len(job.lines("ack"))
            job.end()

    def check_with_h5py(self, file, step):
        """Every number tells its step, drawer, row and component."""
        with h5py.File(file) as opened:
            drawers = opened["store/distributions/1"]
            if drawers["0"][0] != step:
                raise Bad(f"h5py finds step {drawers['0'][0]}")
            for name, item in drawers.items():
                rows = item[...].reshape(item.shape[0], -1)
                where = np.add.outer(4 * np.arange(len(rows)), np.arange(rows.shape[1])) + (int(name) << 22)
                if name != "0" and not (np.all(rows % (1 << 26) == where) and np.all(rows < (step + 1) * 2.0**26)):
                    raise Bad(f"h5py finds other numbers in drawer {name}")
        COUNTS["read by h5py"] += 1

    def orphans(self, count):
        """Rank 0 and mpirun are dead, one rank is not: it holds all writers up for as long as it lives."""
        for _ in range(count):
            place = self.directory()
            file, ranks = place / "disk" / "model.pdm", self.random.randint(2, 4)
            job = self.job(file, "steps", ranks, 1000000, self.random.choice([1, 2]))
            try:
                job.wait_for(lambda: len(job.lines("ack")) >= 3)
                time.sleep(self.random.uniform(0, 0.2))
                orphan = job.ranks()[ranks - 1]
                kill(job.run.pid, signal.SIGKILL)
                job.run.wait()  # a rank that stood still then would be ended by the system
                kill(orphan, signal.SIGSTOP)
                kill(job.ranks()[0], signal.SIGKILL)
                until = time.monotonic() + 1.5
                while time.monotonic() < until:
                    word, text = self.ask("verify", file)
                    if word == "step" or not ("of a job whose rank 0" in text or "has the file open" in text):
                        raise Bad(f"beside an orphan: {word} {text}")
                    COUNTS["refused beside an orphan"] += 1
                if f"rank {ranks - 1} of a job" not in text:
                    raise Bad(f"the orphan is not named: {text}")
                kill(orphan, signal.SIGCONT)
                time.sleep(self.random.uniform(0, 0.05))
                if self.random.random() < 0.5:
                    kill(orphan, signal.SIGKILL)
                self.opened_after(job, 0)
                COUNTS["orphans"] += 1
            finally:
                job.end()
                shutil.rmtree(place)

    def without_room(self, mode, ranks, place):
        file, steps = place / "disk" / "model.pdm", 9
        job = self.job(file, mode, ranks, steps, self.random.choice([1, 2]))
        try:
            job.wait_for(lambda: False)
            job.check()
            acknowledged = [line.strip() for line in job.lines("ack")]  # one without room may find some that is free
            if "done" not in job.board.read_text() or self.ask("verify", file) != ("step", acknowledged[-1]):
                raise Bad(f"{mode}: the job did not come to its end")
            COUNTS[f"{mode}: updates that failed on all"] += len(job.lines("failed"))
            if len(job.lines("failed")) < 3:
                raise Bad(f"{mode}: hardly any update failed")
        finally:
            job.end()

    def limit(self, count):
        for i in range(count):
            place = self.directory()
            try:
                self.without_room("limit", 2 + i % 3, place)
            finally:
                shutil.rmtree(place)

    def full(self, count):
        for i in range(count):
            place = self.directory()
            subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64m", "pdm", place / "disk"], check=True)
            try:
                self.without_room("full", 2 + i % 3, place)
            finally:
                subprocess.run(["umount", place / "disk"], check=True)
                shutil.rmtree(place)

    def views(self, count):
        """The last rank sees another disk under the same name: all goes through rank 0, and all know why."""
        for shell, cause in (('mount --bind "$0" "$0" && mount -o remount,ro,bind "$0"', "open: Read-only file system"),
                             ('mount -t tmpfs pdm "$0"', "open: No such file or directory"),
                             ('cp "$0/model.pdm" "$0/../copy" && mount -t tmpfs pdm "$0" && cp "$0/../copy" "$0/model.pdm"',
                              "a file of the same name that is another one")):
            place = self.directory()
            file = place / "disk" / "model.pdm"
            try:
                for steps, views in ((3, False), (9, True)):
                    prefix = ["unshare", "-m", "sh", "-c", shell + ' && exec "$@"', str(file.parent)] if views else []

                    def command(words):
                        odd = self.words(1, words)
                        odd[-len(words) - 1:-len(words) - 1] = prefix
                        return [[str(self.options.mpirun)], self.words(2, words), [":"], odd]
                    job = Job(file, "steps", steps, 1, command)
                    try:
                        job.wait_for(lambda: False)
                        job.check()
                        said = [line.strip() for line in job.lines("cause")]
                        if said != ["rank 2: " + cause if views else ""] * 3:
                            raise Bad(f"causes: {said}")
                        if self.ask("verify", file) != ("step", str(steps)):
                            raise Bad("the steps through rank 0 are not there")
                    finally:
                        job.end()
                COUNTS["funnelled: " + cause] += 1
            finally:
                shutil.rmtree(place)

    def loan(self, count):
        place = self.directory()
        try:
            file = place / "disk" / "model.pdm"
            self.job(file, "steps", 2, 3, 1).run.wait(HANG)
            if self.ask("loan", file) != ("step", "3"):
                raise Bad("a loan that was left changed the file")
        finally:
            shutil.rmtree(place)

    def long(self, count):
        """Nobody disturbs the job, and space comes to be used again, also between what others have."""
        for _ in range(count):
            place = self.directory()
            job = self.job(place / "disk" / "model.pdm", "steps", 2, 60, 1)
            try:
                job.wait_for(lambda: False)
                job.check()
                if self.ask("verify", job.file) != ("step", "60"):
                    raise Bad("the job did not come to its end")
            finally:
                job.end()
                shutil.rmtree(place)

    def broken(self, count):
        """Each rule, and the trial that cannot do without it."""
        for rule, trial, tries in (("agreement", self.limit, 3), ("borders", self.kills, 5), ("helpers-lock", self.orphans, 5),
                                   ("lend-beyond", self.kills, 20), ("edges", self.long, 1), ("patches", self.kills, 5),
                                   ("loan", self.loan, 1)):
            preload = ":".join(str(self.options.breakable / f"lib{name}.so") for name in ("H5Journal", "PDM_Core_mpi"))
            self.rules = {"LD_PRELOAD": preload, "PDM_BREAK": rule}
            try:
                trial(tries)
            except (Bad, subprocess.SubprocessError) as why:
                print(f"no {rule}: noticed: {why}", flush=True)
                continue
            raise Bad(f"nobody noticed that {rule} was broken")

    def all(self, count):
        self.kills(count)
        for trial in (self.orphans, self.limit, self.loan, self.long):
            trial(1)
        probe = ["unshare", "-m", "mount", "-t", "tmpfs", "pdm", "/mnt"]
        if subprocess.run(probe, stderr=subprocess.DEVNULL).returncode != 0:
            print("NOT TRIED, nobody may mount here: full, views")
            return
        self.full(1)
        self.views(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("worker", type=Path)
    parser.add_argument("trial", choices=["all", "kills", "orphans", "limit", "full", "views", "loan", "long", "broken"])
    parser.add_argument("--count", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--mpirun", type=Path, default=Path("mpirun"))
    parser.add_argument("--breakable", type=Path)
    options = parser.parse_args()
    start, bad = time.monotonic(), None
    try:
        getattr(Campaign(options), options.trial)(options.count)
    except Bad as why:
        bad = why
    for what, n in sorted(COUNTS.items()):
        print(f"{n:8} {what}")
    print(f"{time.monotonic() - start:8.0f} seconds")
    if bad is not None:
        print(f"BAD: {bad}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
