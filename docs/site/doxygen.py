"""Runs Doxygen over the installed headers and leaves in its XML what is for users.

Usage: doxygen.py OUT
"""

import pathlib
import subprocess
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import contracts  # noqa: E402


def leave_what_is_public(path):
    tree = xml.etree.ElementTree.parse(path)
    for compound in tree.iter("compounddef"):
        for section in compound.findall("sectiondef"):
            if section.get("kind").startswith("private") or section.get("kind") == "friend":
                compound.remove(section)
    tree.write(path, encoding="utf-8", xml_declaration=True)


def main():
    out = pathlib.Path(sys.argv[1]).resolve()
    out.mkdir(parents=True, exist_ok=True)
    own = f"INPUT = {' '.join(sorted(contracts.installed()))}\nSTRIP_FROM_PATH = {ROOT}\nOUTPUT_DIRECTORY = {out}\n"
    (out / "Doxyfile").write_text((ROOT / "docs/site/Doxyfile").read_text() + own)
    subprocess.run(["doxygen", out / "Doxyfile"], cwd=ROOT, check=True)
    for path in (out / "xml").glob("*.xml"):
        leave_what_is_public(path)


if __name__ == "__main__":
    main()
