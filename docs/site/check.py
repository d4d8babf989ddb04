"""Holds a built site against what it must be: each link within it leads somewhere, and each installed header, each function
of C, class of Python and type of Fortran is shown.

Usage: check.py SITE SOURCE DOXYGEN_XML TREE

TREE is what Sphinx read, with the fragments of pages that were made for it.
"""

import html.parser
import pathlib
import re
import sys
import urllib.parse
import xml.etree.ElementTree

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import contracts  # noqa: E402

# Headers of which programs use what is made of them, or that have nothing but macros and other headers in them.
INNER = re.compile(r"omi/|gbb/pattern/|Export\.h$|_Impl\.h$|_Module\.h$|kda_(MapIntKey|ValueTypes|none)\.h$|"
                   r"gbb_(AutoArray|Call|Class|ClassTexts|Context|Freshness|Group|ObjectInterface|String|TraverseContext)\.h$|"
                   r"c/pdm\.h$|pdm_(Call|Iterator|\w+Impl)\.h$|platform/(?P<library>\w+)/(?P=library)\.h$|ORXSim_Assert\.h$")


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value and tag != "base":
                self.links.append(value)
            elif name in ("id", "name") and value:
                self.anchors.add(value)


def dead_links(site):
    pages = {path: Page(path) for path in site.rglob("*.html")}
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                if parts.scheme not in ("mailto", "data", "https", "http"):
                    yield f"{path}: {link}"
                continue
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if target.is_dir():
                target /= "index.html"
            if not target.is_file():
                yield f"{path}: {link} leads nowhere"
            elif parts.fragment and target in pages and urllib.parse.unquote(parts.fragment) not in pages[target].anchors:
                yield f"{path}: {link} leads to nothing on that page"


def hidden_headers(source, doxygen):
    text = "".join(page.read_text() for page in (source / "reference/cpp").rglob("*.md"))
    shown = set(re.findall(r"\{doxygen(?:class|struct|function|file)\} (\S+)", text))
    for header in sorted(contracts.installed()):
        if INNER.search(header):
            continue
        name = pathlib.PurePath(header).name
        compound = doxygen / (name.replace("_", "__").replace(".", "_8") + ".xml")
        root = xml.etree.ElementTree.parse(compound)
        inside = {element.text for element in root.iter("innerclass")} | {element.text for element in root.iter("name")}
        if not shown & (inside | {name}):
            yield f"{header}: no page of the reference shows anything of it"


def hidden_words(site, source, tree):
    """Functions of C, and fragments that were made of the other languages and that no page includes."""
    shown = Page(site / "reference/c.html").anchors
    for name in re.findall(r"^PDM_API [^(;]*?\b(pdm_\w+)\(", (ROOT / "c/pdm.h").read_text(), re.M):
        if f"c.{name}" not in shown:
            yield f"c/pdm.h: {name} is on no page"
    text = "".join(page.read_text() for page in (source / "reference").rglob("*.md"))
    for fragment in sorted((tree / "reference").rglob("*.inc")):
        if f"{fragment.parent.name}/{fragment.name}" not in text:
            yield f"{fragment}: is on no page"


def main():
    site, source, doxygen, tree = (pathlib.Path(name).resolve() for name in sys.argv[1:])
    found = [*dead_links(site), *hidden_headers(source, doxygen), *hidden_words(site, source, tree)]
    print("\n".join(found), end="\n" if found else "")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
