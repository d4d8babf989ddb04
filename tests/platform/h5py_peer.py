"""The other side of the platform tests: what h5py makes for us and finds in our files."""

import struct
import sys

import h5py
import numpy as np


def make_foreign(path):
    with h5py.File(path, "w", libver="earliest") as f:
        f["soft"] = h5py.SoftLink("/")
        f["external"] = h5py.ExternalLink("other.h5", "/")
        f.attrs["text"] = "12"
        f.attrs["large"] = np.int64(1 << 40)
        f.attrs["scalar"] = np.int64(-7)
        some_bits = h5py.h5t.STD_I32LE.copy()
        some_bits.set_precision(12)
        h5py.h5a.create(f.id, b"some bits", some_bits, h5py.h5s.create(h5py.h5s.SCALAR))
        no_ieee = h5py.h5t.IEEE_F32LE.copy()
        no_ieee.set_fields(31, 24, 7, 0, 24)
        h5py.h5d.create(f.id, b"no IEEE", no_ieee, h5py.h5s.create_simple((2,))).write(
            h5py.h5s.ALL, h5py.h5s.ALL, np.zeros(2, "f4"))
        f["half"] = np.array([0.5, -2.0], dtype="f2")
        f["wide"] = np.array([1, -2, 1 << 33], dtype=">i8")
        f["texts"] = np.array([b"a", b"b"])
        f.create_dataset("huge", (1 << 40,), dtype="i4")
        f.create_dataset("huge chunked", (1 << 40,), dtype="i4", chunks=(1024,), compression="gzip")
        f.create_dataset("deflated", data=np.zeros(100000, "i4"), chunks=(100000,), compression="gzip")
        f.create_dataset("outside", (4,), dtype="i4", external=[("/etc/passwd", 0, 16)])
        layout = h5py.VirtualLayout((4,), "i4")
        layout[:] = h5py.VirtualSource("other.h5", "d", (4,))
        f.create_virtual_dataset("virtual", layout)
        f.create_dataset("no size", (0x71234567,), dtype="u1")
    with open(path, "r+b") as f:
        content = f.read()
        number, byte = content.index(struct.pack("<Q", 0x71234567)), struct.pack("<I", 1)
        f.seek(content.index(b"\x10\0\0\0" + byte, number) + 4)
        f.write(bytes(4))


def check_foreign(path):
    with h5py.File(path, "r") as f:
        assert f["sim/#s"].shape == (5,)
        assert f["wide"][1] == -2


def check_number(path, number):
    with h5py.File(path, "r") as f:
        assert f["n"][0] == int(number)


def edit(path):
    with h5py.File(path, "r+") as f:
        f["added"] = np.arange(10)


def make_store(path):
    """What Store.FilesOfH5pyReadBackInOurs expects."""
    with h5py.File(path, "w") as f:
        store = f.create_group("store")
        store.attrs["version"] = 1
        edges = store.create_group("collections/1")
        edges.attrs["name"] = "ar\u00eates"  # variable length
        edges.attrs["items"] = 6
        edges.create_group("sets")["1"] = np.array([5, 0], dtype=">i8")
        edges["sets/2"] = np.array([6], dtype="i4")  # no such item
        field = store.create_group("distributions/1")
        field.attrs["name"] = np.bytes_("flux")
        field.attrs["unit"] = "W"
        for drawer, data in enumerate((np.arange(12, dtype=">f4").reshape(6, 2), np.arange(6, dtype="i2"))):
            field[str(drawer)] = data
            field[str(drawer)].attrs["members"] = [1, 0]
            field[str(drawer)].attrs.update({"unit": "kW", "long_name": "heat"})


if __name__ == "__main__":
    globals()[sys.argv[1].replace("-", "_")](*sys.argv[2:])
