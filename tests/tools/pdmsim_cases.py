"""What the tests of the built pdmsim have in common: its command line, meshes made for it, refusals.

Imported by programs whose arguments are: PDMSIM MESH_FOLDER [unittest arguments]"""

import json
import pathlib
import sys

import exo_make
import programs

PDMSIM, MESHES = sys.argv[1], pathlib.Path(sys.argv[2])
QUAD = [{"id": 1, "type": "QUAD4", "conn": [[1, 2, 3, 4]]}]


def run(*args):
    return programs.run(PDMSIM, *args)


class Case(programs.Case):
    def setUp(self):
        super().setUp()
        self.out = self.dir / "out.pdm"

    def import_(self, mesh, notes=b""):
        """The summary; `notes` must be among what is said."""
        self.out.unlink(missing_ok=True)  # which a test may have open
        done = run("import", mesh, self.out, "--json", "--force")
        self.assertEqual((done.returncode, bool(done.stderr)), (0, bool(notes)), done.stderr)
        self.assertIn(notes, done.stderr)
        return json.loads(done.stdout)

    def make(self, name="mesh.exo", **kw):
        return exo_make.write(self.dir / name, **kw)

    def refused(self, code, *args, says=()):
        super().refused(code, PDMSIM, *args, says=says)
