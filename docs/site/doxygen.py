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


def run(out, headers, **options):
    """Doxygen over some headers, with options that are not those of the Doxyfile."""
    out.mkdir(parents=True, exist_ok=True)
    own = {"INPUT": " ".join(headers), "STRIP_FROM_PATH": ROOT, "OUTPUT_DIRECTORY": out} | options
    lines = "".join(f"{name} = {value}\n" for name, value in own.items())
    (out / "Doxyfile").write_text((ROOT / "docs/site/Doxyfile").read_text() + lines)
    subprocess.run(["doxygen", out / "Doxyfile"], cwd=ROOT, check=True)


def main():
    out = pathlib.Path(sys.argv[1]).resolve()
    run(out, sorted(contracts.installed() - {"c/pdm.h"}))
    run(out / "c", ["c/pdm.h"], INPUT_FILTER='"sed -E -f docs/site/c.sed"', PREDEFINED="PDM_API=", EXPAND_ONLY_PREDEF="NO",
        OPTIMIZE_OUTPUT_FOR_C="YES", TYPEDEF_HIDES_STRUCT="NO", EXTRACT_STATIC="YES")
    for path in (out / "xml").glob("*.xml"):
        leave_what_is_public(path)


if __name__ == "__main__":
    main()
