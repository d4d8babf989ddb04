#!/usr/bin/env python3
"""Holds the form of sources: contracts on headers, and the size of files and functions.

Usage: contracts.py [FILE...]     all sources under version control when none is named

In every header, \\param and \\return begin lines of their own. Every installed header (as cmake/PDM_Headers.cmake and
the platform's CMake files name them) says in one line that begins with "Threads:" what threads may do. A file has at
most 400 lines, a function at most 60; generated files are left out of both.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FILE_LINES, FUNCTION_LINES = 400, 60
INSIDE = re.compile(r"\S.*\\(param|return)\b")
# With our formatting a function begins with a line that ends in "{" and ends with a "}" as far to the left.
OPENS = re.compile(r"^\s*[^\s/#}].*\{$")
TYPE = re.compile(r"\b(class|struct|union|enum|namespace)\b[^()]*\{$")


def installed():
    named = (ROOT / "cmake/PDM_Headers.cmake").read_text()
    found = set(re.findall(r"\w+/[\w/]+\.h\b", named)) | {"lib/PDM_Core.h"}
    for lists in (ROOT / "platform").glob("*/CMakeLists.txt"):
        headers = lists.read_text().partition("HEADERS")[2].partition("LINK")[0]
        found |= {f"platform/{lists.parent.name}/{name}" for name in re.findall(r"[\w/]+\.h\b", headers)}
    return found | {f"mpi/{header.name}" for header in (ROOT / "mpi").glob("*.h")}


def contracts(name, lines, public):
    for number, line in enumerate(lines, 1):
        comment = line.partition("///")[2]
        if INSIDE.search(comment.strip()[1:] if comment else ""):
            yield f"{name}:{number}: \\param or \\return inside of a line"
    is_part = any(line.startswith("// Part of ") for line in lines)
    declares = any(re.match(r"class |struct |template|(?!#).*_API ", line) for line in lines)
    says = any(re.match(r"\s*(//+| \*) Threads: ", line) for line in lines)
    if name in public and declares and not (says or is_part or name.endswith("_Impl.h")):
        yield f"{name}: no line says its threads (\"/// Threads: ...\")"


def sizes(name, lines):
    if len(lines) > FILE_LINES:
        yield f"{name}: {len(lines)} lines, more than {FILE_LINES}"
    begun = None
    for number, line in enumerate(lines, 1):
        if begun and line.startswith(begun[1] + "}"):
            if number - begun[0] + 1 > FUNCTION_LINES:
                yield f"{name}:{begun[0]}: a function of {number - begun[0] + 1} lines, more than {FUNCTION_LINES}"
            begun = None
        elif not begun and OPENS.match(line) and not TYPE.search(line):
            first = number  # a signature may take several lines
            while first > 1 and not re.search(r"[;{}:>*/]$|^\s*(//.*|#.*)?$", lines[first - 2]):
                first -= 1
            indent = min((re.match(r" *", text)[0] for text in lines[first - 1 : number]), key=len)
            begun = (first, indent) if len(indent) <= 2 else None


def main():
    names = sys.argv[1:] or subprocess.run(
        ["git", "ls-files", "-co", "--exclude-standard", "--", "*.h", "*.cpp", "*.j2"],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout.split()
    public, found = installed(), []
    for name in sorted(set(names)):
        if not (ROOT / name).is_file():
            continue
        lines = (ROOT / name).read_text().splitlines()
        if name.endswith((".h", ".h.j2")):
            found += contracts(name, lines, public)
        if not name.startswith("generated/") or "NodalDof" in name:
            found += sizes(name, lines)
    print("\n".join(found), end="\n" if found else "")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
