"""Does what a page says and holds what comes out against what the page shows.

Usage: tutorial.py SOURCE PREFIX PAGE [--keep FOLDER]

SOURCE is the project's folder, PREFIX where it is installed. The blocks of a page that are marked `console` are typed one
after another into shells in an empty folder, where PDM_Core is SOURCE: lines that begin with "$ " are typed, the lines
under them must come out. "…" stands for any text within a line, and alone in its line for any lines; in blocks of the class
`numbers-vary` each number stands for any number. A last line "^C" is
typed once the lines before it are there. Blocks with one caption share a shell, those without have one of their own. A
command must end with 0, unless `echo $?` follows it. What else a page shows must come from files: other blocks of code
are faults, but those of the class `not-typed`. --keep keeps the folder's files.
"""

import contextlib
import difflib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

SECONDS = 300  # for one command
FENCE = re.compile(r"^```(\{(?P<directive>[\w-]+)\} *)?(?P<word>\S*)\n(?P<body>.*?)^```$", re.M | re.S)
FROM_FILES = {"include", "literalinclude", "figure", "image", "toctree", "note", "tip", "seealso"}


class Failed(Exception):
    pass


class Command:
    def __init__(self, line, text, shell):
        self.line, self.text, self.shell, self.expected, self.interrupted = line, text, shell, [], False
        self.numbers_vary = False

    def fits(self, text, whole=True):
        pattern = ""
        for line in self.expected:
            pattern += "(?:.*\n)*?" if line == "…" else ".*?".join(map(self.fitting, line.split("…"))) + " *\n"
        return (re.fullmatch if whole else re.match)(pattern, text) is not None

    def fitting(self, part):
        part = re.escape(part)
        return re.sub(r"\d+(\\\.\d+)?", r"-?\\d[\\d.e+-]*", part) if self.numbers_vary else part


def commands_of(page):
    """All commands of a page in their order."""
    commands = []
    for fence in FENCE.finditer(page):
        at = page.count("\n", 0, fence.start()) + 1
        if fence["directive"] in FROM_FILES or ":class: not-typed\n" in fence["body"]:
            continue
        if fence["word"] != "console":
            raise Failed(f"{at}: a block of code that is neither typed nor from a file")
        caption, mine = re.search(r"^:caption: (.*)\n", fence["body"], re.M), None
        for number, line in enumerate(fence["body"].splitlines(), at + 1):
            if line.startswith("$ "):
                mine = Command(number, line[2:], caption[1] if caption else "")
                mine.numbers_vary = ":class: numbers-vary\n" in fence["body"]
                commands.append(mine)
            elif mine:
                mine.expected.append(line.rstrip())
            elif line and not line.startswith(":"):
                raise Failed(f"{number}: output without a command")
    for one in commands:
        while one.expected and not one.expected[-1]:
            one.expected.pop()
        if one.expected[-1:] == ["^C"]:
            one.expected.pop()
            one.interrupted = True
    return commands


class Shell:
    """A shell that is typed into; what it says is read as it comes."""

    def __init__(self, folder, environment):
        self.process = subprocess.Popen(
            ["bash", "--noprofile", "--norc"], cwd=folder, env=environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        self.said, self.status = "", None
        self.listener = threading.Thread(target=self.listen, daemon=True)
        self.listener.start()

    def listen(self):
        while data := os.read(self.process.stdout.fileno(), 65536):
            self.said += data.decode(errors="replace")

    def interrupt(self):
        children = f"/proc/{self.process.pid}/task/{self.process.pid}/children"
        for child in pathlib.Path(children).read_text().split():
            os.kill(int(child), signal.SIGINT)

    def run(self, command):
        """What the command said, and its exit code."""
        self.said = ""
        mark = f"(exit ${{code:-0}}); {{ {command.text}\n}} </dev/null; code=$?; printf '\\036%d\\036' $code\n"
        self.process.stdin.write(mark.encode())
        self.process.stdin.flush()
        end = time.monotonic() + SECONDS
        interrupt = command.interrupted
        while not (done := re.search("\x1e(\\d+)\x1e", self.said)):
            if time.monotonic() > end or self.process.poll() is not None:
                self.said += "\n(no end)\n"
                return self.said, -1
            if interrupt and command.fits(self.said, whole=False):
                self.interrupt()
                interrupt = False
            time.sleep(0.01)
        return self.said[: done.start()], int(done[1])

    def close(self):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        self.listener.join(timeout=5)  # ends when nobody is left who could say something
        self.process.stdin.close()
        self.process.stdout.close()


def check(command, next_command, text, code):
    if text and not text.endswith("\n"):
        text += "\n"
    text = re.sub(r"[ \t]+\n", "\n", text)
    if not command.fits(text):
        shown = difflib.unified_diff(command.expected, text.splitlines(), "the page", "the command", lineterm="", n=99)
        raise Failed(f"{command.line}: $ {command.text}\n" + "\n".join(shown))
    if code != 0 and not (next_command and next_command.text == "echo $?"):
        raise Failed(f"{command.line}: $ {command.text}\nexit code {code}")


def run(page, source, prefix, folder):
    """Raises Failed at the first line of the page that is not so."""
    (folder / "PDM_Core").symlink_to(source)
    environment = os.environ | {
        "PATH": f"{prefix}/bin:{os.path.dirname(sys.executable)}:{os.environ['PATH']}", "CMAKE_PREFIX_PATH": str(prefix), "LC_ALL": "C.UTF-8",
        "PYTHONPATH": f"{prefix}/lib/python3/dist-packages", "CXXFLAGS": "-Wall -Wextra -Wpedantic -Werror", "HOME": str(folder)}
    environment.setdefault("CCACHE_DIR", str(pathlib.Path.home() / ".ccache"))
    shells = {}
    try:
        commands = commands_of(page)
        for command, following in zip(commands, commands[1:] + [None]):
            if command.shell not in shells:
                shells[command.shell] = Shell(folder, environment)
            check(command, following, *shells[command.shell].run(command))
        return len(commands)
    finally:
        for shell in shells.values():
            shell.close()


def main():
    source, prefix, page = (pathlib.Path(name).resolve() for name in sys.argv[1:4])
    folder = pathlib.Path(tempfile.mkdtemp(prefix="pdm-"))
    try:
        count = run(page.read_text(), source, prefix, folder)
        if not count:
            raise Failed("0: nothing is typed")
        print(f"{page.name}: {count} commands did as the page says")
        if sys.argv[4:5] == ["--keep"]:
            (folder / "PDM_Core").unlink()
            shutil.copytree(folder, sys.argv[5], dirs_exist_ok=True, symlinks=True)
    except Failed as failed:
        sys.exit(f"{page}:{failed}")
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
