"""The generator: one tiny bad schema for each of its rules, and what --check and --fix find and repair.

Run as: generate_test.py GENERATOR [unittest options].
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

GENERATOR = sys.argv.pop(1)
MODULE = '[module]\nname = "t"\nfolder = "t"\n'


def one_class(name="tD_A", persistent="org.A", doc='doc = "d"', body=""):
    return f'[[class]]\nname = "{name}"\npersistent = "{persistent}"\n{doc}\n{body}\n'


def members(*rows):
    return f"members = [{', '.join(rows)}]"


A = '{ name = "a", type = "int", doc = "d" }'
B = '{ name = "b", type = "int", doc = "d" }'
TAKEN = ("path", "get", "set", "new", "readMembers", "class", "operator", "int")  # by the pattern or by C++
GOOD = MODULE + one_class(body=members(A, B))

BAD = {  # schema: message after "generate.py: "
    MODULE + "[[class]": "bad.toml: ",
    '[module]\nname = "t"\n': "bad.toml: [module] has no folder",
    '[module]\nfolder = "t"\n': "bad.toml: [module] has no name",
    MODULE + one_class(name="1A"): "bad.toml: class name '1A' is not an identifier",
    MODULE + one_class(body="extra = 1"): "tD_A: unknown key 'extra'",
    MODULE + one_class(persistent=""): "tD_A: the persistent name must have 1 to 80 bytes",
    MODULE + one_class(persistent="x" * 81): "tD_A: the persistent name must have 1 to 80 bytes",
    MODULE + one_class(doc=""): "tD_A: has no doc",
    MODULE + one_class(body=members('{ name = "Big", type = "int", doc = "d" }')):
        "tD_A: member name 'Big' is not an identifier that starts with a lower-case letter",
    MODULE + one_class(body=members('{ name = "a b", type = "int", doc = "d" }')):
        "tD_A: member name 'a b' is not an identifier that starts with a lower-case letter",
    MODULE + one_class(body=members('{ name = "a", doc = "d" }')):
        "tD_A.a: a member has a name, a doc, perhaps a unit, and one of type, object and array",
    MODULE + one_class(body=members('{ name = "a", type = "int", array = "tD_A", doc = "d" }')):
        "tD_A.a: a member has a name, a doc, perhaps a unit, and one of type, object and array",
    MODULE + one_class(body=members('{ name = "a", type = "int" }')): "tD_A.a: has no doc",
    MODULE + one_class(body=members('{ name = "a", type = "int32", doc = "d" }')): "tD_A.a: unknown type 'int32'",
    MODULE + one_class(body=members('{ name = "a", type = "map<double, int>", doc = "d" }')):
        "tD_A.a: unknown type 'map<double, int>'",
    MODULE + one_class(body=members('{ name = "a", object = "tD_A", doc = "d" }')):
        "tD_A: a child stands among the members",
    MODULE + one_class(body=f"children = [{A}]"): "tD_A: a simple member stands among the children",
    MODULE + one_class(body=members(A, A)): "tD_A: a member name stands twice",
    MODULE + one_class(body=members(A) + '\nnew = ["b"]'): "tD_A: new takes 'b', which is no simple member",
    MODULE + one_class(body=members(A, B) + "\nreleased = { b = 0 }"):
        "tD_A: the index of released member 'b' would move from 0 to 1",
    MODULE + one_class(body=members(A) + "\nreleased = { a = 0, b = 1 }"):
        "tD_A: released member 'b' is gone; files still hold it",
    MODULE + one_class(body='base = "tD_B"'): "tD_A: unknown base 'tD_B'",
    MODULE + one_class() + one_class("tD_B", "org.B", body='base = "tD_A"'):
        "tD_B: base 'tD_A' is not marked embedded",
    MODULE + one_class(body='base = "tD_A"\nembedded = true'): "tD_A: is its own base",
    MODULE + one_class(body='children = [{ name = "c", object = "tD_C", doc = "d" }]'):
        "tD_A.c: unknown class 'tD_C'",
    MODULE + one_class() + one_class(persistent="org.B"): "tD_A: stands twice",
    MODULE + one_class() + one_class("tD_B"): "tD_B: persistent name 'org.A' stands twice",
} | {
    MODULE + one_class(body=members(A.replace('"a"', f'"{name}"'))):
        f"tD_A.{name}: this name is taken by the class pattern or by C++"
    for name in TAKEN
}


class Generator(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.out = self.folder / "out"

    def run_it(self, mode, schema, name="schema.toml"):
        path = self.folder / name
        path.write_text(schema)
        return subprocess.run([sys.executable, GENERATOR, mode, "--out", self.out, path], capture_output=True, text=True)

    def check(self, schema=GOOD):
        """The report of --check by file, and whether it failed."""
        run = self.run_it("--check", schema)
        lines = [line for line in run.stdout.splitlines() if line.startswith(("missing:", "changed:", "orphaned:"))]
        self.assertEqual(bool(lines), run.returncode != 0)
        if lines:
            self.assertIn("generate.py --fix", run.stderr)
        return sorted(lines)

    def test_refuses_each_bad_schema_with_its_message(self):
        for schema, message in BAD.items():
            with self.subTest(message):
                run = self.run_it("--fix", schema, "bad.toml")
                self.assertEqual(run.returncode, 1, run.stderr)
                self.assertTrue(run.stderr.startswith(f"generate.py: {message}"), run.stderr)
                self.assertEqual(len(run.stderr.splitlines()), 1, run.stderr)
                self.assertFalse(self.out.exists(), "nothing is written")

    def test_check_reports_missing_changed_and_orphaned_files(self):
        names = ["t/impl/tD_AImpl.cpp", "t/impl/tD_AImpl.h", "t/tD_A.h", "t/tD_AMembers.h"]
        self.assertEqual(self.check(), [f"missing: {name}" for name in names])
        self.run_it("--fix", GOOD)
        self.assertEqual(self.check(), [])

        (self.out / names[0]).unlink()
        with open(self.out / names[2], "a") as file:
            file.write("// by hand\n")
        (self.out / "t/tD_Gone.h").write_text((self.out / names[3]).read_text())
        (self.out / "t/by_hand.h").write_text("// not generated\n")
        self.assertEqual(self.check(), [f"changed: {names[2]}", f"missing: {names[0]}", "orphaned: t/tD_Gone.h"])
        self.run_it("--fix", GOOD)
        self.assertEqual(self.check(), [])
        self.assertTrue((self.out / "t/by_hand.h").exists())
        self.assertFalse((self.out / "t/tD_Gone.h").exists())

    def test_check_finds_the_files_of_a_folder_that_was_left(self):
        self.run_it("--fix", GOOD)
        moved = self.check(GOOD.replace('folder = "t"', 'folder = "u"'))
        self.assertEqual([line for line in moved if line.startswith("orphaned")],
                         ["orphaned: t/impl/tD_AImpl.cpp", "orphaned: t/impl/tD_AImpl.h", "orphaned: t/tD_A.h",
                          "orphaned: t/tD_AMembers.h"])

    def test_indices_follow_byte_order(self):
        names = ["b", "aB", "ab", "a_", "a1"]
        rows = [A.replace('"a"', f'"{name}"') for name in names]
        child = 'children = [{ name = "aZ", object = "tD_A", doc = "d" }]'
        self.run_it("--fix", MODULE + one_class(body=members(*rows) + "\n" + child))
        text = (self.out / "t/tD_AMembers.h").read_text()
        order = sorted([*names, "aZ"], key=str.encode)
        for name in names:
            self.assertIn(f'"{name}", {order.index(name)},', text)


if __name__ == "__main__":
    unittest.main()
