"""Pages of pdmsim's commands, of the man pages that it generates from its own help.

Usage: commands.py MAN_PAGES OUT
"""

import pathlib
import re
import sys


def plain(text):
    return text.replace("\\fB", "").replace("\\fI", "").replace("\\fR", "").replace("\\-", "-").replace("\\&", "").replace(
        "\\e", "\\")


def code(text):
    return f"`{plain(text)}`" if text else ""


def words(text):
    """Text that Markdown shows as it is."""
    return re.sub(r"([*_<>\[\]`|])", r"\\\1", plain(text))


def sections(roff):
    """Each section's name with its lines."""
    found = {}
    for line in roff.splitlines():
        if line.startswith(".SH "):
            found[line[4:]] = current = []
        elif not line.startswith((".TH ", ".nf", ".fi")):
            current.append(line)
    return found


def terms(lines):
    """What .TP has: a term, then what it means."""
    for at, line in enumerate(lines):
        if line == ".TP":
            yield lines[at + 1], " ".join(lines[at + 2 : (lines + [".TP"]).index(".TP", at + 1)])


def page(roff):
    found = sections(roff)
    name, _, what = plain(found["NAME"][0]).partition(" - ")
    synopsis = plain(" ".join(line.removeprefix(".B ") for line in found["SYNOPSIS"]))
    out = [f"# {name.replace('-', ' ', 1)}", "", f"{what}.", "", "```text", synopsis, "```", ""]
    if "COMMANDS" in found:
        out += ["## Commands", "", "| | |", "|---|---|"]
        out += [f"| [{plain(term)}](pdmsim-{plain(term)}.md) | {words(text)} |" for term, text in terms(found["COMMANDS"])]
        out += ["", "```{toctree}", ":hidden:", "", *(f"pdmsim-{plain(term)}" for term, _ in terms(found["COMMANDS"])), "```", ""]
    out += ["## Options", ""]
    for term, text in terms(found["OPTIONS"]):
        out += [code(term), f": {words(text)}", ""]
    out += ["## Use", "", "```text", plain("\n".join(found["USE"])).strip(), "```", ""]
    return "\n".join(out)


def main():
    man, out = map(pathlib.Path, sys.argv[1:])
    out.mkdir(parents=True, exist_ok=True)
    for source in man.glob("*.1"):
        name = "index" if source.stem == "pdmsim" else source.stem
        (out / f"{name}.md").write_text(page(source.read_text()))


if __name__ == "__main__":
    main()
