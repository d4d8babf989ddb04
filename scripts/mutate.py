"""Mutation testing: see `scripts/mutate.sh --help`."""

import argparse
import difflib
import fcntl
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import mutants as code

TOP = pathlib.Path(__file__).resolve().parent.parent
WORK = TOP / "build" / "mutants"
SOURCE = WORK / "src"
RESULTS = WORK / "results.jsonl"

MUTATED = """lib msf fes dof gbb kda omi generated platform/UTI_ORXSimDynamicAPI platform/UTI_CoreUtils platform/UTI_BasicUtils
    platform/H5Journal tools/pdmsim""".split()
NOT_THE_PROGRAM = "docs benchmarks fuzz scripts .ci out".split()  # a change there leaves results valid

# Rooms of tests below tests/, and what to build for each. The package's tests see the same code once more.
ROOMS = {
    "containers": [],
    "dof": [],
    "framework": ["file_program"],
    "schema": ["pdmsim"],
    "tools": ["pdmsim", "file_program"],
    "golden": ["pdmsim", "file_program"],
    "modal": ["pdmsim", "modal_analysis", "modal_read"],
    "platform": [],
    "campaign": [],
}
LIBRARY = list(ROOMS)[:-2]  # the platform's tests do not load it, and campaigns are minutes for little of it
# Whose change is noticed where: the rooms to ask first, and all that could tell. The first that fits a path counts.
NOTICED = [
    ("kda omi", "containers", LIBRARY),
    ("dof generated", "dof", LIBRARY),
    ("gbb msf fes lib", "framework schema", LIBRARY),
    ("platform/H5Journal", "platform campaign", list(ROOMS)),
    ("platform", "platform framework", list(ROOMS)),
    ("tools/pdmsim/dofs tools/pdmsim/commands/cmd_Dofs", "modal", ["tools", "modal", "golden"]),
    ("tools", "tools golden", ["tools", "modal", "golden"]),
]
GREEDY = r"^pdmsim\.(View|Draw|Report\.Browser)$"  # what draws takes more address space than a mutant gets
NOT_SANITIZED = ("modal", "campaign")  # neither the examples nor what stands between library and system
SANITIZERS = {"ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1", "UBSAN_OPTIONS": "halt_on_error=1"}
KNOWN = ("kda/kda_string.cpp", "containers")  # what turns a comparison round there must be noticed here

HELP = """\
Changes one place of the library's code at a time (a comparison, a constant, a condition, a statement), builds it, and runs
the tests until one fails. A mutant that no test notices survives: a test is missing, or the change makes no difference.
Your own sources are never touched: everything happens on a copy in build/mutants.

  scripts/mutate.sh                          a hundred mutants of the whole library: hours
  scripts/mutate.sh --count 20 --only dof    twenty of one folder, or of one file
  scripts/mutate.sh --list                   what survived, as a diff
  scripts/mutate.sh --again 3fa9c1e2         that one once more, say after a new test for it

Run it again with the same words and it goes on where it was interrupted, as long as no source and no test has changed.
Results are lines of JSON in build/mutants/results.jsonl. Outcomes: killed (by the test named), time-out (a test took several
times as long as it should), sanitizers (killed by them alone), survived, did not compile (the next of the seed takes its
place). The same seed gives the same mutants; a change elsewhere leaves a line its mutant. Lines of headers are chosen half as
often, since whole libraries are built for each.

exit code: 0 at least 95 % were killed, 1 fewer, 2 the tool itself failed (the unchanged code does not build or pass, or the
mutant that must be noticed is not)
"""


class Broken(Exception):
    """The tool cannot do its work."""


def run(command, limit, log, **options):
    """Runs a command and all that it starts, and ends them all. Returns its exit code, None when time ran out."""
    with open(log, "w") as out:
        child = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT, start_new_session=True, **options)
        try:
            return child.wait(limit)
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(child.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            child.wait()


def limits():
    """A mutant may ask for all there is."""
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (4 << 30, 4 << 30))


def limits_of_memory():
    """The same for what is not built with the sanitizers, which reserve a lot."""
    limits()
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))


def put(file, text):
    """Writes a file of the copy, unless it stands there: what is written is built again."""
    if (SOURCE / file).read_text() != text:
        (SOURCE / file).write_text(text)


def project_files():
    """Paths of all sources, under version control or not."""
    git = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=TOP, capture_output=True, check=False)
    names = git.stdout.decode().split("\0")
    if git.returncode != 0:
        found = (path.relative_to(TOP) for path in TOP.rglob("*"))
        names = [str(path) for path in found if not path.parts[0].startswith(("build", "out", ".git"))]
    return sorted(name for name in names if name and (TOP / name).is_file())


def copy_sources():
    """Makes the copy what the tree is now, touching only what differs. Returns a digest of all that is built."""
    names, seen = project_files(), []
    for name in names:
        content, target = (TOP / name).read_bytes(), SOURCE / name
        if not target.is_file() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(TOP / name, target)
            shutil.copymode(TOP / name, target)
        if name.split("/")[0] not in NOT_THE_PROGRAM and not name.endswith(".md"):
            seen += [name, code.digest(content)]
    for path in list(SOURCE.rglob("*")):
        if path.is_file() and str(path.relative_to(SOURCE)) not in names:
            path.unlink()
    return code.digest(*seen)[:12]


def all_mutants(only=""):
    """Lines of mutants of every file below a folder, or of one file."""
    lines = []
    for name in project_files():
        below = [name == path or name.startswith(path.rstrip("/") + "/") for path in [only, *MUTATED]]
        if not name.endswith((".h", ".cpp")) or not any(below[1:]) or (only and not below[0]):
            continue
        text = (TOP / name).read_text()
        if "Generated by" not in text[:200]:
            lines += code.mutants(name, text)
    return lines


def rooms_for(file):
    for paths, first, able in NOTICED:
        if any(file.startswith(path) for path in paths.split()):
            return first.split() + [room for room in able if room not in first.split()]
    raise Broken(f"no tests are known for {file}")


class Build:
    """One build directory of the copy. Knows how long each room's tests take when nothing is changed."""

    def __init__(self, preset, jobs, tree):
        self.preset, self.jobs, self.directory, self.tree = preset, jobs, WORK / preset, tree
        self.notes, self.clean = WORK / f"{preset}.json", {}
        if self.notes.exists():
            notes = json.loads(self.notes.read_text())
            self.clean = notes["clean"] if notes["tree"] == tree else {}

    def log(self, step):
        return WORK / f"{self.preset}-{step}.log"

    def note(self, name, value):
        self.clean[name] = value
        self.notes.write_text(json.dumps({"tree": self.tree, "clean": self.clean}))

    def configure(self):
        examples = "OFF" if self.preset == "asan" else "ON"
        options = ["-B", self.directory, "-DPDM_TESTS=ON", f"-DPDM_EXAMPLES={examples}"]
        if run(["cmake", "--preset", self.preset, *options], 600, self.log("configure"), cwd=SOURCE) != 0:
            raise Broken(f"it does not configure: {self.log('configure')}")

    def build(self, room, **environment):
        """None when it is built, else why not: it does not compile, or was killed by what runs while it is built."""
        command = ["cmake", "--build", self.directory, "-j", str(self.jobs), "--target", f"tests/{room}/all", *ROOMS[room]]
        if run(command, 3600, self.log("build"), preexec_fn=limits, env={**os.environ, **environment}) == 0:
            return None
        said = self.log("build").read_text(errors="replace")
        return "did not compile" if re.search(r"error: |undefined reference|undefined symbol", said) else "killed"

    def test(self, room, limit, limit_of_all):
        """None when all tests of a room pass, else (outcome, test). Limits are seconds."""
        sanitized = self.preset == "asan"
        files = tempfile.mkdtemp(prefix="files.", dir=WORK)
        command = ["ctest", "--test-dir", self.directory / "tests" / room, "-j", str(self.jobs), "--stop-on-failure"]
        command += ["--no-tests=error", "--timeout", str(limit), "--exclude-regex", GREEDY]
        environment = {**os.environ, **(SANITIZERS if sanitized else {}), "TMPDIR": files}
        bounds = limits if sanitized else limits_of_memory
        try:
            result = run(command, limit_of_all, self.log("test"), env=environment, preexec_fn=bounds)
        finally:
            shutil.rmtree(files, ignore_errors=True)
        if result == 0:
            return None
        said = self.log("test").read_text(errors="replace")
        failed = re.search(r"Test +#\d+: (\S+) [ .]*[\w ]*\*\*\*(\w+)", said)
        late = result is None or (failed and failed[2] == "Timeout")
        return "time-out" if late else "killed", failed[1] if failed else room

    def try_clean(self, room):
        """The unchanged code must build and pass before a mutant is judged."""
        say(f"   {self.preset}: {room} without a change ...")
        if self.build(room) is not None:
            raise Broken(f"the unchanged code does not build: {self.log('build')}")
        start = time.monotonic()
        failed = self.test(room, 900, 1800)
        if failed is not None:
            raise Broken(f"the unchanged code fails {failed[1]}: {self.log('test')}")
        longest = max(map(float, re.findall(r"Passed +([\d.]+) sec", self.log("test").read_text(errors="replace"))))
        self.note(room, [longest, round(time.monotonic() - start, 1)])

    def judge(self, mutant, rooms):
        """Builds and runs room after room until one notices. Returns (outcome, by whom)."""
        original = (TOP / mutant.file).read_text()
        try:
            for room in rooms:
                if self.preset == "asan" and room in NOT_SANITIZED:
                    continue
                if room not in self.clean:
                    put(mutant.file, original)
                    self.try_clean(room)
                put(mutant.file, mutant.apply(original))
                outcome = self.build(room, CCACHE_READONLY="1")  # nobody builds it again
                if outcome is not None:
                    return outcome, f"the build of {room}"
                longest, together = self.clean[room]
                failed = self.test(room, round(20 + 5 * longest), 60 + 5 * together)
                if failed is not None:
                    return failed
            return "survived", ""
        finally:
            put(mutant.file, original)


def say(text):
    print(text, flush=True)


def changed_lines(mutant):
    """The lines that a mutant takes away, and those that it puts there."""
    text = (TOP / mutant.file).read_text()
    lines = list(difflib.unified_diff(text.splitlines(), mutant.apply(text).splitlines(), n=0, lineterm=""))[2:]
    return [[line[1:].strip() for line in lines if line.startswith(sign)] for sign in "-+"]


def try_one(mutant, builds, tried=()):
    """Judges a mutant in one build after another but those it survived before, and writes the result down."""
    start, was, now = time.monotonic(), *changed_lines(mutant)
    for build in (build for build in builds if build.preset not in tried):
        outcome, by = build.judge(mutant, rooms_for(mutant.file))
        if outcome != "survived":
            break
    if build.preset == "asan" and outcome != "survived":
        outcome = "sanitizers"
    result = {"id": mutant.id, "file": mutant.file, "line": mutant.line, "change": mutant.change, "was": was, "now": now,
              "outcome": outcome, "by": by, "seconds": round(time.monotonic() - start), "tree": builds[0].tree,
              "builds": [build.preset for build in builds]}
    with open(RESULTS, "a") as out:
        out.write(json.dumps(result) + "\n")
    return result


def told(result):
    by = f" by {result['by']}" if result["by"] and result["outcome"] != "did not compile" else ""
    return "{id}  {file}:{line}  {change}: {outcome}".format(**result) + f"{by} ({result['seconds']} s)"


def results():
    lines = RESULTS.read_text().splitlines() if RESULTS.exists() else []
    return [json.loads(line) for line in lines]


def list_survivors(only):
    there = {mutant.id: mutant for line in all_mutants(only) for mutant in line}
    last = {result["id"]: result for result in results()}
    survivors = [result for result in last.values() if result["outcome"] == "survived" and result["id"] in there]
    survivors.sort(key=lambda result: (result["file"], result["line"]))
    for result in survivors:
        mutant = there[result["id"]]
        say(f"{mutant.id}  {mutant.file}:{mutant.line}  {mutant.change}")
        for sign, lines in zip("-+", changed_lines(mutant)):
            for line in lines:
                say(f"  {sign} {line}")
    tried = sum(result["outcome"] != "did not compile" for result in last.values() if result["id"] in there)
    say(f"{len(survivors)} survived of {tried} that were tried")
    return 0


def check_itself(build):
    """One mutant that must be noticed, or nothing that this tool says means anything."""
    if "known mutant" in build.clean:
        return
    file, room = KNOWN
    known = [m for line in all_mutants(file) for m in line if m.now == "!="]
    if not known or build.judge(known[0], [room])[0] != "killed":
        raise Broken(f"{room} does not notice a comparison turned round in {file}")
    build.note("known mutant", known[0].id)


def campaign(options, builds):
    before = {result["id"]: result for result in results() if result["tree"] == builds[0].tree}
    order = code.chosen(options.seed, all_mutants(options.only), lambda file: 0.5 if file.endswith(".h") else 1)
    counted, survived, alone = 0, 0, 0
    for mutant in order:
        if counted == options.count:
            break
        result = before.get(mutant.id)
        if result is None or (result["outcome"] == "survived" and len(result["builds"]) < len(builds)):
            result = try_one(mutant, builds, result["builds"] if result else ())
        if result["outcome"] == "did not compile":
            continue
        counted += 1
        survived += result["outcome"] == "survived"
        alone += result["outcome"] == "sanitizers"
        say(f"[{counted}/{options.count}] {told(result)}  {100 * (counted - survived) / counted:.0f} %")
    if not counted:
        raise Broken(f"nothing to change in {options.only or 'the library'}")
    share = 100 * (counted - survived) / counted
    sum_up = f"{counted - survived} of {counted} killed: {share:.1f} %, {alone} of them by the sanitizers alone"
    say(f"{sum_up} (seed {options.seed})")
    return 0 if share >= 95 else 1


def main():
    parser = argparse.ArgumentParser(
        "scripts/mutate.sh", description=HELP, formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    add("--count", type=int, default=100, metavar="N", help="mutants to try (100)")
    add("--seed", default="1", metavar="S", help="chooses which (1)")
    add("--jobs", type=int, default=os.cpu_count(), metavar="J", help="compilers and tests at a time (all processors)")
    add("--only", default="", metavar="FOLDER", help="mutants of this folder or file alone")
    add("--sanitizers", action="store_true", help="try survivors under the sanitizers as well: a second build")
    add("--list", action="store_true", help="show what survived, and do nothing")
    add("--again", metavar="ID", help="try one mutant again")
    options = parser.parse_args()
    if options.list:
        return list_survivors(options.only)
    WORK.mkdir(parents=True, exist_ok=True)
    lock = open(WORK / "lock", "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise Broken("it is running already") from None
    wanted = [m for line in all_mutants() for m in line if m.id == options.again]
    if options.again and not wanted:
        raise Broken(f"no line has the mutant {options.again} any more")
    tree = copy_sources()
    builds = [Build("mutants", options.jobs, tree)]
    if options.sanitizers:
        builds.append(Build("asan", options.jobs, tree))
    for build in builds:
        build.configure()
    check_itself(builds[0])
    if options.again:
        result = try_one(wanted[0], builds)
        say(told(result))
        return 1 if result["outcome"] == "survived" else 0
    return campaign(options, builds)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        sys.exit(main())
    except Broken as cause:
        print(f"mutate: {cause}", file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        print("mutate: interrupted; the same words go on from here", file=sys.stderr)
        sys.exit(130)
