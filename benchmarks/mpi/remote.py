#!/usr/bin/env python3
"""A simulation file where only ranges of bytes can be had, as in a store of objects: requests and bytes of what a reader asks for.

A server on this machine gives ranges of the file; h5py reads it through a file object, and through fsspec where that is
installed, without a cache and with some of fsspec's. Each line begins with nothing known of the file.

Usage: PYTHONPATH=build/dev/python /usr/bin/python3 benchmarks/mpi/remote.py [FILE]

Without FILE, one of 95 MB is made: 262,144 hexahedra, coordinates, and a displacement at 12 times.
"""

import http.client
import http.server
import io
import os
import re
import sys
import tempfile
import threading

import h5py
import numpy as np

try:
    import fsspec
except ImportError:
    fsspec = None


def make(path, edge=64, steps=12):
    import pdm_core as pdm
    n = edge + 1
    axis = np.arange(n) / edge
    points = np.stack(np.meshgrid(axis, axis, axis, indexing="ij"), -1).reshape(-1, 3)
    first = np.arange(n**3).reshape(n, n, n)[:-1, :-1, :-1].reshape(-1, 1)
    corners = first + np.array([0, n * n, n * n + n, n, 1, n * n + 1, n * n + n + 1, n + 1])
    with pdm.create(path) as sim, sim.update():
        mesh = sim.create_mesh(len(points), len(corners))
        mesh.node_fields.create("coordinates", points, unit="m")
        mesh.create_block("cube", "hex8", corners)
        mesh.times = np.arange(float(steps))
        displacement = mesh.node_fields.create("displacement", unit="m")
        for step in range(steps):
            displacement.append(points * step)


class Ranges(http.server.BaseHTTPRequestHandler):
    """One file, by ranges of bytes; counts what it is asked for."""

    protocol_version = "HTTP/1.1"
    path_served, requests, sent = "", 0, 0

    def do_HEAD(self):
        self.answer(head=True)

    def do_GET(self):
        self.answer(head=False)

    def answer(self, head):
        size = os.path.getsize(self.path_served)
        asked = re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))
        begin, end = (int(asked[1]), min(int(asked[2] or size) + 1, size)) if asked else (0, size)
        self.send_response(206 if asked else 200)
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("Content-Length", str(end - begin))
        if asked:
            self.send_header("Content-Range", f"bytes {begin}-{end - 1}/{size}")
        self.end_headers()
        Ranges.requests += 1
        if not head:
            Ranges.sent += end - begin
            with open(self.path_served, "rb") as file:
                file.seek(begin)
                self.wfile.write(file.read(end - begin))

    def log_message(self, *_):
        pass


class RangeFile(io.RawIOBase):
    """A file of ranges without a cache: each read is a request."""

    def __init__(self, port):
        self.server, self.at = http.client.HTTPConnection("127.0.0.1", port), 0
        self.size = int(self.ask("HEAD", {})[0].headers["Content-Length"])

    def ask(self, method, headers):
        self.server.request(method, "/a.pdm", headers=headers)
        answer = self.server.getresponse()
        return answer, answer.read()

    def readable(self):
        return True

    seekable = readable

    def seek(self, offset, whence=os.SEEK_SET):
        self.at = offset + (0, self.at, self.size)[whence]
        return self.at

    def readinto(self, buffer):
        count = min(len(buffer), self.size - self.at)
        if count <= 0:
            return 0
        buffer[:count] = self.ask("GET", {"Range": f"bytes={self.at}-{self.at + count - 1}"})[1]
        self.at += count
        return count


def whole_tree(file):
    names = []
    file.visit(names.append)
    return len(names)


def distribution(file, name):
    return next(d for d in file["store/distributions"].values() if d.attrs["name"] == name)


MEMBERS = "sim/discreteModel/mesh/#simpleTypeMembers"
ASKED = {  # what is done with the open file
    "opened": lambda file: None,
    "members of the mesh": lambda file: file[MEMBERS][:],
    "list of all that is in it": whole_tree,
    "1,000 rows of one step": lambda file: distribution(file, b"displacement")["7"][100000:101000],
    "one step, 6.6 MB": lambda file: distribution(file, b"displacement")["7"][:],
    "one node through 12 steps": lambda file: [d[100000] for d in distribution(file, b"displacement").values()],
}


KEPT = {"cache_options": {"maxblocks": 256}}  # of the 32 that fsspec keeps, a long read drops those that it has just got


def ways(port):
    """Names of ways to reach the file, and what opens it in each."""
    yield "each read a request", lambda: RangeFile(port)
    if fsspec:
        for name, options in (("readahead, 5 MiB", {"cache_type": "readahead"}),
                              ("blocks of 64 KiB", {"cache_type": "block", "block_size": 1 << 16, **KEPT}),
                              ("blocks of 1 MiB", {"cache_type": "block", "block_size": 1 << 20, **KEPT})):
            yield name, lambda options=options: fsspec.filesystem("http", skip_instance_cache=True).open(
                f"http://127.0.0.1:{port}/a.pdm", **options)


def same(one, other):
    return one == other if isinstance(one, (int, type(None))) else np.array_equal(one, other)


def measure(path):
    Ranges.path_served = path
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Ranges)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    reached = dict(ways(server.server_address[1]))
    print("| " + " | ".join(["requests, kB", *reached]) + " |\n|---|" + "---|" * len(reached))
    for name, ask in ASKED.items():
        with h5py.File(path) as file:
            expected = ask(file)
        cells = []
        for way in reached.values():
            Ranges.requests = Ranges.sent = 0
            with way() as remote, h5py.File(remote, "r") as file:
                if not same(ask(file), expected):
                    sys.exit(f"{name}: other data than from the disk")
                cells.append(f"{Ranges.requests}, {Ranges.sent / 1000:,.0f}")
        print("| " + " | ".join([name, *cells]) + " |", flush=True)
    server.shutdown()


def main():
    if len(sys.argv) > 1:
        return measure(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "a.pdm")
        make(path)
        measure(path)


if __name__ == "__main__":
    main()
