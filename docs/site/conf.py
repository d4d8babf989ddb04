"""The site. scripts/site.sh builds it, of a tree of links to the documents where they stand."""

import os
import re

project = "PDM_Core"
author = copyright = "the authors of PDM_Core"
version = release = os.environ["PDM_VERSION"]

extensions = ["breathe", "myst_parser", "sphinx_copybutton"]
source_suffix = {".md": "markdown"}
exclude_patterns = ["README.md", "benchmarks/README.md", "docs/README.md", "docs/site", "docs/decisions/README.md"]
nitpicky = False
highlight_language = "none"
pygments_style = "friendly"
myst_enable_extensions = ["colon_fence", "deflist"]
myst_heading_anchors = 4

breathe_projects = {"pdm": os.environ["PDM_DOXYGEN"] + "/xml", "c": os.environ["PDM_DOXYGEN"] + "/c/xml"}
breathe_default_project = "pdm"
breathe_domain_by_extension = {"h": "cpp"}
breathe_domain_by_file_pattern = {"*/pdm.h": "c"}
breathe_show_include = False
cpp_id_attributes = ["PDM_CORE_API", "ORXSIM_API", "ORXSIM_MPI_API", "H5J_API"]

copybutton_prompt_text = "$ "
copybutton_only_copy_prompt_lines = True

html_theme = "furo"
html_title = f"PDM_Core {version}"
html_static_path = ["_static"]
html_css_files = ["site.css"]
html_show_sphinx = False
html_copy_source = False

# Folders and files of the sources that are no pages are named, not linked. Pictures are those that were drawn for the site.
PICTURE = re.compile(r"(?<=\]\()(\w+\.png)(?=\))")
LINK = re.compile(r"(?<!!)\[([^\]]*)\]\(([^)#:\s]+)(#[^)\s]*)?\)")


def link_what_is_a_page(app, name, source):
    def linked(match):
        target = os.path.normpath(os.path.join(os.path.dirname(name), match[2]))
        page = os.path.splitext(target)[0]
        if page in app.env.found_docs or os.path.exists(os.path.join(app.srcdir, target)):
            return match[0]
        return match[1] if match[1].startswith("`") else f"`{match[1]}`"

    source[0] = PICTURE.sub(r"/pictures/\1", LINK.sub(linked, source[0]))


def setup(app):
    app.connect("source-read", link_what_is_a_page)
