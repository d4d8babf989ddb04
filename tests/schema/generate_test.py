"""The generator: one tiny bad schema for each of its rules, what --check and --fix find and repair, and what it says
above members. The rules and the example of docs/schema.md are those that are tested.

Run as: generate_test.py GENERATOR [unittest options].
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import tomllib
import unittest

GENERATOR = sys.argv.pop(1)
TREE = pathlib.Path(GENERATOR).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(TREE / "schema"))
import generate  # noqa: E402
MODULE = '[module]\nname = "t"\nfolder = "t"\n'


def one_class(name="tD_A", persistent="org.A", doc='doc = "d"', body=""):
    return f'[[class]]\nname = "{name}"\npersistent = "{persistent}"\n{doc}\n{body}\n'


def members(*rows):
    return f"members = [{', '.join(rows)}]"


A = '{ name = "a", type = "int", doc = "d" }'
B = '{ name = "b", type = "int", doc = "d" }'
TAKEN = ("path", "get", "set", "new", "readMembers", "class", "operator", "int")  # by the pattern or by C++
GOOD = MODULE + one_class(body=members(A, B))

CHILD = '{ name = "c", array = "tD_A", doc = "d"%s }'


def body(text):
    return MODULE + one_class(body=text)


def called(name):
    return body(members(A.replace('"a"', f'"{name}"')))


def member(keys):
    return body(members('{ name = "a", %s }' % keys))


def text(key, where):
    return f"{where}: {key} is not a text"


NEW_A = members(A) + '\nnew = ["a"]'
BAD = {  # schema: message after "generate.py: "
    MODULE + "[[class]": "bad.toml: ",
    "extra = 1": "bad.toml: unknown key 'extra'",
    "module = 1": "bad.toml: module is not a table",
    MODULE + "extra = 1": "bad.toml: unknown key 'extra'",
    '[module]\nname = "t"\n': "bad.toml: [module] has no folder",
    '[module]\nfolder = "t"\n': "bad.toml: [module] has no name",
    MODULE.replace('"t"', "1", 1): text("name", "bad.toml"),
    MODULE.replace('folder = "t"', 'folder = "../t"'): "bad.toml: folder is not a path of plain names",
    MODULE + "class = 1": "bad.toml: unknown key 'class'",  # it stands in the module
    "class = 1\n" + MODULE: "bad.toml: class is not a list of tables",
    MODULE + one_class(name="1A"): "bad.toml: class name '1A' is not an identifier",
    body("extra = 1"): "tD_A: unknown key 'extra'",
    MODULE + one_class(persistent=""): "tD_A: the persistent name must have 1 to 80 bytes",
    MODULE + one_class(persistent="x" * 81): "tD_A: the persistent name must have 1 to 80 bytes",
    MODULE + one_class(persistent="a/b"): "tD_A: the persistent name holds a character that no name may have",
    MODULE + one_class(persistent="a\\nb"): "tD_A: the persistent name holds a character that no name may have",
    MODULE + one_class(doc=""): "tD_A: has no doc",
    MODULE + one_class(doc="doc = 1"): text("doc", "tD_A"),
    body("base = 1"): text("base", "tD_A"),
    body("embedded = 1"): "tD_A: embedded is neither true nor false",
    body("members = 1"): "tD_A: members is not a list of tables",
    body('children = ["c"]'): "tD_A: children is not a list of tables",
    body("released = 1"): "tD_A: released is not a table",
    body('new = "a"'): "tD_A: new is not a list of names",
    member('doc = "d"'): "tD_A.a: has not exactly one of type, object and array",
    member('type = "int", array = "tD_A", doc = "d"'): "tD_A.a: has not exactly one of type, object and array",
    member('type = "int"'): "tD_A.a: has no doc",
    member('type = "int", doc = ""'): text("doc", "tD_A.a"),
    member('type = "int", doc = "d", unit = 1'): text("unit", "tD_A.a"),
    member('type = "int", doc = "d", extra = 1'): "tD_A.a: unknown key 'extra'",
    member('type = "int32", doc = "d"'): "tD_A.a: unknown type 'int32'",
    member('type = "map<double, int>", doc = "d"'): "tD_A.a: unknown type 'map<double, int>'",
    member('type = "int", doc = "d", base = 2'): "tD_A.a: base is neither 0 nor 1, the first number that is in use",
    member('type = "int", doc = "d", base = true'): "tD_A.a: base is neither 0 nor 1, the first number that is in use",
    member('type = "int", doc = "d", null = "x"'): "tD_A.a: a number has no null value to explain",
    member('type = "collection", doc = "d", over = "a"'): "tD_A.a: a collection is over nothing",
    member('type = "cset", doc = "d", over = "b"'): "tD_A.a: over names 'b', which is no collection",
    member('type = "cset", doc = "d", over = "tD_B.b"'): "tD_A.a: over names 'tD_B.b', which is no collection",
    body('embedded = true\nbase = "tD_A"\n' + members(A.replace('"int"', '"cset", over = "b"'))): "tD_A: is its own base",
    body(members('{ name = "a", object = "tD_A", doc = "d" }')): "tD_A: a child stands among the members",
    body(f"children = [{A}]"): "tD_A: a simple member stands among the children",
    body(f"children = [{CHILD % ', over = 1'}]"): text("over", "tD_A.c"),
    body(f"children = [{CHILD % ', base = 0'}]"): "tD_A.c: unknown key 'base'",
    body(members(A, A)): "tD_A: a member name stands twice",
    body(members(A) + '\nnew = ["b"]'): "tD_A: new takes 'b', which is no simple member",
    body(members(A) + '\nnew = ["a", "a"]'): "tD_A: new takes 'a' twice",
    body(f'{NEW_A}\nembedded = true') + one_class("tD_B", "org.B", body=f'base = "tD_A"\n{NEW_A}'):
        "tD_B: new takes 'a', which the base takes already",
    body(members(A, B) + "\nreleased = { b = 0 }"): "tD_A: the index of released member 'b' would move from 0 to 1",
    body(members(A) + "\nreleased = { a = 0, b = 1 }"): "tD_A: released member 'b' is gone; files still hold it",
    body('base = "tD_B"'): "tD_A: unknown base 'tD_B'",
    body("") + one_class("tD_B", "org.B", body='base = "tD_A"'): "tD_B: base 'tD_A' is not marked embedded",
    body('children = [{ name = "c", object = "tD_C", doc = "d" }]'): "tD_A.c: unknown class 'tD_C'",
    MODULE + one_class() + one_class(persistent="org.B"): "tD_A: stands twice",
    MODULE + one_class() + one_class("tD_B"): "tD_B: persistent name 'org.A' stands twice",
} | {
    called(name): f"tD_A.{name}: this name is taken by the class pattern or by C++" for name in TAKEN
} | {
    called(name): f"tD_A: member name '{name}' is not an identifier that starts with a lower-case letter"
    for name in ("Big", "a b")
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
        path = self.folder / "bad.toml"
        for schema, message in BAD.items():
            with self.subTest(message):
                path.write_text(schema)
                with self.assertRaises(generate.SchemaError) as refused:
                    generate.render(generate.load([path], []))
                self.assertTrue(str(refused.exception).startswith(message), refused.exception)
        run = self.run_it("--fix", schema, "bad.toml")
        self.assertEqual((run.returncode, run.stderr), (1, f"generate.py: {message}\n"))
        self.assertFalse(self.out.exists(), "nothing is written")

    def test_check_reports_missing_changed_and_orphaned_files(self):
        names = ["t/impl/tD_AImpl.cpp", "t/tD_A.h"]
        self.assertEqual(self.check(), [f"missing: {name}" for name in names])
        self.run_it("--fix", GOOD)
        self.assertEqual(self.check(), [])

        (self.out / names[0]).unlink()
        with open(self.out / names[1], "a") as file:
            file.write("// by hand\n")
        (self.out / "t/tD_Gone.h").write_text((self.out / names[1]).read_text())
        (self.out / "t/by_hand.h").write_text("// not generated\n")
        self.assertEqual(self.check(), [f"changed: {names[1]}", f"missing: {names[0]}", "orphaned: t/tD_Gone.h"])
        self.run_it("--fix", GOOD)
        self.assertEqual(self.check(), [])
        self.assertTrue((self.out / "t/by_hand.h").exists())
        self.assertFalse((self.out / "t/tD_Gone.h").exists())
        self.assertEqual(self.check(GOOD.replace('folder = "t"', 'folder = "u"')),
                         [f"missing: u/{name[2:]}" for name in names] + [f"orphaned: {name}" for name in names])

    def test_numbers_members_and_says_above_getter_and_setter_what_the_schema_says(self):
        rows = ('{ name = "parts", type = "collection", base = 0, doc = "the parts", null = "it has none" }',
                '{ name = "some", type = "map<string, cset>", over = "parts", doc = "sets. By name." }',
                '{ name = "x", type = "list<double>", unit = "N", shape = "[n]", over = "tD_A.parts", doc = "forces" }')
        names = ["b", "aB", "ab", "a_", "a1"]
        child = '\nchildren = [{ name = "aZ", object = "tD_A", doc = "d" }]'
        self.run_it("--fix", body(members(*rows, *(A.replace('"a"', f'"{name}"') for name in names)) + child))
        header = (self.out / "t/tD_A.h").read_text()
        setter = "Writes the member to the file. Outside an update scope this is a commit point. Prints a line when the write fails."
        for said in ("The parts. Items are numbered from 0. Null when it has none.\n  ORXSimCollectionID parts() const",
                     f"{setter}\n  void Parts(ORXSimCollectionID parts) const",
                     "Sets. By name. Over parts(). Valid until the object's next change.\n  const kda_MapString",
                     "Forces [N]. Shape [n]. Over parts(). Valid until"):
            self.assertIn(f"  /// {said}", header)
        order = sorted([*names, "aZ", "parts", "some", "x"], key=str.encode)
        for name in names:
            self.assertIn(f'"{name}", {order.index(name)},', header)
        text = (self.out / "t/impl/tD_AImpl.cpp").read_text().split('R"json(')[1].split(')json"')[0]
        self.assertEqual(json.loads(text)["members"][2], {"name": "x", "index": 8, "tag": 22, "doc": "forces",
                                                          "unit": "N", "shape": "[n]", "over": "parts"})

    def test_the_library_says_all_that_its_users_ask(self):
        for schema in ("msf", "fes"):
            for one in tomllib.loads((TREE / f"schema/{schema}.toml").read_text())["class"]:
                for row in one["members"]:
                    kind, where = row["type"], f"{one['name']}.{row['name']}"
                    self.assertEqual("null" in row, kind in ("collection", "cset", "distribution", "string"), where)
                    self.assertEqual("unit" in row, kind == "double", where)
                    if kind.endswith(("cset", "cset>")):
                        self.assertIn("over", row, where)
                implementation = TREE / f"generated/{schema}/dpa/impl/{one['name']}Impl.cpp"
                text = implementation.read_text().split('R"json(')[1].split(')json"')[0]
                self.assertLess(len(text.encode()), 4096, one["name"])

    def test_the_document_has_each_rule_and_an_example_that_compiles(self):
        document = (TREE / "docs/schema.md").read_text()
        plain = lambda message: re.sub(r"\d+", "N", re.sub(r"'[^']*'", "'X'", message))
        rules = re.findall(r"^\| `(.*?)` \|", document.split("## Rules")[1], re.MULTILINE)
        tested = {message.split(": ", 1)[1] for message in BAD.values()} - {""}
        fields = r"^(name|doc|base|unit|over) is not a text$"
        self.assertEqual({plain(rule) for rule in rules}, {plain(re.sub(fields, "KEY is not a text", re.sub(
            r"^(class|members|children) is not a list", "KEY is not a list", re.sub(
                r"has no (name|folder)$", "has no KEY", one)))) for one in tested})
        blocks = re.findall(r"```toml\n(.*?)```", document, re.DOTALL)
        consumer = TREE / "tests/package/consumer"
        self.assertIn(blocks[0], (consumer / "host.toml").read_text())
        program = "".join((consumer / "main.cpp").read_text().split())
        for line in re.search(r"```cpp\n(.*?)```", document, re.DOTALL)[1].splitlines():
            self.assertIn("".join(line.split()), program)


if __name__ == "__main__":
    unittest.main()
