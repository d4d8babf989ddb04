"""All that a simulation file holds as text, read by h5py and the documents of the formats alone.

Usage: golden_text.py FILE > TEXT      with a journal beside FILE: the last commit point of the two"""

import hashlib
import io
import pathlib
import struct
import sys

import h5py

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tools"))
from pdm_reader import MEMBERS, Store, array, members, shown

HEADER, HEAD, PAGE, COMMIT = 512, 24, 4096, 40  # bytes


def image(path):
    """The bytes of a file at its last commit point. The journal's checksums are taken on trust."""
    main, journal = bytearray(path.read_bytes()), pathlib.Path(f"{path}-journal")
    records = journal.read_bytes() if journal.exists() else b""
    pages, end, waiting, at = {}, len(main), {}, HEADER
    while at + COMMIT <= len(records):
        kind, _, number = struct.unpack_from("<iiq", records, at)
        if kind == 1:
            waiting[number] = records[at + HEAD : at + HEAD + PAGE]
            at += HEAD + PAGE
        elif kind in (2, 3):  # 3: some of its pages are in the main file
            pages.update(waiting)
            end, waiting = number, {}
            at += COMMIT
        else:
            break
    for number, page in pages.items():
        main[PAGE * number : PAGE * (number + 1)] = page
    return bytes(main[:end])


def rows(values):
    """Numbers as bytes, the many ones by their sum."""
    return values if len(values) <= 128 else f"sha256 {hashlib.sha256(bytes.fromhex(values)).hexdigest()}"


def text(attributes, name):
    value = attributes.get(name, b"")
    return (value if isinstance(value, bytes) else value.encode()).decode("latin-1")


def numbered(group):
    return [group[name] for name in sorted(group, key=int)]


def bulk_lines(file):
    store = Store(file)
    for collection in numbered(file["store/collections"]):
        minor = int(collection.name.split("/")[-1])
        yield f"collection {minor} {text(collection.attrs, 'name')} {store.items(minor)}"
        for one in numbered(collection.get("sets", {})):
            yield " ".join([" set", *map(str, one[()])])
    for distribution in numbered(file.get("store/distributions", {})):
        yield "distribution {} {} [{}]".format(distribution.name.split("/")[-1], text(distribution.attrs, "name"),
                                               text(distribution.attrs, "unit"))
        for data in numbered(distribution):
            over, chunk = "%d.%d" % tuple(data.attrs["members"]), data.chunks[0] if data.chunks else 0
            components = data.shape[1] if data.ndim == 2 else 1
            yield (f" drawer over {over} {data.dtype.newbyteorder('<').str} x {components} [{text(data.attrs, 'unit')}]"
                   f" '{text(data.attrs, 'long_name')}' chunk {chunk} deflate {data.compression_opts or 0}: "
                   + rows(data[()].astype(data.dtype.newbyteorder("<")).tobytes().hex()))


def object_lines(group, indent=""):
    name = group.attrs["class"].tobytes().rstrip(b"\0").decode().rsplit(".")[-1]
    if "#base" in group:
        yield from part_lines(group["#base"], "FESystem", indent)
        indent += "  "
    yield from part_lines(group, name, indent)
    for child in group.values():
        if "#size" in child.attrs or "class" in child.attrs and not child.name.endswith("/#base"):
            for element in array(child) if "#size" in child.attrs else [child]:
                yield from object_lines(element, indent + "  ")


def part_lines(group, name, indent):
    """What one class of an object declares."""
    yield indent + name
    values = members(group, name) if name in MEMBERS else {}
    for member, _, tag in sorted(MEMBERS.get(name, [])):
        yield f"{indent} {member} {shown(values[member], tag)}"


def content(data):
    with h5py.File(io.BytesIO(data), "r") as file:
        return [*bulk_lines(file), *object_lines(file["sim"])]


if __name__ == "__main__":
    sys.stdout.buffer.write("".join(f"{line}\n" for line in content(image(pathlib.Path(sys.argv[1])))).encode("latin-1"))
