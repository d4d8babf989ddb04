"""Pages that are right pass, and each way of being wrong is found."""

import pathlib
import tempfile
import unittest

import tutorial

GOOD = """
```console
$ for i in 1 2 3; do echo "line $i of 3"; done
line 1 of 3
…
line 3 of …
$ ls nowhere
ls: cannot access …
$ echo $?
2
$ echo told >told.txt &
```
```{code-block} console
:caption: another window
:class: numbers-vary
$ while ! cat told.txt 2>/dev/null; do sleep 0.02; done
told
$ python3 -c "from signal import *; signal(SIGINT, lambda *_: exit(0)); print('waits 71', flush=True); pause()"
waits 2.5
^C
```
"""


class Pages(unittest.TestCase):
    def run_page(self, page):
        with tempfile.TemporaryDirectory() as folder:
            return tutorial.run(page, pathlib.Path(folder), "/nowhere", pathlib.Path(folder))

    def test_what_is_right_passes(self):
        self.assertEqual(self.run_page(GOOD), 6)

    def test_what_is_wrong_is_found(self):
        typed = "```console\n$ {}\n```\n"
        for page, says in {
            typed.format("echo a\nb"): "+a",
            typed.format("echo a"): "+a",
            typed.format("true\na"): "-a",
            typed.format("echo a; echo b\na"): "+b",
            typed.format("echo 12\n1… 2"): "+12",
            "```{code-block} console\n:class: numbers-vary\n$ echo 12 a\n3.5 b\n```\n": "+12 a",
            typed.format("false"): "exit code 1",
            typed.format("exit 0"): "no end",
            "```console\na\n```\n": "without a command",
            "```cpp\nint a;\n```\n": "neither typed nor from a file",
        }.items():
            with self.subTest(page), self.assertRaisesRegex(tutorial.Failed, says.replace("+", r"\+")):
                self.run_page(page)


if __name__ == "__main__":
    unittest.main()
