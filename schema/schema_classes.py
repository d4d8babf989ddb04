"""What a schema says of each class: its members, children and base, held against the rules.

What follows from the names is computed here: a member's index is its place in byte order among all members and
children of its class. Indices that were released once can never move.
"""
import keyword
import json
import re
import textwrap
import tomllib

SCALARS = {  # schema name: C++ type and the lower half of the type tag
    "bool": ("bool", 1), "uchar": ("unsigned char", 2), "int": ("int", 3), "longlong": ("long long", 4),
    "float": ("float", 5), "double": ("double", 6), "string": ("kda_string", 7), "collection": ("ORXSimCollectionID", 8),
    "cset": ("ORXSimCSetID", 9), "dset": ("ORXSimDSetID", 11), "distribution": ("ORXSimDistributionID", 10),
}
CONTAINERS = {"%s": ("%s", 0), "list<%s>": ("kda_List<%s>", 1), "map<string, %s>": ("kda_MapString<%s>", 3),
              "map<int, %s>": ("kda_MapInt<%s>", 4)}
TYPES = {outer % name: (cpp % inner, shape << 4 | base)
         for outer, (cpp, shape) in CONTAINERS.items() for name, (inner, base) in SCALARS.items()}
NUMBERS = ("bool", "uchar", "int", "longlong", "float", "double")
IDENTIFIERS = ("collection", "cset", "dset", "distribution")
# What a member is in Python as it is read, and what it may be set to.
PYTHON = {
    "bool": ("bool", "bool"), "uchar": ("int", "int"), "int": ("int", "int"), "longlong": ("int", "int"),
    "float": ("float", "float"), "double": ("float", "float"), "string": ("str", "str"), "dset": ("bool", "Any"),
    "collection": ("pdm_core.Collection | None",) * 2, "cset": ("pdm_core.Set | None",) * 2,
    "distribution": ("pdm_core.Field | None",) * 2}
ARRAYS = {"int": "np.int32", "longlong": "np.int64", "double": "np.float64"}  # lists of these come as arrays
MAPS = {"map<string, cset>": "pdm_core.Sets", "map<string, distribution>": "pdm_core.Fields"}  # maps of the file
# Attributes of the classes in Python, which hide members of that name.
HIDDEN = {
    "Object": {"class_name", "create", "get", "members", "path", "set"},
    "System": {"activity", "class_name", "events", "fields", "frequencies", "kind", "mode_shapes", "name", "node_labels",
               "numbering", "object", "path", "set_order"}}
TOP_KEYS = {"module", "class"}
MODULE_KEYS = {"name", "folder", "export", "export_header"}
CLASS_KEYS = {"name", "persistent", "doc", "base", "new", "members", "children", "released", "embedded"}
KINDS = ("type", "object", "array")
MEMBER_KEYS = {"name", "doc", "unit", "base", "shape", "over", "null", *KINDS}
CHILD_KEYS = {"name", "doc", "null", *KINDS}
WIDTH = 120
# Names that the class pattern or the language has taken.
RESERVED = set("""path traits get set new getChild setChild readMembers verify alignas alignof and asm auto bool break case catch
char class concept const consteval constexpr constinit continue decltype default delete do double else enum explicit
export extern false float for friend goto if inline int long mutable namespace noexcept not nullptr operator or private
protected public register requires return short signed sizeof static struct switch template this throw true try typedef
typeid typename union unsigned using virtual void volatile while xor""".split())
IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")
FOLDER = re.compile(r"[A-Za-z0-9_][A-Za-z0-9_.-]*(/[A-Za-z0-9_][A-Za-z0-9_.-]*)*")


class SchemaError(Exception):
    """A schema that cannot be generated; the message names the class and the rule."""


def require(condition, where, message):
    if not condition:
        raise SchemaError(f"{where}: {message}")


def known_keys(table, keys, where):
    unknown = set(table) - keys
    require(not unknown, where, f"unknown key '{min(unknown, default='')}'")


def text_of(table, key, where, default=""):
    """A text of a table, on one line."""
    value = table.get(key, default)
    require(isinstance(value, str) and (value.strip() or key not in table), where, f"{key} is not a text")
    return " ".join(value.split())


def rows_of(table, key, where):
    rows = table.get(key, [])
    require(isinstance(rows, list) and all(isinstance(row, dict) for row in rows), where,
            f"{key} is not a list of tables")
    return rows


def comment(sentences, indent):
    """Lines of a documentation comment."""
    return f"\n{indent}".join(textwrap.wrap(" ".join(sentences), WIDTH - len(indent), initial_indent="/// ",
                                           subsequent_indent="/// ", break_long_words=False, break_on_hyphens=False))


def sentence(text):
    return text[0].upper() + text[1:] + ("" if text.endswith((".", "!", "?")) else ".")


class Member:
    """One simple member or child of a class."""

    def __init__(self, row, owner):
        self.owner = owner
        self.name = row.get("name", "")
        require(isinstance(self.name, str) and IDENTIFIER.fullmatch(self.name) and self.name[0].islower(), owner.name,
                f"member name '{self.name}' is not an identifier that starts with a lower-case letter")
        self.where = where = f"{owner.name}.{self.name}"
        require(self.name not in RESERVED, where, "this name is taken by the class pattern or by C++")
        known_keys(row, MEMBER_KEYS, where)
        kinds = [kind for kind in KINDS if kind in row]
        require(len(kinds) == 1, where, "has not exactly one of type, object and array")
        self.kind, = kinds
        self.of = text_of(row, self.kind, where)
        self.doc, self.unit, self.shape, self.over, self.null = (
            text_of(row, key, where) for key in ("doc", "unit", "shape", "over", "null"))
        require(self.doc, where, "has no doc")
        self.base = row.get("base")
        require(self.base is None or (type(self.base) is int and self.base in (0, 1)), where,
                "base is neither 0 nor 1, the first number that is in use")
        self.setter = self.name[0].upper() + self.name[1:]
        self.by_reference = self.kind == "type" and self.of not in SCALARS
        if self.kind == "type":
            require(self.of in TYPES, where, f"unknown type '{self.of}'")
            self.cpp, self.tag = TYPES[self.of]
            require(not self.null or self.of not in NUMBERS, where, "a number has no null value to explain")
            require(not self.over or self.of != "collection", where, "a collection is over nothing")

    def link(self, classes):
        """Finds the class of a child, and the collection that a member's sets and fields belong to."""
        if self.kind != "type":
            self.target = classes.get(self.of)
            require(self.target, self.where, f"unknown class '{self.of}'")
            self.handle = f"gbb_Array<{self.of}, {self.of}Holder, gbb_Repository, {self.owner.name}>" \
                if self.kind == "array" else self.of
        if not self.over:
            return
        *other, name = self.over.rsplit(".", 1)
        at = classes.get(other[0]) if other else self.owner
        while at and name not in {m.name for m in at.members if m.of == "collection"}:
            at = classes.get(at.base_name)
        require(at, self.where, f"over names '{self.over}', which is no collection")
        own = at is self.owner
        self.over_code = f"{name}()" if own else f"{at.name}::{name}()"
        self.over_stored = name if own else f"{at.persistent}/{name}"

    @property
    def argument(self):
        return f"const {self.cpp}&" if self.by_reference else self.cpp

    @property
    def python(self):
        """Types in Python: what is read, what may be set."""
        outer, _, inner = self.of.rstrip(">").rpartition("<")
        if not outer:
            return PYTHON[self.of]
        if self.of in MAPS:
            return MAPS[self.of], "None"
        if outer == "list":
            read, written = PYTHON[inner]
            return (f"NDArray[{ARRAYS[inner]}]", "ArrayLike") if inner in ARRAYS else (f"list[{read}]", f"list[{written}]")
        key, _, inner = inner.partition(", ")
        return tuple(f"dict[{'str' if key == 'string' else 'int'}, {PYTHON[inner][way]}]" for way in (0, 1))

    @property
    def python_child(self):
        """A child in Python."""
        of = self.target.short if self.target.module is self.owner.module else "Any"
        return f"pdm_core.Array[{of}]" if self.kind == "array" else "Any" if of == "Any" else f"{of} | None"

    @property
    def pyi_doc(self):
        return sentence(self.doc + (f" [{self.unit}]" if self.unit else ""))

    @property
    def comment(self):
        """What the header says above the getter."""
        said = [sentence(self.doc + (f" [{self.unit}]" if self.unit else ""))]
        if self.base is not None:
            said.append(f"{'Items are numbered' if self.of == 'collection' else 'Numbers count'} from {self.base}.")
        if self.shape:
            said.append(f"Shape {self.shape}.")
        if self.over:
            said.append(f"Over {self.over_code}.")
        if self.null:
            said.append(f"{'Null' if self.of in IDENTIFIERS else 'Empty'} when {self.null}.")
        if self.by_reference:
            said.append("Valid until the object's next change.")
        return comment(said, "  ")

    @property
    def description(self):
        """What a file says of it."""
        said = {"name": self.name, "index": self.index}
        said |= {"tag": self.tag} if self.kind == "type" else {self.kind: self.target.persistent}
        said |= {"doc": self.doc, "unit": self.unit, "base": self.base, "shape": self.shape}
        said |= {"over": self.over and self.over_stored, "null": self.null}
        return packed({key: value for key, value in said.items() if value not in ("", None)})


def packed(value):
    return json.dumps(value, ensure_ascii=False, separators=(",", ":"))


class SchemaClass:
    """One class of a schema, with all that follows from it."""

    def __init__(self, row, module):
        self.name = row.get("name", "")
        require(isinstance(self.name, str) and IDENTIFIER.fullmatch(self.name), module["source"],
                f"class name '{self.name}' is not an identifier")
        known_keys(row, CLASS_KEYS, self.name)
        self.module = module
        self.persistent = row.get("persistent", "")
        require(isinstance(self.persistent, str) and 0 < len(self.persistent.encode()) <= 80, self.name,
                "the persistent name must have 1 to 80 bytes")
        require(self.persistent.isprintable() and not set('"\\/') & set(self.persistent), self.name,
                "the persistent name holds a character that no name may have")
        self.doc = text_of(row, "doc", self.name)
        require(self.doc, self.name, "has no doc")
        self.base_name = text_of(row, "base", self.name) or None
        self.embedded = row.get("embedded", False)  # made to be the base part of other classes
        require(isinstance(self.embedded, bool), self.name, "embedded is neither true nor false")
        self.members = [Member(m, self) for m in rows_of(row, "members", self.name)]
        self.children = [Member(m, self) for m in rows_of(row, "children", self.name)]
        require(all(m.kind == "type" for m in self.members), self.name, "a child stands among the members")
        require(all(c.kind != "type" for c in self.children), self.name, "a simple member stands among the children")
        for child in rows_of(row, "children", self.name):
            known_keys(child, CHILD_KEYS, f"{self.name}.{child['name']}")
        released = row.get("released", {})
        require(isinstance(released, dict), self.name, "released is not a table")
        self._number(released)
        by_name, new = {m.name: m for m in self.members}, row.get("new", [])
        require(isinstance(new, list) and all(isinstance(name, str) for name in new), self.name,
                "new is not a list of names")
        for i, name in enumerate(new):
            require(name in by_name, self.name, f"new takes '{name}', which is no simple member")
            require(name not in new[:i], self.name, f"new takes '{name}' twice")
        self.new = [by_name[name] for name in new]

    def _number(self, released):
        everything = self.members + self.children
        names = [m.name for m in everything]
        require(len(set(names)) == len(names), self.name, "a member name stands twice")
        for index, member in enumerate(sorted(everything, key=lambda m: m.name.encode())):
            member.index = index
        indices = {m.name: m.index for m in everything}
        for name, index in released.items():
            require(name in indices, self.name, f"released member '{name}' is gone; files still hold it")
            require(indices[name] == index, self.name,
                    f"the index of released member '{name}' would move from {index} to {indices[name]}")

    def find_base(self, classes):
        self.base = classes.get(self.base_name)
        require(self.base_name is None or self.base, self.name, f"unknown base '{self.base_name}'")
        require(not self.base or self.base.embedded, self.name, f"base '{self.base_name}' is not marked embedded")

    def link(self, classes):
        for member in self.members + self.children:
            member.link(classes)
        inherited = {m.name for m in self.base.all_new} if self.base else set()
        for member in self.new:
            require(member.name not in inherited, self.name, f"new takes '{member.name}', which the base takes already")

    def check_bases(self):
        seen, at = set(), self
        while at:
            require(at.name not in seen, self.name, "is its own base")
            seen.add(at.name)
            at = at.base

    @property
    def short(self):
        return self.name.split("_", 1)[-1]

    @property
    def is_system(self):
        """Whether it is a system of a mesh."""
        return self.name == "fesD_FESystem" or bool(self.base) and self.base.is_system

    @property
    def pyi_doc(self):
        return json.dumps(sentence(self.doc), ensure_ascii=False)

    def _seen(self, members):
        hidden = HIDDEN["System" if self.is_system else "Object"]
        return [m for m in members if m.name not in hidden and not keyword.iskeyword(m.name)]

    @property
    def seen_members(self):
        """Members that are attributes in Python."""
        inherited = self.base.seen_members if self.base else []
        return inherited + self._seen(self.members)

    @property
    def seen_children(self):
        return (self.base.seen_children if self.base else []) + self._seen(self.children)

    @property
    def folder(self):
        return self.module["folder"]

    @property
    def header(self):
        return f"{self.folder}/{self.name}.h"

    @property
    def includes(self):
        """What the class's header includes."""
        named = [self.base] if self.base else []
        headers = [one.header for one in named + [child.target for child in self.children] if one is not self]
        export = self.module["export_header"]
        return [*([export] if export else []), *dict.fromkeys(headers), "gbb/pattern/gbb_SchemaClass.h"]

    @property
    def pattern(self):
        """Arguments of the pattern's templates."""
        return f"{self.name}Traits" + (f", {self.base.name}Interface" if self.base else "")

    @property
    def comment(self):
        return comment([sentence(self.doc)], "")

    @property
    def all_new(self):
        """What New takes: the base part's values, then the class's own."""
        return (self.base.all_new if self.base else []) + self.new

    @property
    def new_parameters(self):
        return "".join(f"{m.argument} {m.name}, " for m in self.all_new)

    @property
    def own_parameters(self):
        return ", ".join(f"{m.argument} {m.name}_" for m in self.new)

    @property
    def description(self):
        """What a file says of the class: JSON, a line for each member and child; docs/file-format.md."""
        said = {"format": 1, "class": self.persistent}
        said |= {"base": self.base.persistent} if self.base else {}
        lists = (",\n".join(["", *(one.description for one in some)])[1:] for some in (self.members, self.children))
        text = packed(said | {"doc": self.doc})[:-1] + ',"members":[{}\n],"children":[{}\n]}}'.format(*lists)
        return text.replace(')json"', '\\u0029json"')  # which would end the C++ text


def load(paths, imports):
    """The classes to generate, in order."""
    classes, own = {}, []
    for path in [*imports, *paths]:
        with open(path, "rb") as file:
            try:
                document = tomllib.load(file)
            except tomllib.TOMLDecodeError as error:
                raise SchemaError(f"{path.name}: {error}") from None
        known_keys(document, TOP_KEYS, path.name)
        module = document.get("module", {})
        require(isinstance(module, dict), path.name, "module is not a table")
        known_keys(module, MODULE_KEYS, path.name)
        for key in ("name", "folder"):
            require(key in module, path.name, f"[module] has no {key}")
        module = {key: text_of(module, key, path.name) for key in MODULE_KEYS} | {"source": path.name}
        require(FOLDER.fullmatch(module["folder"]), path.name, "folder is not a path of plain names")
        for row in rows_of(document, "class", path.name):
            one = SchemaClass(row, module)
            require(one.name not in classes, one.name, "stands twice")
            require(all(one.persistent != other.persistent for other in classes.values()), one.name,
                    f"persistent name '{one.persistent}' stands twice")
            classes[one.name] = one
            if path in paths:
                own.append(one)
    for step in (lambda one: one.find_base(classes), SchemaClass.check_bases, lambda one: one.link(classes)):
        for one in classes.values():
            step(one)
    return own
