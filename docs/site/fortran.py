"""Writes what the module pdm has as fragments of a page, one a type, and one of its constants and other procedures.

Usage: fortran.py SOURCES OUT

SOURCES is the folder with the modules. A procedure's signature, the declarations of its arguments and what the comment
above it says become its entry.
"""

import pathlib
import re
import subprocess
import sys

PROCEDURE = re.compile(r"^ *((?:impure |elemental |pure )*(?:subroutine|function)) (\w+)\(([^)]*)\)(?: *result\((\w+)\))?", re.I)
OF_ALL = ("self", "stat", "errmsg")
EACH = "_i1"  # ends the first of those that there are for every type and rank of numbers


def said(lines, at):
    """The comment above a line, its parameters apart."""
    first = at
    while first > 0 and lines[first - 1].lstrip().startswith("!>"):
        first -= 1
    text, words = [], {}
    for line in (line.lstrip()[2:].strip() for line in lines[first:at]):
        if found := re.match(r"\\param (\w+) +(.*)", line):
            words[found[1]] = found[2]
        elif line.startswith("\\return "):
            text.append(f"Returns {line[8:]}")
        else:
            text.append(line)
    return " ".join(text), words


class Procedure:
    def __init__(self, lines, at):
        found = PROCEDURE.match(lines[at])
        self.is_function, self.name, self.result = found[1].endswith("function"), found[2], found[4]
        self.arguments = [one.strip() for one in found[3].split(",")]
        self.text, self.words = said(lines, at)
        self.declared = {}
        for line in lines[at + 1:]:
            declared = re.match(r" *(.+?) *:: *(.*)", line)
            if not declared and line.strip():
                break
            if not declared:
                continue
            for name in re.findall(r"(\w+)( *\([^)]*\))?", declared[2].split(" = ")[0]):
                self.declared[name[0]] = f"{declared[1]} :: {name[0]}{name[1]}"
        if self.name.endswith(EACH):
            numbers = self.declared["values"].replace("integer(int32)", "integer or real")
            self.declared["values"] = re.sub(r" *\(:\)", "(:) or (:, :)", numbers)

    def entry(self, name, owner):
        arguments = [one for one in self.arguments if one and one not in OF_ALL]
        required = [one for one in arguments if "optional" not in self.declared.get(one, "")]
        shown = ", ".join(required) + "".join(f"[, {one}]" for one in arguments if one not in required)
        shown = re.sub(r"^\[, (\w+)\]", r"[\1]", shown)
        call = f"{owner}%{name}({shown})" if owner else f"{name}({shown})"
        head = f"{self.result or self.name} = {call}" if self.is_function else f"call {call}"
        if not self.text:
            sys.exit(f"fortran.py: {self.name}: no comment says what it does")
        answers = [self.result] if self.is_function and self.result else []
        declared = [(plain(self.declared[one]), self.words.get(one, "")) for one in arguments + answers]
        width = max((len(text) for text, what in declared if what), default=0)
        rows = [f"  {text:{width}}  ! {what}" if what else f"  {text}" for text, what in declared]
        title = f"{owner}%{name}" if owner else name
        return "\n".join([f"### `{title}`", "", sentence(self.text), "", "```fortran", head, *rows, "```", ""])


def sentence(text):
    return text and text[0].upper() + text[1:]


def plain(text):
    return re.sub(r", *(target|contiguous|optional|intent\(in\))", "", text).replace("c_int32_t", "int32")


def read(sources):
    """Of each module the lines, as the preprocessor makes them, and the procedures by name."""
    modules = {}
    for path in sorted(sources.glob("pdm*.[fF]90")):
        expanded = ["cpp", "-traditional", "-P", "-C", "-nostdinc", path.name]
        lines = subprocess.run(expanded, cwd=sources, check=True, capture_output=True, text=True).stdout.splitlines()
        found = (Procedure(lines, at) for at, line in enumerate(lines)
                 if PROCEDURE.match(line) and not line.lstrip().startswith("end"))
        procedures = {}
        for one in found:
            procedures.setdefault(one.name, one)
        modules[path.name] = lines, procedures
    return modules


def of_type(lines, at, procedures):
    name = re.search(r":: (\w+)", lines[at])[1]
    text, _ = said(lines, at)
    owner = name.removeprefix("pdm_")
    fields, methods = [], []
    for line in lines[at + 1:]:
        if line.strip().startswith("end type"):
            break
        if "private" in line or "assignment" in line or "final ::" in line or "for this layer alone" in line:
            continue
        if method := re.match(r" *procedure :: (\w+) => (\w+)", line):
            methods.append((method[1], procedures[method[2]]))
        elif generic := re.match(r" *generic :: (\w+) => (\w+)", line):
            methods.append((generic[1], procedures[generic[2]]))
        elif field := re.match(r" *(.+?) :: ([\w, ]+?)(?: *= *([^!]*?))? *(?:!< *(.*))?$", line):
            if "fresh" not in field[2]:
                fields.append(field)
    out = [f"## `{name}`", "", text, ""]
    if fields:
        out += ["| | | |", "|---|---|---|"]
        out += [f"| `{field[2]}` | `{plain(field[1])}` | {field[4] or ''} |" for field in fields] + [""]
    for word, one in methods:
        out.append(one.entry(word, owner))
    return name, "\n".join(out)


def constants(modules):
    out = ["## Constants", "", "| | |", "|---|---|"]
    for lines, _ in modules.values():
        joined = re.sub(r"& *\n *", "", "\n".join(lines)).splitlines()
        for at, line in enumerate(joined):
            if found := re.match(r" *integer(?:\(\w+\))?, parameter, public :: (.*)", line):
                names, _, what = found[1].partition("!<")
                above, _ = said(joined, at)
                words = ", ".join(f"`{name}`" for name in re.findall(r"(pdm_\w+) *=", names))
                out.append(f"| {words} | {what.strip() or above} |")
    return "\n".join(out) + "\n"


def main():
    sources, out = map(pathlib.Path, sys.argv[1:])
    modules = read(sources)
    procedures = {name: one for _, of_module in modules.values() for name, one in of_module.items()}
    out.mkdir(parents=True, exist_ok=True)
    public = set(re.findall(r"\bpdm_\w+", " ".join(line for line in modules["pdm.F90"][0] if line.startswith("  public ::"))))
    free = [procedures[name].entry(name, "") for name in sorted(public & set(procedures))]
    (out / "free.inc").write_text("## Procedures of their own\n\n" + "\n".join(free))
    (out / "constants.inc").write_text(constants(modules))
    for lines, own in modules.values():
        for at, line in enumerate(lines):
            if re.match(r" *type, public :: pdm_", line):
                name, text = of_type(lines, at, procedures | own)
                (out / f"{name}.inc").write_text(text)


if __name__ == "__main__":
    main()
