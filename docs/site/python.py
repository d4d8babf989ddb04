"""Writes what the package pdm_core has as fragments of pages, one a class or function.

Usage: python.py PACKAGE OUT

PACKAGE is the folder of the installed package. Signatures are those of its stubs, with the defaults of the module itself;
what is said are the docstrings.
"""

import ast
import importlib
import inspect
import pathlib
import re
import sys
import textwrap

# Names of the stubs that are nobody's else.
MEANS = {
    "_Path": "str | bytes | PathLike", "_Durability": "Literal['scratch', 'process', 'power']", "_Array": "ndarray",
    "_Kind": "Literal['plain', 'generic', 'modal', 'substructure']", "_Ints": "ndarray[int32]", "_Longs": "ndarray[int64]",
    "_Floats": "ndarray[float64]", "_Comm": "mpi4py.MPI.Intracomm", "_FieldMap": "str", "_Answer": "Any", "np.dtype[Any]": "numpy.dtype", "np.int32": "int32"}
SHOWN = {"__getitem__", "__setitem__", "__delitem__"}


def spelled(node):
    text = ast.unparse(node)
    for name, means in MEANS.items():
        text = re.sub(rf"(?<!\w){re.escape(name)}(?!\w)", means, text)
    return text


def parted(thing):
    """A docstring's signature, "" where it has none, and the rest."""
    text = inspect.getdoc(thing) or ""
    first, _, rest = text.partition("\n")
    return (first, rest.strip()) if re.match(r"\w+\(.*\) -> ", first) else ("", text.strip())


def markdown(text):
    """A docstring with its examples as blocks of code."""
    example = re.compile(r"^>>> .*(?:\n(?!\s*$).*)*", re.M)
    return example.sub(lambda found: f"```pycon\n{found[0]}\n```", text)


def defaults(signature):
    try:
        made = ast.parse(f"def {signature.partition(' -> ')[0]}: ...").body[0].args
    except SyntaxError:  # of a default that only C++ can write
        return {}
    plain = made.posonlyargs + made.args
    pairs = [*zip(plain[len(plain) - len(made.defaults):], made.defaults), *zip(made.kwonlyargs, made.kw_defaults)]
    return {argument.arg: ast.unparse(value) for argument, value in pairs if value is not None}


def arguments(function, signature):
    known = defaults(signature)
    made = function.args
    plain, words = made.posonlyargs + made.args, []
    optional = len(plain) - len(made.defaults)
    for at, one in enumerate(plain):
        if one.arg != "self":
            words.append(argument(one, at >= optional, known))
    if made.vararg or made.kwonlyargs:
        words.append("*" + (made.vararg.arg if made.vararg else ""))
    words += [argument(one, value is not None, known) for one, value in zip(made.kwonlyargs, made.kw_defaults)]
    return ", ".join(words)


def argument(one, optional, known):
    text = f"{one.arg}: {spelled(one.annotation)}"
    return f"{text} = {known.get(one.arg, '...')}" if optional else text


def directive(kind, head, text, options=(), width=4):
    fence = ":" * width
    lines = [f"{fence}{{py:{kind}}} {head}", *options, "", text, fence, ""]
    return "\n".join(lines)


def function(kind, node, thing, head=None, options=(), said=True):
    signature, text = parted(thing)
    text = text if said else ""
    if inspect.isfunction(thing):
        signature = f"{node.name}({', '.join(str(one) for one in inspect.signature(thing).parameters.values())}) -> "
    returns = f" -> {spelled(node.returns)}" if node.returns is not None and spelled(node.returns) != "None" else ""
    return directive(kind, f"{head or node.name}({arguments(node, signature)}){returns}", markdown(text), options)


def member(one, node):
    """A method, property or variable of a class, "" for what is for Python alone."""
    if isinstance(node, ast.AnnAssign):
        return directive("attribute", node.target.id, markdown(parted(getattr(one, node.target.id))[1]),
                         [f":type: {spelled(node.annotation)}"])
    thing = getattr(one, node.name, None)
    if isinstance(thing, property):
        return directive("property", node.name, markdown(parted(thing)[1]), [f":type: {spelled(node.returns)}"])
    if node.name.startswith("_") and (node.name not in SHOWN or not parted(thing)[1]):
        return ""
    return function("method", node, thing)


def members(stubs, name):
    """What the stub of a class and its bases have, by name; the class' own first."""
    own = stubs[name]
    found = {}
    for node in own.body:
        key = node.target.id if isinstance(node, ast.AnnAssign) else getattr(node, "name", None)
        if key:
            found.setdefault(key, node)
    for base in own.bases:
        base = base.value if isinstance(base, ast.Subscript) else base
        if isinstance(base, ast.Name) and base.id in stubs:
            found |= {key: node for key, node in members(stubs, base.id).items() if key not in found}
    return found


def of_class(package, stubs, name):
    one = getattr(package, name)
    inside = [markdown(inspect.getdoc(one) or ""), ""]
    if issubclass(one, Exception):
        if name == "Error":
            parts = re.findall(r"self\.(\w+) = \1  # (.*)", (pathlib.Path(package.__file__).parent / "_error.py").read_text())
            inside += [directive("attribute", word, f"{what[0].upper()}{what[1:]}.", [":type: str"]) for word, what in parts]
        return directive("exception", name, "\n".join(inside), width=5)
    inside += [member(one, node) for node in members(stubs, name).values()]
    return directive("class", name, "\n".join(inside), width=5)


def main():
    folder, out = map(pathlib.Path, sys.argv[1:])
    sys.path.insert(0, str(folder.parent))
    package = importlib.import_module(folder.name)
    tree = ast.parse((folder / "_pdm_core.pyi").read_text())
    stubs, more = {}, {}
    for node in tree.body:
        if isinstance(node, (ast.ClassDef, ast.FunctionDef)) and stubs.setdefault(node.name, node) is not node:
            more[node.name] = node  # with other arguments it answers something else
    out.mkdir(parents=True, exist_ok=True)
    for name in package.__all__:
        thing = getattr(package, name)
        text = of_class(package, stubs, name) if inspect.isclass(thing) else function("function", stubs[name], thing)
        if name in more:
            text = function("function", more[name], thing, options=[":noindex:"], said=False) + text
        (out / f"{name}.inc").write_text("```{py:currentmodule} pdm_core\n```\n" + text)


if __name__ == "__main__":
    main()
